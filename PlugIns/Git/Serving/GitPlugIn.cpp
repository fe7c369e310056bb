#include "GitPlugIn.h"

#include <set>

#include "GitChange.h"
#include "GitStatusParser.h"
#include "GitWorkingCopyProbe.h"
#include "QRBSourceControlAuthenticationTypes.h"
#include "QRBSourceControlConstants.h"
#include "QRBSourceControlRepository.h"
#include "QRBSourceControlStatusValues.h"
#include "QRBSourceControlSystem.h"
#include "QRBSourceControlWorkingCopy.h"
#include "StatusCollector.h"

namespace {

std::string pathOf(const qrb::URL& url) {
  return url.isFileURL() ? url.path().str() : std::string();
}

}  // namespace

std::string GitPlugIn::folderOf(const QRBSourceControlWorkingCopyPtr& workingCopy) {
  return workingCopy ? pathOf(workingCopy->fileURL()) : std::string();
}

std::string GitPlugIn::folderOf(const QRBSourceControlRepositoryPtr& repository) {
  return repository ? pathOf(repository->URL()) : std::string();
}

const QRBSourceControlSystemPtr& GitPlugIn::system() {
  if (!_system) {
    // The plug-in's version and not git's: it tells systems apart, and must not change under a host's feet.
    auto system = QRBSourceControlSystem::initWithName(
        "Git", QRBSourceControlGitPlugInIdentifier, QRB_GIT_PLUG_IN_VERSION, ".git",
        std::set<qrb::String>{"git", ".git"}, true, true, false, false, false,
        QRBSourceControlAuthenticationTypeAnonymous | QRBSourceControlAuthenticationTypeBasic |
            QRBSourceControlAuthenticationTypeSSHKeys);
    _system = system->systemWithAdditionalRequests({QRBSourceControlPlugInProtocol::listTagsOfRepository.selector});
  }
  return _system;
}

GitTool GitPlugIn::toolAt(std::string folder) const {
  GitTool tool(std::move(folder), host().connectionDescriptor(), _protections);
  tool.setChanging();
  return tool;
}

GitWorkingCopyLock GitPlugIn::lockOn(const QRBSourceControlWorkingCopyPtr& workingCopy) const {
  return {folderOf(workingCopy), host().connectionDescriptor()};
}

GitOutcome GitPlugIn::change(const QRBSourceControlWorkingCopyPtr& workingCopy,
                             const std::function<GitOutcome(const GitTool&, const std::string&)>& work) const {
  std::string root = folderOf(workingCopy);
  GitWorkingCopyLock lock = lockOn(workingCopy);
  return work(toolFor(workingCopy), root);
}

qrb::Error GitPlugIn::errorFor(const GitOutcome& outcome, const QRBSourceControlWorkingCopyPtr& workingCopy) {
  return gitError(outcome, GitSubject::workingCopy, workingCopy ? workingCopy->displayName() : qrb::String());
}

qrb::Error GitPlugIn::errorFor(const GitOutcome& outcome, const QRBSourceControlRepositoryPtr& repository) {
  return gitError(outcome, GitSubject::repository, repository ? repository->displayName() : qrb::String());
}

void GitPlugIn::sourceControlSystem(Answer<QRBSourceControlSystemPtr> completionBlock) {
  completionBlock(system());
}

void GitPlugIn::scanForWorkingCopiesInPotentialWorkingCopies(const std::vector<qrb::URL>& potentialWorkingCopies,
                                                             Answer<WorkingCopies> completionBlock) {
  WorkingCopies found;
  for (const qrb::URL& candidate : potentialWorkingCopies) {
    if (!candidate.isFileURL()) continue;
    auto place = gitProbeWorkingCopy(candidate.path().str());
    if (!place) continue;
    auto repository = QRBSourceControlRepository::initWithURL(qrb::URL::fileURL(place->repository, true), system());
    found.push_back(QRBSourceControlWorkingCopy::initWithFileURLUnidentifiableRepository(
        qrb::URL::fileURL(place->root, true), std::move(repository)));
  }
  completionBlock(found);
}

void GitPlugIn::filesAndStatusOfWorkingCopy(
    const QRBSourceControlWorkingCopyPtr& workingCopy, bool withRemoteStatus,
    Completion<QRBSourceControlPathStatusesPtr, QRBSourceControlPathStatusesPtr> completionBlock) {
  auto local = statusOf(workingCopy);
  if (!local) return completionBlock(nullptr, nullptr, local.error());
  if (!withRemoteStatus) return completionBlock(*local, nullptr, {});
  auto remote = remoteStatusOf(workingCopy);
  if (!remote) return completionBlock(nullptr, nullptr, remote.error());
  completionBlock(*local, *remote, {});
}

qrb::Result<QRBSourceControlPathStatusesPtr> GitPlugIn::statusOf(const QRBSourceControlWorkingCopyPtr& workingCopy) {
  qrb::StatusCollector collector;
  GitStatusParser parser;
  GitOutcome outcome = lookAt(workingCopy, {.convertsFiles = true})
                           .parse(gitStatusCommand({}), parser, [&](const GitStatusRecord& record) {
                             if (record.kind == GitStatusRecord::Kind::header) return;
                             collector.add(record.path, record.status);
                             constexpr std::uint64_t renamed =
                                 QRBSourceControlStatusRenamed | QRBSourceControlStatusStagedRenamed;
                             if ((record.status & renamed) != 0)
                               collector.add(record.originalPath, QRBSourceControlStatusMovedAway);
                           });
  if (!outcome) return errorFor(outcome, workingCopy);
  return collector.take();
}

qrb::Result<QRBSourceControlPathStatusesPtr> GitPlugIn::remoteStatusOf(
    const QRBSourceControlWorkingCopyPtr& workingCopy) {
  qrb::StatusCollector collector;
  GitNameStatusParser parser;
  GitOutcome outcome = lookAt(workingCopy).parse(gitRemoteStatusCommand(), parser, [&](const GitChange& change) {
    collector.add(change.path, gitRemoteChangeStatus(change.letter));
    if (change.letter == 'R') collector.add(change.originalPath, gitRemoteChangeStatus('D'));
  });
  // Nothing can come in where there is nothing to come from, or nothing yet to compare it with.
  bool hasNothingIncoming = outcome.failedWith(GitFailureKind::noUpstream) ||
                            outcome.failedWith(GitFailureKind::unbornHead) ||
                            outcome.failedWith(GitFailureKind::noCommonAncestor);
  if (!outcome && !hasNothingIncoming) return errorFor(outcome, workingCopy);
  return collector.take();
}
