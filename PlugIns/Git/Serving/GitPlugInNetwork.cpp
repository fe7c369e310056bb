#include <algorithm>

#include "GitBranchValues.h"
#include "GitCheckoutCommands.h"
#include "GitErrors.h"
#include "GitMerging.h"
#include "GitMissingRevision.h"
#include "GitNames.h"
#include "GitNetworkCommands.h"
#include "GitNetworkRequest.h"
#include "GitPlugIn.h"
#include "GitProgress.h"
#include "GitPushErrors.h"
#include "GitPushPlan.h"
#include "GitPushReport.h"
#include "GitRefParser.h"
#include "QRBSourceControlBranch.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlRepository.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlWorkingCopy.h"

namespace {

/// Requests that bring no progress identifier report under this one.
const qrb::String ownRequest("");

qrb::Error unknownRemote(const GitNetworkRequest& request, const std::string& address) {
  std::string message = "No remote of this repository has the address " + address + ". It has ";
  if (request.settings().remotes.empty()) message += "no remotes.";
  for (const GitRemoteSettings& remote : request.settings().remotes) {
    message += remote.name + (&remote == &request.settings().remotes.back() ? "." : ", ");
  }
  return QRBSourceControlError_RemoteRepositoryNotFound(message);
}

GitOutcome listLocalBranches(const GitTool& tool, std::vector<std::string>& branches) {
  GitRefParser parser;
  return tool.parse(gitBranchesCommand(GitBranches::local), parser,
                    [&](const GitRefRecord& record) { branches.emplace_back(record.name); });
}

/// Why there is nothing to send to a named branch of the remote, or nothing without a name.
qrb::Error refusalOf(const GitPushPlan& plan) {
  if (plan.to.empty()) {
    return QRBSourceControlError_LocationNotFound(QRBSourceControlErrorCode::branchNotFound, {},
                                                  "No branch is checked out, and none was named to send to.");
  }
  std::string name(gitLocalBranchName(plan.to));
  if (plan.choices.empty()) {
    return QRBSourceControlError_LocationNotFound(
        QRBSourceControlErrorCode::branchNotFound, name,
        "No branch here is called “" + name + "”, and none follows the remote's, so there is nothing to send to it.");
  }
  std::string message = "Each of these may be meant:";
  for (const std::string& choice : plan.choices) message += " “" + choice + "”";
  return gitUnclearBranch(name, message);
}

bool hadAll(std::string_view report) {
  std::vector<GitPushedRef> refs = gitReadPushReport(report);
  return !refs.empty() && refs.front().result == GitPushedRef::Result::upToDate;
}

}  // namespace

qrb::Error GitPlugIn::errorFor(const GitOutcome& outcome, GitNetworkRequest& request,
                               const QRBSourceControlRepositoryPtr& repository) {
  bool isHere = outcome.failedWith(GitFailureKind::locked) || outcome.failedWith(GitFailureKind::diskFull) ||
                outcome.failedWith(GitFailureKind::readOnlyFileSystem);
  return isHere ? errorFor(outcome, repository) : request.remote().errorFor(outcome);
}

GitTool::Output GitPlugIn::reportProgress(GitProgressReader& reader, const qrb::String& identifier) {
  return [this, &reader, identifier](std::string_view bytes) {
    if (!identifier) return true;
    reader.feed(bytes, [&](double fraction, std::string_view text, bool isCheckout) {
      auto status = isCheckout ? QRBSourceControlProgressStatus::copying : QRBSourceControlProgressStatus::transferring;
      sendProgress(status, fraction, text, identifier);
    });
    return true;
  };
}

void GitPlugIn::sendProgress(QRBSourceControlProgressStatus status, double fraction, const qrb::String& text,
                             const qrb::String& identifier) {
  if (!identifier) return;
  _lastProgressValueSent = std::max(_lastProgressValueSent, fraction);
  host().progressStatus(status, _lastProgressValueSent, text, identifier);
}

void GitPlugIn::downloadUpdatesFromRemoteRepository(const QRBSourceControlRemoteRepositoryPtr& remoteRepository,
                                                    const QRBSourceControlRepositoryPtr& toRepository,
                                                    Completion<> completionBlock) {
  GitNetworkRequest request(folderOf(toRepository), remoteRepository, host().connectionDescriptor());
  GitOutcome outcome;
  if (qrb::Error error = request.open(outcome)) return completionBlock(error);
  if (!outcome) return completionBlock(errorFor(outcome, toRepository));
  if (request.configured() == nullptr) return completionBlock(unknownRemote(request, request.remote().address()));
  sendProgress(QRBSourceControlProgressStatus::authenticating, 0, {}, ownRequest);
  GitProgressReader progress(GitTransfer::fetch);
  outcome = request.remote().run(gitFetchCommand(), {}, reportProgress(progress, ownRequest));
  if (outcome) sendProgress(QRBSourceControlProgressStatus::transferring, 1, {}, ownRequest);
  completionBlock(errorFor(outcome, request, toRepository));
}

void GitPlugIn::uploadCommitsToRemoteRepository(const QRBSourceControlRemoteRepositoryPtr& remoteRepository,
                                                const QRBSourceControlRepositoryPtr& fromLocalRepository,
                                                const QRBSourceControlBranchPtr& remoteBranch,
                                                Completion<> completionBlock) {
  if (remoteBranch) {
    if (qrb::Error refusal = gitRefuseBranchName(remoteBranch->name())) return completionBlock(refusal);
  }
  GitNetworkRequest request(folderOf(fromLocalRepository), remoteRepository, host().connectionDescriptor());
  GitOutcome outcome;
  if (qrb::Error error = request.open(outcome)) return completionBlock(error);
  GitPushSources sources;
  if (outcome) outcome = listLocalBranches(request.local(), sources.branches);
  if (!outcome) return completionBlock(errorFor(outcome, fromLocalRepository));
  sources.current = request.currentBranch();
  GitPushPlan plan = gitPlanPush(sources, request.settings(), request.configured(),
                                 remoteBranch ? remoteBranch->name().view() : std::string_view());
  if (plan.from.empty()) return completionBlock(refusalOf(plan));
  completionBlock(push(request, plan, fromLocalRepository));
}

qrb::Error GitPlugIn::push(GitNetworkRequest& request, const GitPushPlan& plan,
                           const QRBSourceControlRepositoryPtr& repository) {
  std::string hash;
  const GitTool& local = request.local();
  GitOutcome source = gitExplainMissingRevision(local, plan.from, local.run(gitResolveCommand(plan.from), hash));
  if (source.failedWith(GitFailureKind::unknownRevision)) {
    return QRBSourceControlError_LocationNotFound(QRBSourceControlErrorCode::branchNotFound,
                                                  gitLocalBranchName(plan.from), "There are no commits to send.");
  }
  if (!source) return errorFor(source, repository);
  sendProgress(QRBSourceControlProgressStatus::authenticating, 0, {}, ownRequest);
  std::string output;
  GitProgressReader progress(GitTransfer::push);
  GitOutcome outcome = request.remote().run(
      gitPushCommand(plan.from, plan.to),
      [&](std::string_view bytes) {
        output.append(bytes);
        return true;
      },
      reportProgress(progress, ownRequest));
  qrb::Error error = gitPushError(request.remote(), outcome, output);
  if (!error && hadAll(output)) error = QRBSourceControlError_RemoteOperationUpToDate(plan.to);
  bool isThere = outcome.kind == GitOutcome::Kind::succeeded;
  if (isThere && !plan.newFollower.empty()) {
    std::string tracking = gitTrackingRef(*request.configured(), plan.to);
    // Where the remote's rules keep the branch nowhere, there is nothing to follow.
    if (!tracking.empty()) request.local().run(gitSetUpstreamCommand(plan.newFollower, tracking));
  }
  if (!error) sendProgress(QRBSourceControlProgressStatus::transferring, 1, {}, ownRequest);
  return error;
}

void GitPlugIn::forceUpdateWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy,
                                       const QRBSourceControlRemoteRepositoryPtr& fromRepository,
                                       Completion<> completionBlock) {
  GitNetworkRequest request(folderOf(workingCopy), fromRepository, host().connectionDescriptor());
  GitOutcome outcome;
  if (qrb::Error error = request.open(outcome)) return completionBlock(error);
  if (!outcome) return completionBlock(errorFor(outcome, workingCopy));
  std::string branch = request.currentBranch();
  if (branch.empty()) {
    return completionBlock(QRBSourceControlError_LocationNotFound(
        QRBSourceControlErrorCode::branchNotFound, {}, "No branch is checked out that could be brought up to date."));
  }
  completionBlock(update(request, branch, workingCopy));
}

/// What a branch follows is fetched with everything else of its remote; a branch of another repository by itself.
qrb::Error GitPlugIn::update(GitNetworkRequest& request, const std::string& branch,
                             const QRBSourceControlWorkingCopyPtr& workingCopy) {
  const GitRemoteSettings* remote = request.configured();
  const GitBranchSettings* settings = request.settings().branchNamed(branch);
  if (settings != nullptr && settings->remote == ".") {
    return QRBSourceControlError_LocationNotFound(
        QRBSourceControlErrorCode::branchNotFound, {},
        "“" + branch + "” follows “" + std::string(gitLocalBranchName(settings->merge)) +
            "” of this repository, and no branch of a remote. Merge that one, or name the branch that is meant.");
  }
  bool isFollowing = remote != nullptr && settings != nullptr && settings->remote == remote->name;
  std::string remoteRef = isFollowing && !settings->merge.empty() ? settings->merge : "refs/heads/" + branch;
  std::string tracking = remote != nullptr ? gitTrackingRef(*remote, remoteRef) : std::string();
  GitOutcome fetched = request.remote().run(tracking.empty() ? gitFetchBranchCommand(remoteRef) : gitFetchCommand());
  if (!fetched) return errorFor(fetched, request, workingCopy->repository());
  std::string from = tracking.empty() ? "FETCH_HEAD" : tracking;
  std::string hash;
  if (!request.local().run(gitResolveCommand(from), hash)) {
    return QRBSourceControlError_LocationNotFound(QRBSourceControlErrorCode::branchNotFound,
                                                  gitLocalBranchName(remoteRef), "The remote has no such branch.");
  }
  GitWorkingCopyLock lock = lockOn(workingCopy);
  if (request.currentBranch() != branch) {
    return QRBSourceControlError_RepositoryMidOperation("Another branch was checked out meanwhile.");
  }
  std::string_view rebase = request.settings().rebaseOf(branch);
  GitCommand command = rebase.empty()
                           ? gitMergeCommand(gitNameToMerge(request.local(), from), request.settings().pullFastForward)
                           : gitRebaseCommand(from, rebase == "merges" || rebase == "m");
  return errorFor(gitRunMerge(request.local(), command), workingCopy);
}
