#include "GitNetworkCommands.h"

#include "GitCommandParts.h"
#include "GitRemoteTool.h"

namespace {

GitCommand writing(std::initializer_list<std::string_view> arguments) {
  GitCommand command = gitMakeCommand(arguments);
  command.access = GitAccess::Write;
  return command;
}

/// A request brings what one server is to be told; what a repository names besides is not reached without being asked.
GitCommand fetching() {
  return writing({"fetch", "--progress", "--no-recurse-submodules"});
}

GitCommand pushing(std::initializer_list<std::string_view> options, std::string_view from, std::string_view to) {
  GitCommand command = writing({"push", "--porcelain", "--progress"});
  gitAddArguments(command, options);
  gitAddArguments(command, {"--", GitRemoteTool::remoteName()});
  command.arguments.push_back(std::string(from).append(1, ':').append(to));
  return command;
}

/// Only as long as the other side has the ref at the commit; empty: as long as it has none.
GitCommand pushingOnlyFrom(std::string_view expectedHash, std::string_view from, std::string_view to) {
  const std::string lease = std::string("--force-with-lease=").append(to).append(1, ':').append(expectedHash);
  return pushing({lease}, from, to);
}

/// As git reads such a setting: what is not false is true, in one of its ways.
bool isRebaseWanted(std::string_view setting) {
  return !setting.empty() && setting != "false" && setting != "no" && setting != "off" && setting != "0";
}

}  // namespace

GitCommand gitFetchCommand() {
  GitCommand command = fetching();
  gitAddArguments(command, {"--no-write-fetch-head", "--", GitRemoteTool::remoteName()});
  return command;
}

GitCommand gitFetchBranchCommand(std::string_view remoteRef) {
  GitCommand command = fetching();
  gitAddArguments(command, {"--", GitRemoteTool::remoteName(), remoteRef});
  return command;
}

GitCommand gitPushCommand(std::string_view from, std::string_view to) {
  return pushing({}, from, to);
}

GitCommand gitPushNewBranchCommand(std::string_view hash, std::string_view remoteRef) {
  return pushingOnlyFrom({}, hash, remoteRef);
}

GitCommand gitPushDeletionCommand(std::string_view remoteRef, std::string_view expectedHash) {
  return pushingOnlyFrom(expectedHash, {}, remoteRef);
}

GitCommand gitListRemoteCommand(std::string_view remoteRef) {
  GitCommand command = gitMakeCommand({"ls-remote", "--", GitRemoteTool::remoteName()});
  if (!remoteRef.empty()) gitAddArguments(command, {remoteRef});
  return command;
}

GitCommand gitCloneCommand(std::string_view address, std::string_view folder, std::string_view branch,
                           bool isWithoutFiles) {
  GitCommand command = writing({"clone", "--progress", "--origin", "origin"});
  if (isWithoutFiles) gitAddArguments(command, {"--no-checkout"});
  if (!branch.empty()) gitAddArguments(command, {"--branch", branch});
  gitAddArguments(command, {"--", address, folder});
  return command;
}

GitCommand gitCheckOutDetachedCommand(std::string_view revision) {
  GitCommand command = writing({"checkout", "--progress", "--force", "--detach"});
  command.arguments.push_back(std::string(revision) + "^{commit}");
  gitAddArguments(command, {"--"});
  return command;
}

GitCommand gitCheckOutBranchAtCommand(std::string_view branch, std::string_view revision) {
  GitCommand command = writing({"checkout", "--progress", "--force", "--no-track", "-B", branch});
  command.arguments.push_back(std::string(revision) + "^{commit}");
  gitAddArguments(command, {"--"});
  return command;
}

GitCommand gitUpdateCommand(const GitNetworkSettings& settings, std::string_view branch, std::string_view from) {
  const GitBranchSettings* const own = settings.branchNamed(branch);
  const std::string_view setting = own != nullptr && !own->rebase.empty() ? own->rebase : settings.pullRebase;
  if (isRebaseWanted(setting)) {
    GitCommand command = writing({"rebase"});
    if (setting == "merges" || setting == "m") gitAddArguments(command, {"--rebase-merges"});
    gitAddArguments(command, {"--", from});
    return command;
  }
  GitCommand command = writing({"merge", "--no-edit", "--no-stat"});
  if (settings.pullFastForward == "only") gitAddArguments(command, {"--ff-only"});
  if (settings.pullFastForward == "false") gitAddArguments(command, {"--no-ff"});
  gitAddArguments(command, {"--", from});
  return command;
}

GitCommand gitSetUpstreamCommand(std::string_view branch, std::string_view trackingRef) {
  GitCommand command = writing({"branch", "--quiet"});
  command.arguments.push_back(std::string("--set-upstream-to=").append(trackingRef));
  gitAddArguments(command, {"--", branch});
  return command;
}
