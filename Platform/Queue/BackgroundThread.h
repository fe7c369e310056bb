#pragma once

#include <functional>

namespace qrb {

/// Starts a detached thread that takes none of the signals meant for the program (those that its own faults raise reach
/// it as ever). False when the system has no thread or no memory to give. `body` must not let an exception out.
bool startBackgroundThread(std::function<void()> body);

}  // namespace qrb
