#include "QRBSourceControlPlugInProtocol.h"
#include "QRBSourceControlRequestPrivate.h"

namespace Protocol = QRBSourceControlPlugInProtocol;
namespace request = qrb::request;
using qrb::String;
using qrb::URL;

// These requests are to the host what they are to the plug-in.

#define QRB_REQUEST(name, selector, line, words, subject, parameters, arguments, ...)                               \
  QRBSourceControlOperationPtr QRBSourceControlManager::name(                                                       \
      QRB_BEFORE_COMPLETION parameters __VA_ARGS__ completionBlock) {                                               \
    return request::start(shared_from_this(), Protocol::name, request::of(subject), {}, std::move(completionBlock), \
                          {QRB_WITHOUT_PARENTHESES arguments});                                                     \
  }
#include "QRBSourceControlPlugInMessages.h"

// All others follow, each with what it differs in: whose system is asked, what the options say, what becomes of the
// reply.

// The name is passed on only together with the plug-in's error, and no error ever is: that is what callers rely on.
QRBSourceControlOperationPtr QRBSourceControlManager::keychainNameFromURL(
    const URL& url, const QRBSourceControlSystemPtr& forSystem,
    Completion<String, std::uint64_t, String> completionBlock) {
  auto settled = std::make_shared<std::atomic<bool>>(false);
  auto ask = [=](const QRBSourceControlOperationPtr& operation, const QRBSourceControlManagerPtr& manager) {
    QRBSourceControlProxy proxy = manager->remoteProxyObjectForSourceControlSystem(forSystem, operation);
    // Nothing will answer; only its caller can still end it.
    if (!proxy) return operation->setIdle(true);
    auto onReply = [=](const String& name, std::uint64_t kind, const String& account, const qrb::Error& error) {
      if (settled->exchange(true)) return;
      if (completionBlock) {
        error ? completionBlock(name, kind, account, {}) : completionBlock({}, 0, {}, {});
      }
      manager->operationDidFinish(operation);
    };
    proxy.send(Protocol::keychainNameFromURL, {url}, onReply);
  };
  auto terminate = [=](const QRBSourceControlOperationPtr& operation, const QRBSourceControlManagerPtr& manager,
                       const qrb::Error& error) {
    if (settled->exchange(true)) return;
    if (completionBlock) completionBlock({}, 0, {}, error);
    manager->operationDidFinish(operation);
  };
  auto operation = QRBSourceControlOperation::initWithSourceControlManager(shared_from_this(), forSystem,
                                                                           std::move(ask), std::move(terminate));
  addOperation(operation);
  return operation;
}

QRBSourceControlOperationPtr QRBSourceControlManager::historyOfFile(
    const qrb::String& file, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
    const QRBSourceControlRevisionLocationPtr& fromRevisionLocation, const QRBSourceControlRevisionPtr& toRevision,
    std::uint64_t inclusionType, std::int64_t maximumLogItems, const qrb::String& searchString,
    std::uint64_t searchType, QRBSourceControlIncrementalLogBlock incrementalLogBlock,
    Completion<LogItems> completionBlock) {
  return request::start(shared_from_this(), Protocol::historyOfFile, request::of(inWorkingCopy),
                        {.sendsProgressIdentifier = true, .incrementalLogBlock = std::move(incrementalLogBlock)},
                        std::move(completionBlock),
                        {file, inWorkingCopy, fromRevisionLocation, toRevision, inclusionType, maximumLogItems,
                         searchString, searchType, String()});
}

QRBSourceControlOperationPtr QRBSourceControlManager::historyOfWorkingCopy(
    const QRBSourceControlWorkingCopyPtr& workingCopy, const QRBSourceControlRevisionPtr& fromRevision,
    const QRBSourceControlRevisionPtr& toRevision, std::uint64_t inclusionType, std::int64_t maximumLogItems,
    const qrb::String& searchString, std::uint64_t searchType, QRBSourceControlIncrementalLogBlock incrementalLogBlock,
    Completion<LogItems> completionBlock) {
  return request::start(
      shared_from_this(), Protocol::historyOfWorkingCopy, request::of(workingCopy),
      {.sendsProgressIdentifier = true, .incrementalLogBlock = std::move(incrementalLogBlock)},
      std::move(completionBlock),
      {workingCopy, fromRevision, toRevision, inclusionType, maximumLogItems, searchString, searchType, String()});
}

QRBSourceControlOperationPtr QRBSourceControlManager::forceUpdateWorkingCopy(
    const QRBSourceControlWorkingCopyPtr& workingCopy, const QRBSourceControlRemoteRepositoryPtr& fromRepository,
    QRBSourceControlProgressBlock, Completion<> completionBlock) {
  return request::start(shared_from_this(), Protocol::forceUpdateWorkingCopy, request::of(workingCopy), {},
                        std::move(completionBlock), {workingCopy, fromRepository});
}

QRBSourceControlOperationPtr QRBSourceControlManager::upgradeWorkingCopy(
    const QRBSourceControlWorkingCopyPtr& workingCopy, QRBSourceControlProgressBlock, Completion<> completionBlock) {
  return request::start(shared_from_this(), Protocol::upgradeWorkingCopy, request::of(workingCopy),
                        {.sendsProgressIdentifier = true}, std::move(completionBlock), {workingCopy, String()});
}

QRBSourceControlOperationPtr QRBSourceControlManager::updateIdentifierOfRepositoryForWorkingCopy(
    const QRBSourceControlWorkingCopyPtr& workingCopy, Completion<qrb::String> completionBlock) {
  return request::start(shared_from_this(), Protocol::identifierOfRepositoryForWorkingCopy, request::of(workingCopy),
                        {}, std::move(completionBlock), {workingCopy});
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

QRBSourceControlOperationPtr QRBSourceControlManager::createRepositoryAtFileURL(
    const qrb::URL& fileURL, const QRBSourceControlSystemPtr& withSystem,
    Completion<QRBSourceControlRepositoryPtr> completionBlock) {
  return request::start(shared_from_this(), Protocol::createRepositoryAtFileURL, request::of(withSystem), {},
                        std::move(completionBlock), {fileURL});
}

QRBSourceControlOperationPtr QRBSourceControlManager::updateRepositoryURLRootForRepository(
    const QRBSourceControlRemoteRepositoryPtr& repository,
    Completion<qrb::URL, QRBSourceControlPathLocationPtr> completionBlock) {
  return request::start(shared_from_this(), Protocol::repositoryURLRootForRepository, request::of(repository), {},
                        std::move(completionBlock), {repository});
}

QRBSourceControlOperationPtr QRBSourceControlManager::downloadUpdatesFromRemoteRepository(
    const QRBSourceControlRemoteRepositoryPtr& remoteRepository, const QRBSourceControlRepositoryPtr& toRepository,
    QRBSourceControlProgressBlock progressBlock, Completion<> completionBlock) {
  return request::start(shared_from_this(), Protocol::downloadUpdatesFromRemoteRepository,
                        request::of(remoteRepository), {.progressBlock = std::move(progressBlock)},
                        std::move(completionBlock), {remoteRepository, toRepository});
}

QRBSourceControlOperationPtr QRBSourceControlManager::uploadCommitsToRemoteRepository(
    const QRBSourceControlRemoteRepositoryPtr& remoteRepository,
    const QRBSourceControlRepositoryPtr& fromLocalRepository, const QRBSourceControlBranchPtr& remoteBranch,
    QRBSourceControlProgressBlock progressBlock, Completion<> completionBlock) {
  return request::start(shared_from_this(), Protocol::uploadCommitsToRemoteRepository, request::of(remoteRepository),
                        {.progressBlock = std::move(progressBlock)}, std::move(completionBlock),
                        {remoteRepository, fromLocalRepository, remoteBranch});
}

QRBSourceControlOperationPtr QRBSourceControlManager::validateAuthenticationOfRepository(
    const QRBSourceControlRemoteRepositoryPtr& repository, const QRBSourceControlRevisionLocationPtr& location,
    const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations, Completion<> completionBlock) {
  return request::start(shared_from_this(), Protocol::validateAuthenticationOfRemoteRepository, request::of(repository),
                        {.suppressAuthenticationFailure = true}, std::move(completionBlock),
                        {repository, location, branchAndTagLocations});
}

QRBSourceControlOperationPtr QRBSourceControlManager::createWorkingCopyFromRepository(
    const QRBSourceControlRemoteRepositoryPtr& repository, const URL& atURL,
    const QRBSourceControlRevisionLocationPtr& location,
    const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations, QRBSourceControlProgressBlock progressBlock,
    Completion<QRBSourceControlWorkingCopyPtr> completionBlock) {
  return request::start(shared_from_this(), Protocol::createWorkingCopyFromRepository, request::of(repository),
                        {.sendsProgressIdentifier = true,
                         .progressBlock = std::move(progressBlock),
                         .guard = std::make_unique<qrb::WorkingCopyGuard>(atURL)},
                        std::move(completionBlock), {repository, location, branchAndTagLocations, atURL, String()});
}
