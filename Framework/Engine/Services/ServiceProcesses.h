#pragma once

#include <chrono>

#include <qrb/Export.h>

namespace qrb {

/// Returns once the log handler has had every whole line that services have written to their stderr up to now. What a
/// service wrote before it answered is among it. Returns at once when nobody listens to the log. Any thread but that of
/// a log handler.
QRB_EXPORT void drainServiceOutput();

/// Ends the processes that were launched ahead for requests that may come, for a host that is about to end and leaves
/// nothing behind. Their ends can be waited for like those of all others. Any thread.
QRB_EXPORT void endUnusedServices();

/// Waits until every process of a service that was told to end has ended, and what it ran with it; false when that took
/// longer than `timeout`. A service that was not told so is not waited for. Any thread, but not within a completion,
/// whose own plug-in runs on until it has returned.
QRB_EXPORT bool awaitEndsOfServices(std::chrono::milliseconds timeout);

}  // namespace qrb
