#include "QRBSourceControlWorkingCopy.h"

#include <utility>

#include "KeyedArchiver.h"
#include "KeyedUnarchiver.h"
#include "Localization.h"
#include "QRBSourceControlBranchAndTagLocations.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlRevisionLocation.h"
#include "QRBSourceControlSystem.h"
#include "UUIDString.h"

QRB_DEFINE_OBJECT(QRBSourceControlWorkingCopy, qrb::Object, "QRBSourceControlWorkingCopy",
                  &QRBSourceControlWorkingCopy::initWithCoder);

namespace {

QRBSourceControlSystemPtr systemOf(const QRBSourceControlRepositoryPtr& repository) {
  return repository == nullptr ? nullptr : repository->sourceControlSystem();
}

std::uint64_t statusOf(const QRBSourceControlPathStatusesPtr& table, const qrb::String& file) {
  const std::uint64_t* status = table == nullptr ? nullptr : table->find(file.view());
  return status == nullptr ? 0 : *status;
}

void addPaths(const QRBSourceControlPathStatusesPtr& table, std::set<qrb::String>& paths) {
  if (table == nullptr) return;
  for (const auto& [path, status] : *table) paths.insert(paths.end(), path);
}

}  // namespace

QRBSourceControlWorkingCopy::QRBSourceControlWorkingCopy(Key)
    : _cachedStatusChangeQueue("Working Copy Cached Status Change Queue") {}

QRBSourceControlWorkingCopyPtr QRBSourceControlWorkingCopy::_initWithFileURL(qrb::URL fileURL,
                                                                             QRBSourceControlRepositoryPtr repository,
                                                                             bool enforceRepositoryIdentifier) {
  if (repository == nullptr || !fileURL.isFileURL()) return nullptr;
  if (enforceRepositoryIdentifier && !repository->identifier()) return nullptr;
  auto workingCopy = std::make_shared<QRBSourceControlWorkingCopy>(Key());
  QRBSourceControlSystemPtr system = repository->sourceControlSystem();
  if (system != nullptr && system->requiresLocationsForBranchesAndTags()) {
    workingCopy->setBranchAndTagLocations(QRBSourceControlBranchAndTagLocations::init());
  }
  workingCopy->setFileURL(std::move(fileURL));
  workingCopy->setRepository(std::move(repository));
  workingCopy->set_id(qrb::makeUUIDString());
  return workingCopy;
}

QRBSourceControlWorkingCopyPtr QRBSourceControlWorkingCopy::initWithFileURL(qrb::URL fileURL,
                                                                            QRBSourceControlRepositoryPtr repository) {
  return _initWithFileURL(std::move(fileURL), std::move(repository), true);
}

QRBSourceControlWorkingCopyPtr QRBSourceControlWorkingCopy::initWithFileURLUnidentifiableRepository(
    qrb::URL fileURL, QRBSourceControlRepositoryPtr unidentifiableRepository) {
  return _initWithFileURL(std::move(fileURL), std::move(unidentifiableRepository), false);
}

QRBSourceControlWorkingCopyPtr QRBSourceControlWorkingCopy::initWithUpgradableFileURL(
    qrb::URL upgradableFileURL, QRBSourceControlRepositoryPtr repository) {
  auto workingCopy = _initWithFileURL(std::move(upgradableFileURL), std::move(repository), false);
  if (workingCopy != nullptr) workingCopy->setNeedsUpgrade(true);
  return workingCopy;
}

QRBSourceControlWorkingCopyPtr QRBSourceControlWorkingCopy::initWithFileURL(
    qrb::URL fileURL, QRBSourceControlRepositoryPtr repository,
    QRBSourceControlRevisionLocationPtr locationInRepository) {
  auto workingCopy = initWithFileURL(std::move(fileURL), std::move(repository));
  if (workingCopy != nullptr) workingCopy->setCachedCurrentLocation(std::move(locationInRepository));
  return workingCopy;
}

QRBSourceControlWorkingCopyPtr QRBSourceControlWorkingCopy::initWithFileURL(
    qrb::URL fileURL, QRBSourceControlRepositoryPtr repository,
    QRBSourceControlRevisionLocationPtr locationInRepository,
    QRBSourceControlBranchAndTagLocationsPtr branchAndTagLocations) {
  auto workingCopy = initWithFileURL(std::move(fileURL), std::move(repository), std::move(locationInRepository));
  if (workingCopy != nullptr) workingCopy->setBranchAndTagLocations(std::move(branchAndTagLocations));
  return workingCopy;
}

void QRBSourceControlWorkingCopy::set_id(const qrb::String& identifier) {
  if (!identifier.empty()) _idProperty.set(identifier);
}

qrb::ImagePtr QRBSourceControlWorkingCopy::defaultImage() {
  static const qrb::ImagePtr& image =
      *new qrb::ImagePtr(std::make_shared<const qrb::Image>(qrb::Image{"QRBSourceControlWorkingCopy"}));
  return image;
}

void QRBSourceControlWorkingCopy::updateCachedStatus(QRBSourceControlPathStatusesPtr localStatus,
                                                     QRBSourceControlPathStatusesPtr remoteStatus) {
  // What was there before is destroyed by these arguments, after the queue is left: it may be a large report.
  _cachedStatusChangeQueue.sync([&] {
    if (localStatus != nullptr) {
      localStatus = updateStatusMapTableFromDictionary(_cachedLocalStatus, std::move(localStatus));
    }
    if (remoteStatus != nullptr) {
      remoteStatus = updateStatusMapTableFromDictionary(_cachedRemoteStatus, std::move(remoteStatus));
    }
  });
}

std::uint64_t QRBSourceControlWorkingCopy::cachedSourceControlLocalStatusForFile(const qrb::String& file) const {
  return _cachedStatusChangeQueue.sync([&] { return statusOf(_cachedLocalStatus, file); });
}

std::uint64_t QRBSourceControlWorkingCopy::cachedSourceControlRemoteStatusForFile(const qrb::String& file) const {
  return _cachedStatusChangeQueue.sync([&] { return statusOf(_cachedRemoteStatus, file); });
}

std::set<qrb::String> QRBSourceControlWorkingCopy::cachedPathsWithStatus() const {
  std::set<qrb::String> paths = cachedPathsWithLocalStatus();
  paths.merge(cachedPathsWithRemoteStatus());
  return paths;
}

std::set<qrb::String> QRBSourceControlWorkingCopy::cachedPathsWithLocalStatus() const {
  std::set<qrb::String> paths;
  addPaths(_cachedStatusChangeQueue.sync([&] { return _cachedLocalStatus; }), paths);
  return paths;
}

std::set<qrb::String> QRBSourceControlWorkingCopy::cachedPathsWithRemoteStatus() const {
  std::set<qrb::String> paths;
  addPaths(_cachedStatusChangeQueue.sync([&] { return _cachedRemoteStatus; }), paths);
  return paths;
}

std::string QRBSourceControlWorkingCopy::description() const {
  QRBSourceControlRepositoryPtr owner = repository();
  return qrb::format(
      "WorkingCopy:%@ Repository:%@",
      {fileURL().absoluteString(), owner == nullptr ? qrb::String() : qrb::String(owner->description())});
}

std::size_t QRBSourceControlWorkingCopy::hash() const {
  QRBSourceControlSystemPtr system = systemOf(repository());
  return fileURL().hash() ^ (system == nullptr ? 0 : system->hash());
}

bool QRBSourceControlWorkingCopy::isEqualToSameClass(const qrb::Object& other) const {
  const auto& workingCopy = static_cast<const QRBSourceControlWorkingCopy&>(other);
  return fileURL() == workingCopy.fileURL() && areEqual(systemOf(repository()), systemOf(workingCopy.repository()));
}

std::shared_ptr<qrb::Object> QRBSourceControlWorkingCopy::initWithCoder(qrb::KeyedUnarchiver& coder) {
  auto workingCopy = std::make_shared<QRBSourceControlWorkingCopy>(Key());
  workingCopy->set_id(coder.decode<qrb::String>("_id"));
  // "state" stays in the archive: what a checkout had reached means nothing to whoever reads it.
  workingCopy->setFileURL(coder.decode<qrb::URL>("fileURL"));
  workingCopy->setRepository(coder.decode<QRBSourceControlRepositoryPtr>("repository"));
  workingCopy->setBranchAndTagLocations(
      coder.decode<QRBSourceControlBranchAndTagLocationsPtr>("branchAndTagLocations"));
  workingCopy->setNeedsUpgrade(coder.decode<bool>("needsUpgrade"));
  return workingCopy;
}

void QRBSourceControlWorkingCopy::encodeWithCoder(qrb::KeyedArchiver& coder) const {
  coder.encode("_id", _id());
  coder.encode("state", state());
  coder.encode("fileURL", fileURL());
  coder.encode("repository", repository());
  coder.encode("branchAndTagLocations", branchAndTagLocations());
  coder.encode("needsUpgrade", needsUpgrade());
}

std::uint64_t qrbscm_statusValue(const qrb::Dictionary& number) {
  if (number.isInteger()) return number.unsignedInteger();
  if (!number.isReal()) return 0;
  double value = number.real();
  // Written so that what is not a number fails too: converting what does not fit is undefined.
  bool fits = value > -1.0 && value < 0x1p64;
  return fits ? static_cast<std::uint64_t>(value) : 0;
}

QRBSourceControlPathStatusesPtr updateStatusMapTableFromDictionary(QRBSourceControlPathStatusesPtr& table,
                                                                   QRBSourceControlPathStatusesPtr dictionary) {
  return std::exchange(table, std::move(dictionary));
}
