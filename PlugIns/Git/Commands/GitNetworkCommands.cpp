#include "GitNetworkCommands.h"

#include <array>
#include <cstdio>
#include <cstdlib>

#include "GitCommandParts.h"

namespace {

/// What goes wrong on the way is told with any exit status, whatever hooks may say besides.
GitCommand transferring(std::initializer_list<std::string_view> arguments) {
  GitCommand command = gitMakeHookedCommand(arguments);
  command.runsHooks = false;
  return command;
}

/// A request brings what one server is to be told; what a repository names besides is not reached without being asked.
/// Hosts fetch by themselves now and then, which is no reason to run what lies in a repository.
GitCommand fetching() {
  return transferring({"-c", "core.hooksPath=/dev/null", "fetch", "--progress", "--no-recurse-submodules"});
}

GitCommand pushing(std::initializer_list<std::string_view> options, std::string_view from, std::string_view to) {
  GitCommand command = transferring({"push", "--porcelain", "--progress", "--no-recurse-submodules"});
  gitAddArguments(command, options);
  gitAddArguments(command, {"--", gitReachedRemote()});
  command.arguments.push_back(std::string(from).append(1, ':').append(to));
  return command;
}

/// Only as long as the other side has the ref at the commit; empty: as long as it has none.
GitCommand pushingOnlyFrom(std::string_view expectedHash, std::string_view from, std::string_view to) {
  std::string lease = std::string("--force-with-lease=").append(to).append(1, ':').append(expectedHash);
  return pushing({lease}, from, to);
}

}  // namespace

const std::string& gitReachedRemote() {
  static const std::string name = [] {
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "qrb-%08x%08x%08x", arc4random(), arc4random(), arc4random());
    return std::string(text.data());
  }();
  return name;
}

GitCommand gitFetchCommand() {
  GitCommand command = fetching();
  gitAddArguments(command, {"--no-write-fetch-head", "--", gitReachedRemote()});
  return command;
}

GitCommand gitFetchBranchCommand(std::string_view remoteRef) {
  GitCommand command = fetching();
  gitAddArguments(command, {"--", gitReachedRemote(), remoteRef});
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

GitCommand gitProxyCommand(std::string_view address) {
  return gitMakeCommand({"config", "--get-urlmatch", "http.proxy", address});
}

GitCommand gitListRemoteCommand(std::string_view remoteRef) {
  GitCommand command = gitMakeCommand({"ls-remote", "--", gitReachedRemote()});
  if (!remoteRef.empty()) gitAddArguments(command, {remoteRef});
  return command;
}

GitCommand gitCloneCommand(std::string_view address, std::string_view folder, std::string_view branch,
                           bool isWithoutFiles) {
  GitCommand command = transferring({"clone", "--progress", "--origin", "origin"});
  if (isWithoutFiles) gitAddArguments(command, {"--no-checkout"});
  if (!branch.empty()) gitAddArguments(command, {"--branch", branch});
  gitAddArguments(command, {"--", address, folder});
  return command;
}

GitCommand gitCheckOutDetachedCommand(std::string_view revision) {
  GitCommand command = gitMakeHookedCommand({"checkout", "--progress", "--force", "--detach"});
  command.arguments.push_back(std::string(revision) + "^{commit}");
  gitAddArguments(command, {"--"});
  return command;
}

GitCommand gitCheckOutBranchAtCommand(std::string_view branch, std::string_view revision) {
  GitCommand command = gitMakeHookedCommand({"checkout", "--progress", "--force", "--no-track", "-B", branch});
  command.arguments.push_back(std::string(revision) + "^{commit}");
  gitAddArguments(command, {"--"});
  return command;
}

GitCommand gitSetUpstreamCommand(std::string_view branch, std::string_view trackingRef) {
  GitCommand command = gitMakeWritingCommand({"branch", "--quiet"});
  command.arguments.push_back(std::string("--set-upstream-to=").append(trackingRef));
  gitAddArguments(command, {"--", branch});
  return command;
}
