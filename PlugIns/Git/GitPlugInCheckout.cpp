#include "GitCheckoutCommands.h"
#include "GitHookOutput.h"
#include "GitNames.h"
#include "GitPlugIn.h"
#include "QRBSourceControlBranch.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlTag.h"
#include "QRBSourceControlWorkingCopy.h"

namespace {

/// The name by which the message of the merge will call the branch: short where that means nothing else.
std::string nameToMerge(const GitTool& tool, const std::string& fullName) {
  constexpr std::string_view folders[] = {"refs/heads/", "refs/remotes/"};
  for (const std::string_view folder : folders) {
    if (!fullName.starts_with(folder)) continue;
    const std::string name = fullName.substr(folder.size());
    std::string meaning;
    if (tool.run(gitFullNameCommand(name), meaning) && meaning == fullName) return name;
  }
  return fullName;
}

GitOutcome merge(const GitTool& tool, const std::string& fullName) {
  std::string output;
  const auto collect = [&](std::string_view bytes) {
    output.append(bytes);
    return true;
  };
  GitOutcome outcome = tool.run(gitMergeCommand(nameToMerge(tool, fullName)), collect, gitHookOutput);
  if (outcome.failedWith(GitFailureKind::Other) && output.find("CONFLICT (") != std::string::npos) {
    outcome.failure = {GitFailureKind::MergeConflict, {}, output};
  }
  return outcome;
}

/// Checks out a location that gitRefuseLocation() has let through.
class Switch {
 public:
  explicit Switch(const GitTool& tool) : _tool(tool) {}

  GitOutcome to(const QRBSourceControlRevisionLocationPtr& location) {
    const auto branch = std::dynamic_pointer_cast<const QRBSourceControlBranch>(location);
    if (!branch) return run(gitSwitchToRevisionCommand(gitLocationName(location)));
    const std::string name = branch->name().str();
    if (branch->isRemoteBranch()) {
      GitOutcome outcome = to(name, gitSwitchToNewBranchCommand(name, gitBranchRefName(branch), true));
      return outcome.failedWith(GitFailureKind::Exists) ? to(name, gitSwitchToBranchCommand(name)) : outcome;
    }
    if (!branch->isNewBranch()) return to(name, gitSwitchToBranchCommand(name));
    return to(name, gitSwitchToNewBranchCommand(name, branch->revision() ? gitLocationName(location) : "", false));
  }

 private:
  GitOutcome run(const GitCommand& command) { return _tool.run(command, {}, gitHookOutput); }

  /// The exit status of a hook that runs when all is done becomes git's, and is none of ours.
  GitOutcome to(const std::string& name, const GitCommand& command) {
    GitOutcome outcome = run(command);
    std::string current;
    if (outcome.failedWith(GitFailureKind::Other) && _tool.run(gitCurrentBranchCommand(), current) &&
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
  if (const qrb::Error error = gitRefuseLocation(branch)) return completionBlock(error);
  const GitTurn turn = turnAt(intoWorkingCopy);
  const GitOutcome outcome = merge(toolFor(intoWorkingCopy), gitBranchRefName(branch));
  if (outcome.failedWith(GitFailureKind::UnknownRevision)) {
    return completionBlock(gitLocationNotFound(branch->locationWithRevision(nullptr), outcome.failure.message));
  }
  completionBlock(errorFor(outcome, intoWorkingCopy));
}

void GitPlugIn::switchLocation(const QRBSourceControlRevisionLocationPtr& location,
                               const QRBSourceControlWorkingCopyPtr& ofWorkingCopy,
                               Completion<QRBSourceControlRevisionLocationPtr> completionBlock) {
  if (const qrb::Error error = gitRefuseLocation(location)) return completionBlock(nullptr, error);
  const GitTurn turn = turnAt(ofWorkingCopy);
  const GitOutcome outcome = Switch(toolFor(ofWorkingCopy)).to(location);
  if (outcome.failedWith(GitFailureKind::UnknownRevision)) {
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
