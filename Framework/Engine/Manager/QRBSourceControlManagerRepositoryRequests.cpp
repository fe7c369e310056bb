#include "QRBSourceControlPlugInProtocol.h"
#include "QRBSourceControlRequestPrivate.h"

namespace Protocol = QRBSourceControlPlugInProtocol;
namespace request = qrb::request;

QRBSourceControlOperationPtr QRBSourceControlManager::headRevisionOfRepository(
    const QRBSourceControlRepositoryPtr& repository, Completion<QRBSourceControlRevisionPtr> completionBlock) {
  return request::start(shared_from_this(), Protocol::headRevisionOfRepository, request::of(repository), {},
                        std::move(completionBlock), {repository});
}

QRBSourceControlOperationPtr QRBSourceControlManager::revisionOfLocation(
    const QRBSourceControlRevisionLocationPtr& location, const QRBSourceControlRepositoryPtr& inRepository,
    const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
    Completion<QRBSourceControlRevisionPtr> completionBlock) {
  return request::start(shared_from_this(), Protocol::revisionOfLocation, request::of(inRepository), {},
                        std::move(completionBlock), {location, inRepository, branchAndTagLocations});
}

QRBSourceControlOperationPtr QRBSourceControlManager::listSubpathsOfRepository(
    const QRBSourceControlRepositoryPtr& repository, const QRBSourceControlPathLocationPtr& atPath,
    Completion<std::vector<QRBSourceControlPathLocationPtr>> completionBlock) {
  return request::start(shared_from_this(), Protocol::listSubpathsOfRepository, request::of(repository), {},
                        std::move(completionBlock), {repository, atPath});
}

QRBSourceControlOperationPtr QRBSourceControlManager::listBranchesOfRepository(
    const QRBSourceControlRepositoryPtr& repository,
    const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations, Completion<Branches> completionBlock) {
  return request::start(shared_from_this(), Protocol::listBranchesOfRepository, request::of(repository), {},
                        std::move(completionBlock), {repository, branchAndTagLocations});
}

QRBSourceControlOperationPtr QRBSourceControlManager::listTagsOfRepository(
    const QRBSourceControlRepositoryPtr& repository,
    const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
    Completion<std::vector<QRBSourceControlTagPtr>> completionBlock) {
  return request::start(shared_from_this(), Protocol::listTagsOfRepository, request::of(repository), {},
                        std::move(completionBlock), {repository, branchAndTagLocations});
}

QRBSourceControlOperationPtr QRBSourceControlManager::listRemoteBranchesOfRepository(
    const QRBSourceControlRepositoryPtr& repository,
    const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
    Completion<Branches, QRBSourceControlRemoteBranchesPtr> completionBlock) {
  return request::start(shared_from_this(), Protocol::listRemoteBranchesOfRepository, request::of(repository), {},
                        std::move(completionBlock), {repository, branchAndTagLocations});
}

QRBSourceControlOperationPtr QRBSourceControlManager::parentBranchesOfBranch(
    const QRBSourceControlBranchPtr& branch, const QRBSourceControlRepositoryPtr& inRepository,
    const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
    Completion<QRBSourceControlBranchPtr, Branches> completionBlock) {
  return request::start(shared_from_this(), Protocol::parentBranchesOfBranch, request::of(inRepository), {},
                        std::move(completionBlock), {branch, inRepository, branchAndTagLocations});
}

QRBSourceControlOperationPtr QRBSourceControlManager::ancestorRevisionInRepository(
    const QRBSourceControlRepositoryPtr& repository, const QRBSourceControlBranchPtr& ofBranch,
    const QRBSourceControlBranchPtr& otherBranch, const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
    Completion<QRBSourceControlRevisionPtr> completionBlock) {
  return request::start(shared_from_this(), Protocol::ancestorRevisionInRepository, request::of(repository), {},
                        std::move(completionBlock), {repository, ofBranch, otherBranch, branchAndTagLocations});
}

QRBSourceControlOperationPtr QRBSourceControlManager::addBranch(
    const QRBSourceControlBranchPtr& branch, const QRBSourceControlBranchPtr& fromBranch,
    const QRBSourceControlRepositoryPtr& toRepository,
    const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
    Completion<QRBSourceControlBranchPtr> completionBlock) {
  return request::start(shared_from_this(), Protocol::addBranch, request::of(toRepository), {},
                        std::move(completionBlock), {branch, fromBranch, toRepository, branchAndTagLocations});
}

QRBSourceControlOperationPtr QRBSourceControlManager::diffRepository(
    const QRBSourceControlRepositoryPtr& repository, const QRBSourceControlRevisionLocationPtr& fromLocation,
    const QRBSourceControlRevisionLocationPtr& againstLocation,
    const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
    Completion<qrb::Dictionary> completionBlock) {
  return request::start(shared_from_this(), Protocol::diffRepository, request::of(repository), {},
                        std::move(completionBlock), {repository, fromLocation, againstLocation, branchAndTagLocations});
}

QRBSourceControlOperationPtr QRBSourceControlManager::remoteBranchFromRepository(
    const QRBSourceControlRepositoryPtr& repository, const QRBSourceControlBranchPtr& forBranch,
    Completion<QRBSourceControlBranchPtr> completionBlock) {
  return request::start(shared_from_this(), Protocol::remoteBranchFromRepository, request::of(repository), {},
                        std::move(completionBlock), {repository, forBranch});
}

QRBSourceControlOperationPtr QRBSourceControlManager::addRemoteRepository(
    const QRBSourceControlRemoteRepositoryPtr& remoteRepository, const qrb::String& withName,
    const QRBSourceControlRepositoryPtr& toRepository, Completion<> completionBlock) {
  return request::start(shared_from_this(), Protocol::addRemoteRepository, request::of(toRepository), {},
                        std::move(completionBlock), {remoteRepository, withName, toRepository});
}

QRBSourceControlOperationPtr QRBSourceControlManager::removeRemoteRepositoryNamed(
    const qrb::String& name, const QRBSourceControlRepositoryPtr& fromRepository, Completion<> completionBlock) {
  return request::start(shared_from_this(), Protocol::removeRemoteRepositoryNamed, request::of(fromRepository), {},
                        std::move(completionBlock), {name, fromRepository});
}

QRBSourceControlOperationPtr QRBSourceControlManager::automaticallyDetectBranchAndTagLocationsForRepository(
    const QRBSourceControlRepositoryPtr& repository, const QRBSourceControlPathLocationPtr& fromPath,
    Completion<QRBSourceControlRevisionLocationPtr, QRBSourceControlBranchAndTagLocationsPtr> completionBlock) {
  return request::start(shared_from_this(), Protocol::automaticallyDetectBranchAndTagLocationsForRepository,
                        request::of(repository), {}, std::move(completionBlock), {repository, fromPath});
}

QRBSourceControlOperationPtr QRBSourceControlManager::createRepositoryAtFileURL(
    const qrb::URL& fileURL, const QRBSourceControlSystemPtr& withSystem,
    Completion<QRBSourceControlRepositoryPtr> completionBlock) {
  return request::start(shared_from_this(), Protocol::createRepositoryAtFileURL, request::of(withSystem), {},
                        std::move(completionBlock), {fileURL});
}

QRBSourceControlOperationPtr QRBSourceControlManager::removeBranch(
    const QRBSourceControlBranchPtr& branch, const QRBSourceControlRepositoryPtr& fromRepository,
    const QRBSourceControlRemoteRepositoryPtr& andRemoteRepository,
    const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations, Completion<> completionBlock) {
  QRBSourceControlRepositoryPtr subject = andRemoteRepository ? andRemoteRepository : fromRepository;
  return request::start(shared_from_this(), Protocol::removeBranch, request::of(subject), {},
                        std::move(completionBlock),
                        {branch, fromRepository, andRemoteRepository, branchAndTagLocations});
}

QRBSourceControlOperationPtr QRBSourceControlManager::listRemoteRepositoriesForRepository(
    const QRBSourceControlRepositoryPtr& repository,
    Completion<QRBSourceControlRemoteRepositoryPtr, QRBSourceControlRemoteRepositoriesPtr> completionBlock) {
  auto update = [repository, completionBlock = std::move(completionBlock)](
                    const QRBSourceControlRemoteRepositoryPtr& primary,
                    const QRBSourceControlRemoteRepositoriesPtr& remotes, const qrb::Error& error) {
    auto* updating = dynamic_cast<QRBSourceControlRemoteRepositoriesUpdating*>(repository.get());
    if (!error && updating != nullptr) {
      std::set<QRBSourceControlRemoteRepositoryPtr> found;
      if (primary) found.insert(primary);
      updating->updateRemoteRepositories(found);
    }
    if (completionBlock) completionBlock(primary, remotes, error);
  };
  return request::start(shared_from_this(), Protocol::listRemoteRepositoriesForRepository, request::of(repository), {},
                        std::move(update), {repository});
}
