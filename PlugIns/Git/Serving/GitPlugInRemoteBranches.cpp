#include <algorithm>

#include "GitBranchCommands.h"
#include "GitBranchValues.h"
#include "GitNames.h"
#include "GitNetworkCommands.h"
#include "GitNetworkRequest.h"
#include "GitPlugIn.h"
#include "GitPushErrors.h"
#include "GitPushReport.h"
#include "GitRemoteRefs.h"
#include "GitRepositoryCommands.h"
#include "QRBSourceControlBranch.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlRepository.h"
#include "QRBSourceControlRevision.h"

// Making and removing branches on the other side.

namespace {

bool wasThere(std::string_view report) {
  std::vector<GitPushedRef> refs = gitReadPushReport(report);
  return !refs.empty() && (refs.front().result == GitPushedRef::Result::upToDate ||
                           refs.front().result == GitPushedRef::Result::outOfDate);
}

}  // namespace

qrb::Result<QRBSourceControlBranchPtr> GitPlugIn::addRemoteBranch(const QRBSourceControlBranchPtr& branch,
                                                                  const QRBSourceControlRevisionLocationPtr& from,
                                                                  const QRBSourceControlRepositoryPtr& toRepository) {
  GitTool local(folderOf(toRepository), host().connectionDescriptor(), _protections);
  auto hashes = resolve(local, toRepository, {&from, 1});
  if (!hashes) return hashes.error();
  auto remotes = listRemotes(local, toRepository);
  if (!remotes) return remotes.error();
  auto named = std::ranges::find(*remotes, branch->remoteName().view(), &GitRemote::name);
  if (named == remotes->end()) {
    return QRBSourceControlError_RemoteRepositoryNotFound("There is no remote “" + branch->remoteName().str() + "”.");
  }
  std::string folder = folderOf(toRepository);
  auto remoteRepository =
      QRBSourceControlRemoteRepository::initUnsavedWithURL(gitRemoteURL(named->address, folder), system());
  GitNetworkRequest request(folder, remoteRepository, host().connectionDescriptor());
  GitOutcome outcome;
  if (qrb::Error error = request.open(outcome)) return error;
  if (!outcome) return errorFor(outcome, toRepository);
  std::string ref = "refs/heads/" + branch->name().str();
  std::string report;
  outcome = request.remote().run(gitPushNewBranchCommand(hashes->front(), ref), [&](std::string_view bytes) {
    report.append(bytes);
    return true;
  });
  if (wasThere(report)) return gitAlreadyExists(GitThing::branch, branch->name(), outcome.failure.message);
  if (qrb::Error error = gitPushError(request.remote(), outcome, report)) return error;
  return gitRemoteBranch(branch->name().view(), branch->remoteName().view(), hashes->front());
}

qrb::Error GitPlugIn::removeRemoteBranch(const QRBSourceControlBranchPtr& branch,
                                         const QRBSourceControlRepositoryPtr& fromRepository,
                                         const QRBSourceControlRemoteRepositoryPtr& remoteRepository) {
  GitNetworkRequest request(folderOf(fromRepository), remoteRepository, host().connectionDescriptor());
  GitOutcome outcome;
  if (qrb::Error error = request.open(outcome)) return error;
  if (!outcome) return errorFor(outcome, fromRepository);
  GitRemoteTool& remote = request.remote();
  std::string ref = "refs/heads/" + branch->name().str();
  std::string listed;
  outcome = remote.tool().run(gitListRemoteCommand(ref), listed);
  if (!outcome) return remote.errorFor(outcome);
  // Servers take the removal of what they do not have for done.
  std::string hash(gitHashOfRemoteRef(listed, ref));
  if (hash.empty()) {
    return gitLocationNotFound(branch->locationWithRevision(nullptr), "The remote has no " + ref + ".");
  }
  std::string report;
  outcome = remote.run(gitPushDeletionCommand(ref, hash), [&](std::string_view bytes) {
    report.append(bytes);
    return true;
  });
  return gitPushError(remote, outcome, report);
}
