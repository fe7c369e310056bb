#include "GitRepositoryCommands.h"

#include "GitCommandParts.h"

GitCommand gitFirstBranchNameCommand() {
  return gitMakeCommand({"config", "--get", "init.defaultBranch"});
}

GitCommand gitCreateRepositoryCommand(std::string_view folder, std::string_view firstBranch) {
  if (!gitIsPlainPath(folder)) return gitRefusedCommand("path", folder);
  GitCommand command = gitMakeCommand({"init", "--quiet"});
  command.access = GitAccess::write;
  if (!firstBranch.empty()) command.arguments.push_back("--initial-branch=" + std::string(firstBranch));
  gitAddArguments(command, {"--", folder});
  return command;
}
