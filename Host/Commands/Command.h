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
  /// Whether it prints something that --json can give another form.
  bool lists = true;
};

/// The folder given last, which most commands have. Empty when it is left out.
std::shared_ptr<std::string> addPathArgument(CLI::App& app);

/// The same as an option, -C, of commands whose arguments are files or names: it says where these are looked for.
std::shared_ptr<std::string> addDirectoryOption(CLI::App& app);

/// What is asked of a command's arguments beyond what the parser knows: `whatIsWrong` is called once they are read, and
/// what it returns, unless it is empty, is told as wrong usage.
void checkUsage(CLI::App& app, std::function<std::string()> whatIsWrong);

}  // namespace host
