#include "QRBSourceControlPlugInProtocol.h"
#include "QRBSourceControlRequestPrivate.h"

namespace Protocol = QRBSourceControlPlugInProtocol;
namespace request = qrb::request;
using qrb::String;
using qrb::URL;

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

QRBSourceControlOperationPtr QRBSourceControlManager::filesAndStatusOfWorkingCopy(
    const QRBSourceControlWorkingCopyPtr& workingCopy, bool withRemoteStatus,
    Completion<QRBSourceControlPathStatusesPtr, QRBSourceControlPathStatusesPtr> completionBlock) {
  return request::start(shared_from_this(), Protocol::filesAndStatusOfWorkingCopy, request::of(workingCopy), {},
                        std::move(completionBlock), {workingCopy, withRemoteStatus});
}

QRBSourceControlOperationPtr QRBSourceControlManager::addFiles(const Files& files,
                                                               const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                                                               Completion<> completionBlock) {
  return request::start(shared_from_this(), Protocol::addFiles, request::of(inWorkingCopy), {},
                        std::move(completionBlock), {files, inWorkingCopy});
}

QRBSourceControlOperationPtr QRBSourceControlManager::removeFiles(const Files& files,
                                                                  const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                                                                  Completion<> completionBlock) {
  return request::start(shared_from_this(), Protocol::removeFiles, request::of(inWorkingCopy), {},
                        std::move(completionBlock), {files, inWorkingCopy});
}

QRBSourceControlOperationPtr QRBSourceControlManager::copyFiles(const Files& files, const Files& toFilePaths,
                                                                const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                                                                Completion<> completionBlock) {
  return request::start(shared_from_this(), Protocol::copyFiles, request::of(inWorkingCopy), {},
                        std::move(completionBlock), {files, toFilePaths, inWorkingCopy});
}

QRBSourceControlOperationPtr QRBSourceControlManager::moveFiles(const Files& files, const Files& toFilePaths,
                                                                const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                                                                Completion<> completionBlock) {
  return request::start(shared_from_this(), Protocol::moveFiles, request::of(inWorkingCopy), {},
                        std::move(completionBlock), {files, toFilePaths, inWorkingCopy});
}

QRBSourceControlOperationPtr QRBSourceControlManager::createDirectory(
    const qrb::String& path, bool withIntermediateDirectories, const qrb::Dictionary& attributes,
    const QRBSourceControlWorkingCopyPtr& inWorkingCopy, Completion<> completionBlock) {
  return request::start(shared_from_this(), Protocol::createDirectory, request::of(inWorkingCopy), {},
                        std::move(completionBlock), {path, withIntermediateDirectories, attributes, inWorkingCopy});
}

QRBSourceControlOperationPtr QRBSourceControlManager::discardChangesInFiles(
    const Files& files, const QRBSourceControlWorkingCopyPtr& inWorkingCopy, Completion<> completionBlock) {
  return request::start(shared_from_this(), Protocol::discardChangesInFiles, request::of(inWorkingCopy), {},
                        std::move(completionBlock), {files, inWorkingCopy});
}

QRBSourceControlOperationPtr QRBSourceControlManager::discardAllChangesInWorkingCopy(
    const QRBSourceControlWorkingCopyPtr& workingCopy, Completion<> completionBlock) {
  return request::start(shared_from_this(), Protocol::discardAllChangesInWorkingCopy, request::of(workingCopy), {},
                        std::move(completionBlock), {workingCopy});
}

QRBSourceControlOperationPtr QRBSourceControlManager::markAsResolvedFiles(
    const Files& files, const QRBSourceControlWorkingCopyPtr& inWorkingCopy, Completion<> completionBlock) {
  return request::start(shared_from_this(), Protocol::markAsResolvedFiles, request::of(inWorkingCopy), {},
                        std::move(completionBlock), {files, inWorkingCopy});
}

QRBSourceControlOperationPtr QRBSourceControlManager::commitFiles(
    const Files& files, const QRBSourceControlWorkingCopyPtr& inWorkingCopy, const qrb::String& message,
    Completion<QRBSourceControlRevisionPtr> completionBlock) {
  return request::start(shared_from_this(), Protocol::commitFiles, request::of(inWorkingCopy), {},
                        std::move(completionBlock), {files, inWorkingCopy, message});
}

QRBSourceControlOperationPtr QRBSourceControlManager::exportFileForParentOfRevision(
    const qrb::String& file, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
    const QRBSourceControlRevisionPtr& forParentOfRevision, Completion<qrb::URL> completionBlock) {
  return request::start(shared_from_this(), Protocol::exportFileForParentOfRevision, request::of(inWorkingCopy), {},
                        std::move(completionBlock), {file, inWorkingCopy, forParentOfRevision});
}

QRBSourceControlOperationPtr QRBSourceControlManager::exportFileFromRevisionLocation(
    const qrb::String& file, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
    const QRBSourceControlRevisionLocationPtr& fromRevisionLocation, const qrb::URL& toDirectory,
    Completion<qrb::URL> completionBlock) {
  return request::start(shared_from_this(), Protocol::exportFileFromRevisionLocation, request::of(inWorkingCopy), {},
                        std::move(completionBlock), {file, inWorkingCopy, fromRevisionLocation, toDirectory});
}

QRBSourceControlOperationPtr QRBSourceControlManager::blameFile(
    const qrb::String& file, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
    const QRBSourceControlRevisionLocationPtr& fromRevisionLocation,
    Completion<std::vector<QRBSourceControlBlameItemPtr>> completionBlock) {
  return request::start(shared_from_this(), Protocol::blameFile, request::of(inWorkingCopy), {},
                        std::move(completionBlock), {file, inWorkingCopy, fromRevisionLocation});
}

QRBSourceControlOperationPtr QRBSourceControlManager::historyOfFile(
    const qrb::String& file, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
    const QRBSourceControlRevisionLocationPtr& fromRevisionLocation, const QRBSourceControlRevisionPtr& toRevision,
    std::uint64_t inclusionType, std::int64_t maximumLogItems, const qrb::String& searchString,
    std::uint64_t searchType, QRBSourceControlIncrementalLogBlock incrementalLogBlock,
    Completion<LogItems> completionBlock) {
  request::Options options;
  options.sendsProgressIdentifier = true;
  options.incrementalLogBlock = std::move(incrementalLogBlock);
  return request::start(shared_from_this(), Protocol::historyOfFile, request::of(inWorkingCopy), std::move(options),
                        std::move(completionBlock),
                        {file, inWorkingCopy, fromRevisionLocation, toRevision, inclusionType, maximumLogItems,
                         searchString, searchType, String()});
}

QRBSourceControlOperationPtr QRBSourceControlManager::mergeBranch(const QRBSourceControlBranchPtr& branch,
                                                                  const QRBSourceControlWorkingCopyPtr& intoWorkingCopy,
                                                                  Completion<> completionBlock) {
  return request::start(shared_from_this(), Protocol::mergeBranch, request::of(intoWorkingCopy), {},
                        std::move(completionBlock), {branch, intoWorkingCopy});
}

QRBSourceControlOperationPtr QRBSourceControlManager::forceUpdateWorkingCopy(
    const QRBSourceControlWorkingCopyPtr& workingCopy, const QRBSourceControlRemoteRepositoryPtr& fromRepository,
    QRBSourceControlProgressBlock, Completion<> completionBlock) {
  return request::start(shared_from_this(), Protocol::forceUpdateWorkingCopy, request::of(workingCopy), {},
                        std::move(completionBlock), {workingCopy, fromRepository});
}

QRBSourceControlOperationPtr QRBSourceControlManager::historyOfWorkingCopy(
    const QRBSourceControlWorkingCopyPtr& workingCopy, const QRBSourceControlRevisionPtr& fromRevision,
    const QRBSourceControlRevisionPtr& toRevision, std::uint64_t inclusionType, std::int64_t maximumLogItems,
    const qrb::String& searchString, std::uint64_t searchType, QRBSourceControlIncrementalLogBlock incrementalLogBlock,
    Completion<LogItems> completionBlock) {
  request::Options options;
  options.sendsProgressIdentifier = true;
  options.incrementalLogBlock = std::move(incrementalLogBlock);
  return request::start(
      shared_from_this(), Protocol::historyOfWorkingCopy, request::of(workingCopy), std::move(options),
      std::move(completionBlock),
      {workingCopy, fromRevision, toRevision, inclusionType, maximumLogItems, searchString, searchType, String()});
}

QRBSourceControlOperationPtr QRBSourceControlManager::currentLocationOfWorkingCopy(
    const QRBSourceControlWorkingCopyPtr& workingCopy,
    Completion<QRBSourceControlRevisionLocationPtr> completionBlock) {
  return request::start(shared_from_this(), Protocol::currentLocationOfWorkingCopy, request::of(workingCopy), {},
                        std::move(completionBlock), {workingCopy});
}

QRBSourceControlOperationPtr QRBSourceControlManager::switchLocation(
    const QRBSourceControlRevisionLocationPtr& location, const QRBSourceControlWorkingCopyPtr& ofWorkingCopy,
    Completion<QRBSourceControlRevisionLocationPtr> completionBlock) {
  return request::start(shared_from_this(), Protocol::switchLocation, request::of(ofWorkingCopy), {},
                        std::move(completionBlock), {location, ofWorkingCopy});
}

QRBSourceControlOperationPtr QRBSourceControlManager::baseRevisionOfWorkingCopy(
    const QRBSourceControlWorkingCopyPtr& workingCopy, Completion<QRBSourceControlRevisionPtr> completionBlock) {
  return request::start(shared_from_this(), Protocol::baseRevisionOfWorkingCopy, request::of(workingCopy), {},
                        std::move(completionBlock), {workingCopy});
}

QRBSourceControlOperationPtr QRBSourceControlManager::upgradeWorkingCopy(
    const QRBSourceControlWorkingCopyPtr& workingCopy, QRBSourceControlProgressBlock, Completion<> completionBlock) {
  request::Options options;
  options.sendsProgressIdentifier = true;
  return request::start(shared_from_this(), Protocol::upgradeWorkingCopy, request::of(workingCopy), std::move(options),
                        std::move(completionBlock), {workingCopy, String()});
}

QRBSourceControlOperationPtr QRBSourceControlManager::updateIdentifierOfRepositoryForWorkingCopy(
    const QRBSourceControlWorkingCopyPtr& workingCopy, Completion<qrb::String> completionBlock) {
  return request::start(shared_from_this(), Protocol::identifierOfRepositoryForWorkingCopy, request::of(workingCopy),
                        {}, std::move(completionBlock), {workingCopy});
}
