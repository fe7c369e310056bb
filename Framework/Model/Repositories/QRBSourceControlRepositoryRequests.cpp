#include <utility>

#include "QRBSourceControlError.h"
#include "QRBSourceControlManager.h"
#include "QRBSourceControlRefusalPrivate.h"
#include "QRBSourceControlRepository.h"

using qrb::detail::requestIfCapable;
using System = QRBSourceControlSystem;

namespace {

const QRBSourceControlManagerPtr& manager() {
  return QRBSourceControlManager::sharedInstance();
}

}  // namespace

QRBSourceControlCancellablePtr QRBSourceControlRepository::headRevisionWithCompletionBlock(
    Completion<QRBSourceControlRevisionPtr> completionBlock) {
  return manager()->headRevisionOfRepository(shared_from_this(), std::move(completionBlock));
}

QRBSourceControlCancellablePtr QRBSourceControlRepository::revisionOfLocation(
    QRBSourceControlRevisionLocationPtr location, Layout branchAndTagLocations,
    Completion<QRBSourceControlRevisionPtr> completionBlock) {
  return manager()->revisionOfLocation(location, shared_from_this(), branchAndTagLocations, std::move(completionBlock));
}

QRBSourceControlCancellablePtr QRBSourceControlRepository::automaticallyDetectBranchAndTagLocationsFromPath(
    QRBSourceControlPathLocationPtr path, Completion<QRBSourceControlRevisionLocationPtr, Layout> completionBlock) {
  return requestIfCapable(sourceControlSystem(), &System::requiresLocationsForBranchesAndTags,
                          &QRBSourceControlError_SystemBranchAndTagLocationsUnsupported, completionBlock, [&] {
                            return manager()->automaticallyDetectBranchAndTagLocationsForRepository(
                                shared_from_this(), path, completionBlock);
                          });
}

QRBSourceControlCancellablePtr QRBSourceControlRepository::listSubpathsAtPath(
    QRBSourceControlPathLocationPtr path, Completion<std::vector<QRBSourceControlPathLocationPtr>> completionBlock) {
  return requestIfCapable(sourceControlSystem(), &System::supportsPathLocation,
                          &QRBSourceControlError_SystemBrowsingRepositoriesUnsupported, completionBlock, [&] {
                            return manager()->listSubpathsOfRepository(shared_from_this(), path, completionBlock);
                          });
}

QRBSourceControlCancellablePtr QRBSourceControlRepository::listBranchesWithCompletionBlock(
    Completion<std::vector<QRBSourceControlBranchPtr>> completionBlock) {
  return listBranchesForBranchAndTagLocations(nullptr, std::move(completionBlock));
}

QRBSourceControlCancellablePtr QRBSourceControlRepository::listBranchesForBranchAndTagLocations(
    Layout branchAndTagLocations, Completion<std::vector<QRBSourceControlBranchPtr>> completionBlock) {
  return manager()->listBranchesOfRepository(shared_from_this(), branchAndTagLocations, std::move(completionBlock));
}

QRBSourceControlCancellablePtr QRBSourceControlRepository::listRemoteBranchesForBranchAndTagLocations(
    Layout branchAndTagLocations,
    Completion<std::vector<QRBSourceControlBranchPtr>, QRBSourceControlRemoteBranchesPtr> completionBlock) {
  return requestIfCapable(sourceControlSystem(), &System::supportsMultipleRemoteRepositories,
                          &QRBSourceControlError_SystemDistributedRepositoriesUnsupported, completionBlock, [&] {
                            return manager()->listRemoteBranchesOfRepository(shared_from_this(), branchAndTagLocations,
                                                                             completionBlock);
                          });
}

QRBSourceControlCancellablePtr QRBSourceControlRepository::parentBranchesOfBranch(
    QRBSourceControlBranchPtr branch, Layout branchAndTagLocations,
    Completion<QRBSourceControlBranchPtr, std::vector<QRBSourceControlBranchPtr>> completionBlock) {
  return manager()->parentBranchesOfBranch(branch, shared_from_this(), branchAndTagLocations,
                                           std::move(completionBlock));
}

QRBSourceControlCancellablePtr QRBSourceControlRepository::ancestorRevisionOfBranch(
    QRBSourceControlBranchPtr branch, QRBSourceControlBranchPtr otherBranch, Layout branchAndTagLocations,
    Completion<QRBSourceControlRevisionPtr> completionBlock) {
  return manager()->ancestorRevisionInRepository(shared_from_this(), branch, otherBranch, branchAndTagLocations,
                                                 std::move(completionBlock));
}

QRBSourceControlCancellablePtr QRBSourceControlRepository::addBranch(
    QRBSourceControlBranchPtr branch, QRBSourceControlBranchPtr fromBranch, Layout forBranchAndTagLocations,
    Completion<QRBSourceControlBranchPtr> completionBlock) {
  return manager()->addBranch(branch, fromBranch, shared_from_this(), forBranchAndTagLocations,
                              std::move(completionBlock));
}

QRBSourceControlCancellablePtr QRBSourceControlRepository::removeBranch(
    QRBSourceControlBranchPtr branch, Layout forBranchAndTagLocations,
    QRBSourceControlRemoteRepositoryPtr remoteRepository, Completion<> completionBlock) {
  return manager()->removeBranch(branch, shared_from_this(), remoteRepository, forBranchAndTagLocations,
                                 std::move(completionBlock));
}

QRBSourceControlCancellablePtr QRBSourceControlRepository::diffLocation(
    QRBSourceControlRevisionLocationPtr location, QRBSourceControlRevisionLocationPtr againstLocation,
    Layout branchAndTagLocations, Completion<qrb::Dictionary> completionBlock) {
  return manager()->diffRepository(shared_from_this(), location, againstLocation, branchAndTagLocations,
                                   std::move(completionBlock));
}

QRBSourceControlCancellablePtr QRBSourceControlRepository::listRemoteRepositoriesWithCompletionBlock(
    Completion<QRBSourceControlRemoteRepositoryPtr, QRBSourceControlRemoteRepositoriesPtr> completionBlock) {
  auto cacheAndPassOn = [self = shared_from_this(), completionBlock](QRBSourceControlRemoteRepositoryPtr primary,
                                                                     QRBSourceControlRemoteRepositoriesPtr remotes,
                                                                     qrb::Error error) {
    if (!error) {
      self->_primaryRemoteRepository.set(primary);
      self->_cachedRemoteRepositories.set(remotes);
    }
    if (completionBlock) completionBlock(std::move(primary), std::move(remotes), std::move(error));
  };
  return requestIfCapable(
      sourceControlSystem(), &System::supportsMultipleRemoteRepositories,
      &QRBSourceControlError_SystemDistributedRepositoriesUnsupported, completionBlock,
      [&] { return manager()->listRemoteRepositoriesForRepository(shared_from_this(), std::move(cacheAndPassOn)); });
}

QRBSourceControlCancellablePtr QRBSourceControlRepository::remoteBranchForBranch(
    QRBSourceControlBranchPtr branch, Completion<QRBSourceControlBranchPtr> completionBlock) {
  return requestIfCapable(sourceControlSystem(), &System::supportsMultipleRemoteRepositories,
                          &QRBSourceControlError_SystemDistributedRepositoriesUnsupported, completionBlock, [&] {
                            return manager()->remoteBranchFromRepository(shared_from_this(), branch, completionBlock);
                          });
}

QRBSourceControlCancellablePtr QRBSourceControlRepository::addRemoteRepository(
    QRBSourceControlRemoteRepositoryPtr remoteRepository, qrb::String withName, Completion<> completionBlock) {
  return requestIfCapable(
      sourceControlSystem(), &System::supportsMultipleRemoteRepositories,
      &QRBSourceControlError_SystemDistributedRepositoriesUnsupported, completionBlock,
      [&] { return manager()->addRemoteRepository(remoteRepository, withName, shared_from_this(), completionBlock); });
}

QRBSourceControlCancellablePtr QRBSourceControlRepository::removeRemoteRepositoryNamed(qrb::String name,
                                                                                       Completion<> completionBlock) {
  return requestIfCapable(sourceControlSystem(), &System::supportsMultipleRemoteRepositories,
                          &QRBSourceControlError_SystemDistributedRepositoriesUnsupported, completionBlock, [&] {
                            return manager()->removeRemoteRepositoryNamed(name, shared_from_this(), completionBlock);
                          });
}

QRBSourceControlCancellablePtr QRBSourceControlRepository::downloadUpdatesFromRemoteRepository(
    QRBSourceControlRemoteRepositoryPtr remoteRepository, QRBSourceControlProgressBlock progressBlock,
    Completion<> completionBlock) {
  return requestIfCapable(sourceControlSystem(), &System::hasLocalRepository,
                          &QRBSourceControlError_SystemDistributedRepositoriesUnsupported, completionBlock, [&] {
                            return manager()->downloadUpdatesFromRemoteRepository(remoteRepository, shared_from_this(),
                                                                                  progressBlock, completionBlock);
                          });
}

QRBSourceControlCancellablePtr QRBSourceControlRepository::uploadCommitsToRemoteRepository(
    QRBSourceControlRemoteRepositoryPtr remoteRepository, QRBSourceControlBranchPtr remoteBranch,
    QRBSourceControlProgressBlock progressBlock, Completion<> completionBlock) {
  return requestIfCapable(sourceControlSystem(), &System::hasLocalRepository,
                          &QRBSourceControlError_SystemDistributedRepositoriesUnsupported, completionBlock, [&] {
                            return manager()->uploadCommitsToRemoteRepository(
                                remoteRepository, shared_from_this(), remoteBranch, progressBlock, completionBlock);
                          });
}

QRBSourceControlCancellablePtr QRBSourceControlRepository::createRepositoryAtFileURL(
    qrb::URL fileURL, QRBSourceControlSystemPtr withSystem, Completion<QRBSourceControlRepositoryPtr> completionBlock) {
  return requestIfCapable(withSystem, &System::hasLocalRepository,
                          &QRBSourceControlError_SystemDistributedRepositoriesUnsupported, completionBlock,
                          [&] { return manager()->createRepositoryAtFileURL(fileURL, withSystem, completionBlock); });
}
