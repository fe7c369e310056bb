#pragma once

#include <functional>
#include <string_view>

#include "Export.h"

namespace qrb {

/// Receives every programming error that the library finds: source text, line and message. It runs on the thread that
/// made the error, with none of the library's locks held by assertionFailure itself.
using AssertionHandler = std::function<void(std::string_view file, int line, std::string_view message)>;

/// Reports a programming error to the handler in force. The default prints "file:line: message" to stderr and aborts.
/// When another handler returns, so does this function, and the caller goes on as its own contract says.
QRB_EXPORT void assertionFailure(std::string_view file, int line, std::string_view message);

/// Replaces the handler for the whole program and returns the one before; empty stands for the default, in both
/// directions. Any thread; a report already under way ends with the handler it began with.
QRB_EXPORT AssertionHandler setAssertionHandler(AssertionHandler handler);

}  // namespace qrb
