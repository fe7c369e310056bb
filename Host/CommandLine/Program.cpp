#include "Program.h"

#include <algorithm>

namespace host {

namespace {

// Actions have it from their command.
void addHelpOption(CommandDeclaration& declaration) {
  declaration.add("-h,--help", OptionDeclaration::Help(), "Show this help", OptionDeclaration::Value::none);
}

}  // namespace

CommandDeclaration Program::declaration() const {
  CommandDeclaration declaration(name, summary, details);
  addHelpOption(declaration);
  declaration.add("--version", OptionDeclaration::Version{version}, "Show the version", OptionDeclaration::Value::none);
  return declaration;
}

const Command* Program::commandNamed(std::string_view word) const {
  auto found = std::find_if(commands.begin(), commands.end(), [&](const Command* each) { return each->name == word; });
  return found == commands.end() ? nullptr : *found;
}

CommandDeclaration Program::declarationOf(const Command& command) const {
  CommandDeclaration declaration(command.name, command.summary, command.details);
  addHelpOption(declaration);
  addCommonOptions(declaration, command.lists);
  for (OptionDeclaration& option : declaration.options) option.isCommon = true;
  declaration.run = command.declare(declaration);
  return declaration;
}

}  // namespace host
