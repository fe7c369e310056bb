#include <unordered_map>
#include <utility>

#include "QRBSourceControlBlameItem.h"
#include "QRBSourceControlLogItem.h"
#include "QRBSourceControlManager.h"
#include "QRBSourceControlRepository.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlRevisionLocation.h"
#include "QRBSourceControlWorkingCopy.h"

using WorkingCopy = QRBSourceControlWorkingCopy;
using Request = QRBSourceControlCancellablePtr;
using LocationPtr = QRBSourceControlRevisionLocationPtr;
using RevisionPtr = QRBSourceControlRevisionPtr;

namespace {

const QRBSourceControlManagerPtr& manager() {
  return QRBSourceControlManager::sharedInstance();
}

// The location at the revision, whatever it was pinned to before; the bare revision without a location.
LocationPtr pinned(const LocationPtr& location, const RevisionPtr& revision) {
  if (location == nullptr) return QRBSourceControlRevisionLocation::initWithRevision(revision);
  return location->locationWithRevision(revision);
}

void shareLogItems(const WorkingCopy::BlameItems& items) {
  std::unordered_map<qrb::String, QRBSourceControlLogItemPtr> logItems;
  for (const QRBSourceControlBlameItemPtr& item : items) {
    if (item == nullptr) continue;
    QRBSourceControlLogItemPtr logItem = item->logItem();
    if (logItem == nullptr || logItem->revision() == nullptr || logItem->revision()->isUnversionedRevision()) continue;
    auto [first, isFirst] = logItems.emplace(logItem->revision()->identifier(), logItem);
    if (!isFirst) item->setLogItem(first->second);
  }
}

}  // namespace

Request WorkingCopy::filesAndStatusWithRemoteStatus(
    bool remoteStatus, Completion<QRBSourceControlPathStatusesPtr, QRBSourceControlPathStatusesPtr> completionBlock) {
  auto cacheAndPassOn = [self = shared_from_this(), completionBlock = std::move(completionBlock)](
                            QRBSourceControlPathStatusesPtr local, QRBSourceControlPathStatusesPtr remote,
                            qrb::Error error) {
    self->updateCachedStatus(local, remote);
    if (completionBlock) completionBlock(std::move(local), std::move(remote), std::move(error));
  };
  return manager()->filesAndStatusOfWorkingCopy(shared_from_this(), remoteStatus, std::move(cacheAndPassOn));
}

Request WorkingCopy::addFiles(Files files, Completion<> completionBlock) {
  return manager()->addFiles(files, shared_from_this(), std::move(completionBlock));
}

Request WorkingCopy::removeFiles(Files files, Completion<> completionBlock) {
  return manager()->removeFiles(files, shared_from_this(), std::move(completionBlock));
}

Request WorkingCopy::copyFiles(Files files, Files toFilePaths, Completion<> completionBlock) {
  return manager()->copyFiles(files, toFilePaths, shared_from_this(), std::move(completionBlock));
}

Request WorkingCopy::moveFiles(Files files, Files toFilePaths, Completion<> completionBlock) {
  return manager()->moveFiles(files, toFilePaths, shared_from_this(), std::move(completionBlock));
}

Request WorkingCopy::createDirectory(qrb::String directory, bool withIntermediateDirectories,
                                     const qrb::Dictionary& attributes, Completion<> completionBlock) {
  return manager()->createDirectory(directory, withIntermediateDirectories, attributes, shared_from_this(),
                                    std::move(completionBlock));
}

Request WorkingCopy::discardChangesInFiles(Files files, Completion<> completionBlock) {
  return manager()->discardChangesInFiles(files, shared_from_this(), std::move(completionBlock));
}

Request WorkingCopy::discardAllChangesWithCompletionBlock(Completion<> completionBlock) {
  return manager()->discardAllChangesInWorkingCopy(shared_from_this(), std::move(completionBlock));
}

Request WorkingCopy::markAsResolvedFiles(Files files, Completion<> completionBlock) {
  return manager()->markAsResolvedFiles(files, shared_from_this(), std::move(completionBlock));
}

Request WorkingCopy::commitFiles(Files files, qrb::String message, Completion<RevisionPtr> completionBlock) {
  return manager()->commitFiles(files, shared_from_this(), message, std::move(completionBlock));
}

Request WorkingCopy::exportFile(qrb::String file, RevisionPtr forParentOfRevision,
                                Completion<qrb::URL> completionBlock) {
  return manager()->exportFileForParentOfRevision(file, shared_from_this(), forParentOfRevision,
                                                  std::move(completionBlock));
}

Request WorkingCopy::exportFile(qrb::String file, LocationPtr fromRevisionLocation, qrb::URL toDirectory,
                                Completion<qrb::URL> completionBlock) {
  return manager()->exportFileFromRevisionLocation(file, shared_from_this(), fromRevisionLocation, toDirectory,
                                                   std::move(completionBlock));
}

Request WorkingCopy::exportFile(qrb::String file, RevisionPtr revision, LocationPtr fromLocation, qrb::URL toDirectory,
                                Completion<qrb::URL> completionBlock) {
  return exportFile(std::move(file), pinned(fromLocation, revision), std::move(toDirectory),
                    std::move(completionBlock));
}

Request WorkingCopy::exportFile(qrb::String file, RevisionPtr revision, qrb::URL toDirectory,
                                Completion<qrb::URL> completionBlock) {
  return exportFile(std::move(file), std::move(revision), LocationPtr(), std::move(toDirectory),
                    std::move(completionBlock));
}

Request WorkingCopy::blameFile(qrb::String file, LocationPtr fromRevisionLocation,
                               Completion<BlameItems> completionBlock) {
  auto shareAndPassOn = [completionBlock = std::move(completionBlock)](BlameItems items, qrb::Error error) {
    if (!error) shareLogItems(items);
    if (completionBlock) completionBlock(std::move(items), std::move(error));
  };
  return manager()->blameFile(file, shared_from_this(), fromRevisionLocation, std::move(shareAndPassOn));
}

Request WorkingCopy::blameFile(qrb::String file, RevisionPtr revision, LocationPtr fromLocation,
                               Completion<BlameItems> completionBlock) {
  return blameFile(std::move(file), pinned(fromLocation, revision), std::move(completionBlock));
}

Request WorkingCopy::blameFile(qrb::String file, RevisionPtr revision, Completion<BlameItems> completionBlock) {
  return blameFile(std::move(file), std::move(revision), LocationPtr(), std::move(completionBlock));
}

Request WorkingCopy::historyOfFile(qrb::String file, LocationPtr fromRevisionLocation, RevisionPtr toRevision,
                                   QRBSourceControlHistoryInclusionType inclusionType, std::int64_t maximumLogItems,
                                   QRBSourceControlIncrementalLogBlock incrementalLogBlock,
                                   Completion<LogItems> completionBlock) {
  return manager()->historyOfFile(file, shared_from_this(), fromRevisionLocation, toRevision, inclusionType,
                                  maximumLogItems, qrb::String(), QRBSourceControlHistorySearchDefault,
                                  std::move(incrementalLogBlock), std::move(completionBlock));
}

Request WorkingCopy::historyOfFile(qrb::String file, RevisionPtr fromRevision, LocationPtr location,
                                   RevisionPtr toRevision, QRBSourceControlHistoryInclusionType inclusionType,
                                   std::int64_t maximumLogItems,
                                   QRBSourceControlIncrementalLogBlock incrementalLogBlock,
                                   Completion<LogItems> completionBlock) {
  return historyOfFile(std::move(file), pinned(location, fromRevision), std::move(toRevision), inclusionType,
                       maximumLogItems, std::move(incrementalLogBlock), std::move(completionBlock));
}

Request WorkingCopy::historyOfFile(qrb::String file, RevisionPtr revision, RevisionPtr toRevision,
                                   QRBSourceControlHistoryInclusionType inclusionType, std::int64_t maximumLogItems,
                                   QRBSourceControlIncrementalLogBlock incrementalLogBlock,
                                   Completion<LogItems> completionBlock) {
  return historyOfFile(std::move(file), std::move(revision), LocationPtr(), std::move(toRevision), inclusionType,
                       maximumLogItems, std::move(incrementalLogBlock), std::move(completionBlock));
}

Request WorkingCopy::historyFromRevision(RevisionPtr fromRevision, RevisionPtr toRevision,
                                         QRBSourceControlHistoryInclusionType inclusionType,
                                         std::int64_t maximumLogItems, qrb::String searchString,
                                         QRBSourceControlHistorySearchType searchType,
                                         QRBSourceControlIncrementalLogBlock incrementalLogBlock,
                                         Completion<LogItems> completionBlock) {
  return manager()->historyOfWorkingCopy(shared_from_this(), fromRevision, toRevision, inclusionType, maximumLogItems,
                                         searchString, searchType, std::move(incrementalLogBlock),
                                         std::move(completionBlock));
}

Request WorkingCopy::mergeBranch(QRBSourceControlBranchPtr branch, Completion<> completionBlock) {
  return manager()->mergeBranch(branch, shared_from_this(), std::move(completionBlock));
}

Request WorkingCopy::forceUpdateWorkingCopyFromRepository(QRBSourceControlRemoteRepositoryPtr repository,
                                                          QRBSourceControlProgressBlock progressBlock,
                                                          Completion<> completionBlock) {
  return manager()->forceUpdateWorkingCopy(shared_from_this(), repository, std::move(progressBlock),
                                           std::move(completionBlock));
}

Request WorkingCopy::fastUpdateWorkingCopyFromRepository(QRBSourceControlRemoteRepositoryPtr, LocationPtr,
                                                         QRBSourceControlProgressBlock, Completion<>) {
  return nullptr;
}

Request WorkingCopy::updateWorkingCopyFromRepository(QRBSourceControlRemoteRepositoryPtr, LocationPtr, Files,
                                                     QRBSourceControlProgressBlock, Completion<>) {
  return nullptr;
}

Request WorkingCopy::currentLocationWithCompletionBlock(Completion<LocationPtr> completionBlock) {
  auto cacheAndPassOn = [self = shared_from_this(), completionBlock = std::move(completionBlock)](LocationPtr location,
                                                                                                  qrb::Error error) {
    if (!error) self->setCachedCurrentLocation(location);
    if (completionBlock) completionBlock(std::move(location), std::move(error));
  };
  return manager()->currentLocationOfWorkingCopy(shared_from_this(), std::move(cacheAndPassOn));
}

Request WorkingCopy::switchLocation(LocationPtr location, Completion<LocationPtr> completionBlock) {
  auto cacheAndPassOn = [self = shared_from_this(), location, completionBlock = std::move(completionBlock)](
                            LocationPtr switched, qrb::Error error) {
    if (!error) self->setCachedCurrentLocation(std::move(switched));
    if (completionBlock) completionBlock(location, std::move(error));
  };
  return manager()->switchLocation(location, shared_from_this(), std::move(cacheAndPassOn));
}

Request WorkingCopy::baseRevisionWithCompletionBlock(Completion<RevisionPtr> completionBlock) {
  return manager()->baseRevisionOfWorkingCopy(shared_from_this(), std::move(completionBlock));
}

Request WorkingCopy::upgradeWithProgressBlock(QRBSourceControlProgressBlock progressBlock,
                                              Completion<> completionBlock) {
  return manager()->upgradeWorkingCopy(shared_from_this(), std::move(progressBlock), std::move(completionBlock));
}

Request WorkingCopy::updateRepositoryIdentifierWithCompletionBlock(Completion<> completionBlock) {
  auto storeAndPassOn = [self = shared_from_this(), completionBlock = std::move(completionBlock)](
                            qrb::String identifier, qrb::Error error) {
    QRBSourceControlRepositoryPtr repository = self->repository();
    if (!error && !identifier.empty() && repository != nullptr) repository->setIdentifier(std::move(identifier));
    if (completionBlock) completionBlock(std::move(error));
  };
  return manager()->updateIdentifierOfRepositoryForWorkingCopy(shared_from_this(), std::move(storeAndPassOn));
}

Request WorkingCopy::scanForWorkingCopiesInFolderPaths(
    std::vector<qrb::String> folderPaths, bool traversingUp,
    std::vector<QRBSourceControlSystemPtr> usingSourceControlSystems,
    std::function<void(std::vector<QRBSourceControlWorkingCopyPtr>)> completionBlock) {
  auto passOn = [completionBlock = std::move(completionBlock)](const auto& workingCopies) {
    if (!completionBlock) return;
    completionBlock(workingCopies ? *workingCopies : std::vector<QRBSourceControlWorkingCopyPtr>());
  };
  return manager()->scanForWorkingCopiesInFolderPaths(folderPaths, traversingUp, usingSourceControlSystems,
                                                      std::move(passOn));
}
