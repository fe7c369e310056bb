#pragma once

#include "Program.h"

namespace host {

/// What came of reading a command line: one of these.
struct ParsedCommandLine {
  /// Runs the command with what was given to it.
  Command::Run run;
  /// What the user asked to see, such as the help.
  std::string answer;
  /// What is wrong with it, and what to do.
  std::string wrong;
};

/// Reads the program's command line. Only the command that is used is declared.
ParsedCommandLine parseCommandLine(const Program& program, int argc, const char* const* argv);

}  // namespace host
