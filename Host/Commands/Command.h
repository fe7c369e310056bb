#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <string>

#include "Session.h"

namespace host {

/// One command of the program. A new one is a source file of its own that defines such a constant, and its name in
/// AllCommands.cpp.
struct Command {
  using Run = std::function<ExitStatus(Session& session)>;

  const char* name;
  /// One line for the list of commands.
  const char* summary;
  /// Details and examples, shown at the end of the command's help.
  const char* details;
  /// Adds the command's own options and arguments, and returns what runs it with their values.
  Run (*declare)(CLI::App& app);
};

/// The folder given last, which most commands have. Empty when it is left out.
std::shared_ptr<std::string> addPathArgument(CLI::App& app);

}  // namespace host
