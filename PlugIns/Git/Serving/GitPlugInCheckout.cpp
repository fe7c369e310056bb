#include "GitBranchCommands.h"
#include "GitCheckoutCommands.h"
#include "GitCheckoutRepair.h"
#include "GitHookOutput.h"
#include "GitMerging.h"
#include "GitMissingRevision.h"
#include "GitNames.h"
#include "GitPlugIn.h"
#include "QRBSourceControlBranch.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlTag.h"
#include "QRBSourceControlWorkingCopy.h"

namespace {

/// Checks out a location that gitRefuseLocation() has let through.
class Switch {
 public:
  explicit Switch(const GitTool& tool) : _tool(tool) {}

  /// What will be checked out; of a new branch, where it begins.
  static std::string targetOf(const QRBSourceControlRevisionLocationPtr& location) {
    auto branch = std::dynamic_pointer_cast<const QRBSourceControlBranch>(location);
    if (!branch) return gitLocationName(location);
    if (!branch->isNewBranch() || branch->isRemoteBranch()) return gitBranchRefName(branch);
    return branch->revision() ? gitLocationName(location) : "HEAD";
  }

  GitOutcome to(const QRBSourceControlRevisionLocationPtr& location) {
    auto branch = std::dynamic_pointer_cast<const QRBSourceControlBranch>(location);
    if (!branch) return run(gitSwitchToRevisionCommand(gitLocationName(location)));
    std::string name = branch->name().str();
    if (branch->isRemoteBranch()) {
      GitOutcome outcome = to(name, gitSwitchToNewBranchCommand(name, gitBranchRefName(branch), true));
      return outcome.failedWith(GitFailureKind::exists) && follows(*branch) ? to(name, gitSwitchToBranchCommand(name))
                                                                            : outcome;
    }
    if (!branch->isNewBranch()) return to(name, gitSwitchToBranchCommand(name));
    return to(name, gitSwitchToNewBranchCommand(name, branch->revision() ? gitLocationName(location) : "", false));
  }

 private:
  GitOutcome run(const GitCommand& command) { return _tool.run(command, {}, gitHookOutput()); }

  /// Whether the branch here of the same name is the one that follows it; another is not what was asked for.
  bool follows(const QRBSourceControlBranch& branch) {
    std::string output;
    std::string ref = "refs/heads/" + branch.name().str();
    if (!_tool.run(gitUpstreamCommand(ref), output)) return false;
    auto upstream = gitReadUpstream(output);
    return upstream && branch.remoteName().view() == upstream->remote && upstream->remoteRef == ref;
  }

  /// The exit status of a hook that runs when all is done becomes git's, and is none of ours.
  GitOutcome to(const std::string& name, const GitCommand& command) {
    GitOutcome outcome = run(command);
    std::string current;
    if (outcome.failedWith(GitFailureKind::other) && _tool.run(gitCurrentBranchCommand(), current) &&
        current == "refs/heads/" + name) {
      return {};
    }
    return outcome;
  }

  const GitTool& _tool;
};

}  // namespace

void GitPlugIn::mergeBranch(const QRBSourceControlBranchPtr& branch,
                            const QRBSourceControlWorkingCopyPtr& intoWorkingCopy, Completion<> completionBlock) {
  if (qrb::Error error = gitRefuseLocation(branch)) return completionBlock(error);
  GitWorkingCopyLock lock = lockOn(intoWorkingCopy);
  GitTool tool = toolFor(intoWorkingCopy);
  std::string name = gitBranchRefName(branch);
  GitOutcome outcome = gitRunCheckout(tool, lock, folderOf(intoWorkingCopy), name, true,
                                      [&] { return gitRunMerge(tool, gitMergeCommand(gitNameToMerge(tool, name))); });
  outcome = gitExplainMissingRevision(tool, name, std::move(outcome));
  if (outcome.failedWith(GitFailureKind::unknownRevision)) {
    return completionBlock(gitLocationNotFound(branch->locationWithRevision(nullptr), outcome.failure.message));
  }
  completionBlock(errorFor(outcome, intoWorkingCopy));
}

void GitPlugIn::switchLocation(const QRBSourceControlRevisionLocationPtr& location,
                               const QRBSourceControlWorkingCopyPtr& ofWorkingCopy,
                               Completion<QRBSourceControlRevisionLocationPtr> completionBlock) {
  if (qrb::Error error = gitRefuseLocation(location)) return completionBlock(nullptr, error);
  GitWorkingCopyLock lock = lockOn(ofWorkingCopy);
  GitTool tool = toolFor(ofWorkingCopy);
  std::string target = Switch::targetOf(location);
  GitOutcome outcome =
      gitRunCheckout(tool, lock, folderOf(ofWorkingCopy), target, false, [&] { return Switch(tool).to(location); });
  outcome = gitExplainMissingRevision(tool, target, std::move(outcome));
  if (outcome.failedWith(GitFailureKind::unknownRevision)) {
    return completionBlock(nullptr, gitLocationNotFound(location, outcome.failure.message));
  }
  if (!outcome) return completionBlock(nullptr, errorFor(outcome, ofWorkingCopy));
  if (std::dynamic_pointer_cast<const QRBSourceControlTag>(location) == nullptr) {
    return currentLocationOfWorkingCopy(ofWorkingCopy, completionBlock);
  }
  // What is checked out does not say by which name it was asked for.
  baseRevisionOfWorkingCopy(ofWorkingCopy, [&](const QRBSourceControlRevisionPtr& revision, const qrb::Error& error) {
    completionBlock(error ? nullptr : location->locationWithRevision(revision), error);
  });
}
