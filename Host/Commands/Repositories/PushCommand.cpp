#include "Command.h"
#include "QRBSourceControlBranch.h"
#include "QRBSourceControlCancellable.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlWorkingCopy.h"
#include "RemoteFinder.h"
#include "WorkingCopyFinder.h"

namespace host {

namespace {

struct PushOptions {
  std::string folder;
  std::string remote;
  std::string branch;
};

// Where to. Without a branch that the user names, what is checked out goes where it follows, which the library knows:
// by the name of a branch there another one here may be meant.
struct Target {
  FoundRemote remote;
  QRBSourceControlBranchPtr branch;
};

qrb::Result<Target> findTarget(Session& session, const QRBSourceControlWorkingCopyPtr& workingCopy,
                               const PushOptions& options) {
  std::string remoteName = options.remote;
  if (options.branch.empty()) {
    auto current = findCurrentBranch(session, workingCopy);
    if (!current) return current.error();
    if (remoteName.empty() && current->followed != nullptr) remoteName = current->followed->remoteName().str();
  }
  auto remote = findRemote(session, workingCopy->repository(), remoteName);
  if (!remote) return remote.error();
  QRBSourceControlBranchPtr branch;
  if (!options.branch.empty()) {
    branch = QRBSourceControlBranch::initWithBranchNameRemoteName(options.branch, false, remote->name);
  }
  return Target{*std::move(remote), std::move(branch)};
}

ExitStatus runPush(Session& session, const PushOptions& options) {
  auto found = findWorkingCopy(session, options.folder);
  if (!found) return session.fail(found.error());
  auto target = findTarget(session, found->workingCopy, options);
  if (!target) return session.fail(target.error());
  session.showPlugInMessages();
  qrb::Error error = session.perform("Pushing to " + target->remote.name, [&](Session::Done done) {
    return found->workingCopy->repository()->uploadCommitsToRemoteRepository(target->remote.remote, target->branch,
                                                                             session.progressBlock(), done);
  });
  return session.finishTransfer(error);
}

Command::Run declarePush(CommandDeclaration& command) {
  auto options = std::make_shared<PushOptions>();
  addDirectoryOption(command, options->folder);
  command.argument("REMOTE", options->remote,
                   "To that remote (default: the one that the current branch follows, else the "
                   "primary one)");
  command.argument("BRANCH", options->branch,
                   "To that branch there (default: the one that the current branch follows, "
                   "else one of the same name)");
  return with(options, runPush);
}

}  // namespace

extern const Command pushCommand{
    "push", "Send the commits of a branch to a remote",
    "Without BRANCH the current branch is sent. To a BRANCH goes the branch here of that name, "
    "or else one that follows\n"
    "it; where there is none, or several may be meant, nothing is sent. A branch that "
    "followed nothing follows it from then\n"
    "on. Nothing that the remote has is overwritten: where it has commits of its own, "
    "get them first (\"qrbscm update\").\n\n"
    "Examples:\n"
    "  qrbscm push\n"
    "  qrbscm push origin topic\n",
    declarePush, false};

}  // namespace host
