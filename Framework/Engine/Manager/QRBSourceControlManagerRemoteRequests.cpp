#include "QRBSourceControlPlugInProtocol.h"
#include "QRBSourceControlRequestPrivate.h"

namespace Protocol = QRBSourceControlPlugInProtocol;
namespace request = qrb::request;
using qrb::String;
using qrb::URL;

QRBSourceControlOperationPtr QRBSourceControlManager::updateRepositoryURLRootForRepository(
    const QRBSourceControlRemoteRepositoryPtr& repository,
    Completion<qrb::URL, QRBSourceControlPathLocationPtr> completionBlock) {
  return request::start(shared_from_this(), Protocol::repositoryURLRootForRepository, request::of(repository), {},
                        std::move(completionBlock), {repository});
}

QRBSourceControlOperationPtr QRBSourceControlManager::downloadUpdatesFromRemoteRepository(
    const QRBSourceControlRemoteRepositoryPtr& remoteRepository, const QRBSourceControlRepositoryPtr& toRepository,
    QRBSourceControlProgressBlock progressBlock, Completion<> completionBlock) {
  request::Options options;
  options.progressBlock = std::move(progressBlock);
  return request::start(shared_from_this(), Protocol::downloadUpdatesFromRemoteRepository,
                        request::of(remoteRepository), std::move(options), std::move(completionBlock),
                        {remoteRepository, toRepository});
}

QRBSourceControlOperationPtr QRBSourceControlManager::uploadCommitsToRemoteRepository(
    const QRBSourceControlRemoteRepositoryPtr& remoteRepository,
    const QRBSourceControlRepositoryPtr& fromLocalRepository, const QRBSourceControlBranchPtr& remoteBranch,
    QRBSourceControlProgressBlock progressBlock, Completion<> completionBlock) {
  request::Options options;
  options.progressBlock = std::move(progressBlock);
  return request::start(shared_from_this(), Protocol::uploadCommitsToRemoteRepository, request::of(remoteRepository),
                        std::move(options), std::move(completionBlock),
                        {remoteRepository, fromLocalRepository, remoteBranch});
}

QRBSourceControlOperationPtr QRBSourceControlManager::validateAuthenticationOfRepository(
    const QRBSourceControlRemoteRepositoryPtr& repository, const QRBSourceControlRevisionLocationPtr& location,
    const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations, Completion<> completionBlock) {
  request::Options options;
  options.suppressAuthenticationFailure = true;
  return request::start(shared_from_this(), Protocol::validateAuthenticationOfRemoteRepository, request::of(repository),
                        std::move(options), std::move(completionBlock), {repository, location, branchAndTagLocations});
}

QRBSourceControlOperationPtr QRBSourceControlManager::createWorkingCopyFromRepository(
    const QRBSourceControlRemoteRepositoryPtr& repository, const URL& atURL,
    const QRBSourceControlRevisionLocationPtr& location,
    const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations, QRBSourceControlProgressBlock progressBlock,
    Completion<QRBSourceControlWorkingCopyPtr> completionBlock) {
  request::Options options;
  options.progressBlock = std::move(progressBlock);
  options.sendsProgressIdentifier = true;
  options.guard = std::make_unique<qrb::WorkingCopyGuard>(atURL);
  return request::start(shared_from_this(), Protocol::createWorkingCopyFromRepository, request::of(repository),
                        std::move(options), std::move(completionBlock),
                        {repository, location, branchAndTagLocations, atURL, String()});
}
