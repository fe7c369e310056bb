#pragma once

#include <functional>
#include <string_view>

#include "Error.h"

namespace host {

/// On standard error: the description, what the user can do, and what the tool itself said, as far as there is each.
/// The last is left out where the user has been shown each of its lines already.
void printError(const qrb::Error& error, const std::function<bool(std::string_view line)>& wasShown = {});

/// Whether it says only that the user, or the end of whoever reads the output, stopped the request.
bool isCancellation(const qrb::Error& error);

/// Whether both tell of the same failure: several share a code, and only their descriptions tell them apart.
bool isSameFailure(const qrb::Error& error, const qrb::Error& other);

/// One line on standard error. Any thread.
void printRemark(std::string_view text);

}  // namespace host
