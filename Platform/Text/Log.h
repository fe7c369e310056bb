#pragma once

#include <functional>
#include <string_view>

#include "Export.h"

namespace qrb {

/// Receives what the library has to say to whoever debugs a host: a plug-in's stderr, a refused message. Called on any
/// thread, one call at a time.
using LogHandler = std::function<void(std::string_view source, std::string_view text)>;

/// Replaces the handler; an empty one (the default) drops everything. When it returns, no other thread is in the old
/// one. A handler must not wait for a thread that may itself be logging, and must not throw.
QRB_EXPORT void setLogHandler(LogHandler handler);

/// Whether anybody listens.
QRB_EXPORT bool hasLogHandler();

/// `source` names the part or the service that speaks. Any thread.
QRB_EXPORT void log(std::string_view source, std::string_view text);

}  // namespace qrb
