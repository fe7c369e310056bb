#pragma once

#include <iosfwd>
#include <span>
#include <string>

#include "Program.h"

namespace host {

/// Writes for a shell what can stand in place of the last of the words, which follow the program's name and may be the
/// beginning of one. The first line says whether paths can: "files", "folders" or nothing; each other line is a word
/// and, after a tab, what it means.
void writeCompletions(std::ostream& output, const Program& program, std::span<const std::string> words);

}  // namespace host
