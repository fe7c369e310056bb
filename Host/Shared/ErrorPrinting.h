#pragma once

#include <string_view>

#include "Error.h"

namespace host {

/// On standard error: the description, what the user can do, and what the tool itself said, as far as there is each.
void printError(const qrb::Error& error);

/// One line on standard error. Any thread.
void printRemark(std::string_view text);

}  // namespace host
