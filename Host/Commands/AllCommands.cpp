#include "AllCommands.h"

namespace host {

extern const Command systemsCommand;
extern const Command statusCommand;
extern const Command logCommand;
extern const Command branchesCommand;
extern const Command infoCommand;
extern const Command accountsCommand;

std::span<const Command* const> allCommands() {
  static constexpr const Command* commands[] = {&systemsCommand,  &statusCommand, &logCommand,
                                                &branchesCommand, &infoCommand,   &accountsCommand};
  return commands;
}

std::shared_ptr<std::string> addPathArgument(CLI::App& app) {
  auto path = std::make_shared<std::string>();
  app.add_option("PATH", *path, "Folder in the working copy (default: the current one)")->type_name("");
  return path;
}

}  // namespace host
