#pragma once

#include <iosfwd>
#include <string>

#include "Program.h"

namespace host {

/// Copies a manual page and puts what the program declares in place of the lines @PROGRAM_OPTIONS@, @COMMON_OPTIONS@
/// and
/// @COMMANDS@. Throws where one of them is missing, so that no page lacks them.
void writeManualPage(std::ostream& output, const Program& program, std::istream& page);

}  // namespace host
