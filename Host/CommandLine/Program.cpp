#include "Program.h"

#include <algorithm>

namespace host {

CommandDeclaration Program::declaration() const {
  CommandDeclaration declaration(name, summary, details);
  declaration.add("--version", OptionDeclaration::Version{version}, "Show the version", OptionDeclaration::Value::none);
  return declaration;
}

const Command* Program::commandNamed(std::string_view word) const {
  auto found = std::find_if(commands.begin(), commands.end(), [&](const Command* each) { return each->name == word; });
  return found == commands.end() ? nullptr : *found;
}

CommandDeclaration Program::declarationOf(const Command& command) const {
  CommandDeclaration declaration(command.name, command.summary, command.details);
  addCommonOptions(declaration, command.lists);
  for (OptionDeclaration& option : declaration.options) option.isCommon = true;
  declaration.run = command.declare(declaration);
  return declaration;
}

}  // namespace host
