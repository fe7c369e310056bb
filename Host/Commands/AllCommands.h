#pragma once

#include <span>

#include "Command.h"

namespace host {

/// Every command, in the order of the help.
std::span<const Command* const> allCommands();

}  // namespace host
