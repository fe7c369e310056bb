#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlWorkingCopy.h"
#include "QRBSourceControlWorkspace.h"
#include "QRBSourceControlWorkspaceBlueprint.h"
#include "WorkspaceAssemblyPrivate.h"

namespace qrb {

void WorkspaceAssembly::add(const QRBSourceControlRemoteRepositoryPtr& remote,
                            const QRBSourceControlWorkingCopyPtr& workingCopy) {
  workingCopy->setState(_blueprint.workingCopyStateForRemoteRepository(remote));
  if (auto repository = workingCopy->repository(); repository != nullptr && repository->identifier().empty()) {
    repository->setIdentifier(remote->identifier());
  }
  if (workingCopy->cachedCurrentLocation() == nullptr) {
    workingCopy->setCachedCurrentLocation(_blueprint.locationForRemoteRepository(remote));
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
