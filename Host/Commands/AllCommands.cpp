#include "AllCommands.h"

namespace host {

extern const Command systemsCommand;
extern const Command statusCommand;
extern const Command logCommand;
extern const Command infoCommand;
extern const Command addCommand;
extern const Command removeCommand;
extern const Command moveCommand;
extern const Command copyCommand;
extern const Command makeDirectoryCommand;
extern const Command discardCommand;
extern const Command resolveCommand;
extern const Command commitCommand;
extern const Command showCommand;
extern const Command diffCommand;
extern const Command blameCommand;
extern const Command exportCommand;
extern const Command switchCommand;
extern const Command mergeCommand;
extern const Command branchCommand;
extern const Command branchesCommand;
extern const Command tagCommand;
extern const Command remoteCommand;
extern const Command fetchCommand;
extern const Command pushCommand;
extern const Command updateCommand;
extern const Command upgradeCommand;
extern const Command cloneCommand;
extern const Command initCommand;
extern const Command accountsCommand;
extern const Command blueprintCommand;
extern const Command workspaceCommand;
extern const Command plugInCommand;

std::span<const Command* const> allCommands() {
  static constexpr const Command* commands[] = {
      &systemsCommand,   &statusCommand,   &logCommand,           &infoCommand,    &addCommand,      &removeCommand,
      &moveCommand,      &copyCommand,     &makeDirectoryCommand, &discardCommand, &resolveCommand,  &commitCommand,
      &showCommand,      &diffCommand,     &blameCommand,         &exportCommand,  &switchCommand,   &mergeCommand,
      &branchCommand,    &branchesCommand, &tagCommand,           &remoteCommand,  &fetchCommand,    &pushCommand,
      &updateCommand,    &upgradeCommand,  &cloneCommand,         &initCommand,    &accountsCommand, &blueprintCommand,
      &workspaceCommand, &plugInCommand};
  return commands;
}

void addPathArgument(CommandDeclaration& command, std::string& path) {
  command.argument("PATH", path, "Folder in the working copy (default: the current one)").folder();
}

void addDirectoryOption(CommandDeclaration& command, std::string& folder) {
  command.option("-C,--directory", folder, "Work in that folder instead of the current one").folder("DIR");
}

}  // namespace host
