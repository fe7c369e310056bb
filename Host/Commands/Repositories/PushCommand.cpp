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
  qrb::Error error;
};

Target findTarget(Session& session, const QRBSourceControlWorkingCopyPtr& workingCopy, const PushOptions& options) {
  Target target;
  std::string remoteName = options.remote;
  if (options.branch.empty()) {
    CurrentBranch current = findCurrentBranch(session, workingCopy);
    target.error = current.error;
    if (target.error) return target;
    if (remoteName.empty() && current.followed != nullptr) remoteName = current.followed->remoteName().str();
  }
  target.remote = findRemote(session, workingCopy->repository(), remoteName);
  target.error = target.remote.error;
  if (!options.branch.empty()) {
    target.branch = QRBSourceControlBranch::initWithBranchNameRemoteName(options.branch, false, target.remote.name);
  }
  return target;
}

ExitStatus runPush(Session& session, const PushOptions& options) {
  FoundWorkingCopy found = findWorkingCopy(session, options.folder);
  if (found.error) return session.fail(found.error);
  Target target = findTarget(session, found.workingCopy, options);
  if (target.error) return session.fail(target.error);
  session.showPlugInMessages();
  qrb::Error error = session.perform("Pushing to " + target.remote.name, [&](Session::Done done) {
    return found.workingCopy->repository()->uploadCommitsToRemoteRepository(target.remote.remote, target.branch,
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
