#include "GitCheckoutCommands.h"

#include "GitCommandParts.h"

namespace {

GitCommand switchCommand() {
  return gitMakeHookedCommand({"switch", "--quiet", "--no-progress"});
}

GitCommand committingCommand() {
  return gitMakeHookedCommand({"-c", "user.useConfigOnly=true", "-c", "i18n.commitEncoding=UTF-8"});
}

}  // namespace

GitCommand gitMergeCommand(std::string_view branch) {
  return gitMergeCommand(branch, {});
}

GitCommand gitMergeCommand(std::string_view branch, std::string_view fastForward) {
  if (!gitIsPlainRevision(branch)) return gitRefusedCommand("branch", branch);
  GitCommand command = committingCommand();
  gitAddArguments(command, {"merge", "--no-edit", "--no-progress"});
  if (fastForward == "only") gitAddArguments(command, {"--ff-only"});
  if (fastForward == "false") gitAddArguments(command, {"--no-ff"});
  gitAddArguments(command, {branch});
  return command;
}

GitCommand gitRebaseCommand(std::string_view revision, bool keepsMerges) {
  if (!gitIsPlainRevision(revision)) return gitRefusedCommand("revision", revision);
  GitCommand command = committingCommand();
  gitAddArguments(command, {"rebase", "--no-stat"});
  if (keepsMerges) gitAddArguments(command, {"--rebase-merges"});
  gitAddArguments(command, {revision});
  return command;
}

GitCommand gitAbortMergeCommand() {
  return gitMakeWritingCommand({"merge", "--abort"});
}

GitCommand gitMergedTreeCommand(std::string_view commit) {
  if (!gitIsPlainRevision(commit)) return gitRefusedCommand("revision", commit);
  return gitMakeWritingCommand({"merge-tree", "--write-tree", "--no-messages", "HEAD", commit});
}

GitCommand gitReadTreesCommand(std::string_view from, std::string_view to) {
  for (std::string_view tree : {from, to}) {
    if (!gitIsPlainRevision(tree)) return gitRefusedCommand("revision", tree);
  }
  return gitMakeWritingCommand({"read-tree", "-m", "-u", from, to});
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
