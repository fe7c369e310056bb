#include "GitCheckoutCommands.h"

#include "GitCommandParts.h"

namespace {

GitCommand switchCommand() {
  return gitMakeHookedCommand({"switch", "--quiet", "--no-progress"});
}

}  // namespace

GitCommand gitMergeCommand(std::string_view branch) {
  if (!gitIsPlainRevision(branch)) return gitRefusedCommand("branch", branch);
  return gitMakeHookedCommand({"-c", "user.useConfigOnly=true", "-c", "i18n.commitEncoding=UTF-8", "merge", "--no-edit",
                               "--no-progress", branch});
}

GitCommand gitFullNameCommand(std::string_view name) {
  if (!gitIsPlainRevision(name)) return gitRefusedCommand("branch", name);
  return gitMakeCommand({"rev-parse", "--quiet", "--verify", "--symbolic-full-name", name});
}

GitCommand gitSwitchToBranchCommand(std::string_view name) {
  if (!gitIsPlainRevision(name)) return gitRefusedCommand("branch", name);
  GitCommand command = switchCommand();
  gitAddArguments(command, {"--no-guess", name});
  return command;
}

GitCommand gitSwitchToNewBranchCommand(std::string_view name, std::string_view revision, bool tracks) {
  if (!gitIsPlainRevision(name)) return gitRefusedCommand("branch", name);
  if (!revision.empty() && !gitIsPlainRevision(revision)) return gitRefusedCommand("revision", revision);
  GitCommand command = switchCommand();
  gitAddArguments(command, {tracks ? "--track" : "--no-track", "--create", name});
  if (!revision.empty()) gitAddArguments(command, {revision});
  return command;
}

GitCommand gitSwitchToRevisionCommand(std::string_view revision) {
  if (!gitIsPlainRevision(revision)) return gitRefusedCommand("revision", revision);
  GitCommand command = switchCommand();
  gitAddArguments(command, {"--detach", revision});
  return command;
}
