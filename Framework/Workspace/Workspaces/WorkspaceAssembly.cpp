#include "QRBSourceControlBranch.h"
#include "QRBSourceControlLockedRevisionLocation.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlTag.h"
#include "QRBSourceControlWorkingCopy.h"
#include "QRBSourceControlWorkspace.h"
#include "QRBSourceControlWorkspaceBlueprint.h"
#include "WorkspaceAssemblyPrivate.h"

namespace qrb {

namespace {

// Checking out a remote branch leaves the working copy on the local one of its name; what else a file says of a branch
// makes it no other place.
bool isLocalBranchOf(const QRBSourceControlRevisionLocationPtr& current,
                     const QRBSourceControlRevisionLocationPtr& recorded) {
  auto local = std::dynamic_pointer_cast<const QRBSourceControlBranch>(current);
  return local != nullptr && !local->isRemoteBranch() && local->isSimilar(recorded);
}

// A working copy of a tag or of a fixed revision knows no more than the revision.
bool isAtRevisionOf(const QRBSourceControlRevisionLocationPtr& current,
                    const QRBSourceControlRevisionLocationPtr& recorded) {
  if (current == nullptr || recorded == nullptr || current->revision() == nullptr) return false;
  const ClassInfo& kind = recorded->classInfo();
  return &current->classInfo() == &QRBSourceControlRevisionLocation::staticClass() &&
         (&kind == &QRBSourceControlTag::staticClass() ||
          &kind == &QRBSourceControlLockedRevisionLocation::staticClass()) &&
         current->revision()->isEqual(recorded->revision());
}

}  // namespace

void WorkspaceAssembly::add(const QRBSourceControlRemoteRepositoryPtr& remote,
                            const QRBSourceControlWorkingCopyPtr& workingCopy) {
  workingCopy->setState(_blueprint.workingCopyStateForRemoteRepository(remote));
  if (auto repository = workingCopy->repository(); repository != nullptr && repository->identifier().empty()) {
    repository->setIdentifier(remote->identifier());
  }
  auto recorded = _blueprint.locationForRemoteRepository(remote);
  auto current = workingCopy->cachedCurrentLocation();
  if (current == nullptr || isLocalBranchOf(current, recorded) || isAtRevisionOf(current, recorded)) {
    workingCopy->setCachedCurrentLocation(recorded);
  }
  _workingCopies.push_back(workingCopy);
  _remotes->set(workingCopy, remote);
  if (remote == _blueprint.primaryRemoteRepository()) _primary = workingCopy;
}

QRBSourceControlWorkspacePtr WorkspaceAssembly::workspace() const {
  return QRBSourceControlWorkspace::initWithPrimaryWorkingCopy(_primary, _blueprint.relativePathToProject(),
                                                               _workingCopies);
}

}  // namespace qrb
