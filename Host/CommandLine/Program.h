#pragma once

#include <span>

#include "CommandDeclaration.h"

namespace host {

/// One command of the program. A new one is a source file of its own that defines such a constant, and its name in
/// AllCommands.cpp.
struct Command {
  using Run = CommandDeclaration::Run;

  const char* name;
  /// One line for the list of commands.
  const char* summary;
  /// Details and examples, shown at the end of the command's help.
  const char* details;
  /// Declares the command's own options, arguments and actions, and returns what runs it with their values: nothing
  /// where an action has to be named. Only called for a command that is used.
  Run (*declare)(CommandDeclaration& command);
  /// Whether it prints something that --json can give another form.
  bool lists = true;
};

/// The commands, and what they have in common.
struct Program {
  const char* name;
  const char* version;
  const char* summary;
  const char* details;
  /// In the order of the help.
  std::span<const Command* const> commands;
  /// Adds the options that every command has.
  std::function<void(CommandDeclaration& declaration, bool lists)> addCommonOptions;

  /// What it takes before a command.
  CommandDeclaration declaration() const;
  const Command* commandNamed(std::string_view word) const;
  /// All that is known of a command.
  CommandDeclaration declarationOf(const Command& command) const;
};

}  // namespace host
