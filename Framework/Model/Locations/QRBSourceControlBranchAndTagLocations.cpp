#include "QRBSourceControlBranchAndTagLocations.h"

#include "KeyedArchiver.h"
#include "KeyedUnarchiver.h"
#include "Localization.h"
#include "QRBSourceControlDictionaryReadingPrivate.h"
#include "QRBSourceControlPathLocation.h"

QRB_DEFINE_OBJECT(QRBSourceControlBranchAndTagLocations, qrb::Object, "QRBSourceControlBranchAndTagLocations",
                  &QRBSourceControlBranchAndTagLocations::initWithCoder);

namespace {

bool hasPath(const QRBSourceControlPathLocationPtr& location) {
  return location != nullptr && !location->relativePath().empty();
}

qrb::String descriptionOf(const QRBSourceControlPathLocationPtr& location) {
  return location == nullptr ? qrb::String() : qrb::String(location->description());
}

}  // namespace

QRBSourceControlBranchAndTagLocationsPtr QRBSourceControlBranchAndTagLocations::init() {
  return std::make_shared<QRBSourceControlBranchAndTagLocations>(Key());
}

QRBSourceControlBranchAndTagLocationsPtr QRBSourceControlBranchAndTagLocations::locationsWithPrimaryBranchPath(
    qrb::String primaryBranchPath, qrb::String branchesPath, qrb::String tagsPath) {
  auto locations = std::make_shared<QRBSourceControlBranchAndTagLocations>(Key());
  locations->_primary = QRBSourceControlPathLocation::initWithRelativePath(std::move(primaryBranchPath));
  locations->_branches = QRBSourceControlPathLocation::initWithRelativePath(std::move(branchesPath));
  locations->_tags = QRBSourceControlPathLocation::initWithRelativePath(std::move(tagsPath));
  return locations;
}

QRBSourceControlBranchAndTagLocationsPtr QRBSourceControlBranchAndTagLocations::locationsWithStandardLayout() {
  return locationsWithPrimaryBranchPath("trunk", "branches", "tags");
}

QRBSourceControlBranchAndTagLocationsPtr QRBSourceControlBranchAndTagLocations::initWithDictionary(
    const qrb::Dictionary& dictionary) {
  if (!dictionary.isObject()) return nullptr;
  auto pathForKey = [&](const char* key) { return qrb::detail::stringForKey(dictionary, key); };
  return locationsWithPrimaryBranchPath(pathForKey(QRBSourceControlWorkingCopyRepositoryPrimaryBranchLocationKey),
                                        pathForKey(QRBSourceControlWorkingCopyRepositoryBranchesLocationKey),
                                        pathForKey(QRBSourceControlWorkingCopyRepositoryTagsLocationKey));
}

bool QRBSourceControlBranchAndTagLocations::isCompleteForBranches() const {
  return hasPath(_branches) && hasPath(_primary);
}

bool QRBSourceControlBranchAndTagLocations::isCompleteForTags() const {
  return hasPath(_tags);
}

qrb::Dictionary QRBSourceControlBranchAndTagLocations::dictionaryRepresentationWithOptions(
    std::uint64_t options) const {
  auto dictionary = qrb::Dictionary::object();
  if ((options & QRBSourceControlDictionaryIncludesBranchAndTagLocations) == 0) return dictionary;
  auto set = [&](const char* key, const QRBSourceControlPathLocationPtr& location) {
    if (location != nullptr && location->relativePath()) dictionary[key] = location->relativePath().str();
  };
  set(QRBSourceControlWorkingCopyRepositoryPrimaryBranchLocationKey, _primary);
  set(QRBSourceControlWorkingCopyRepositoryBranchesLocationKey, _branches);
  set(QRBSourceControlWorkingCopyRepositoryTagsLocationKey, _tags);
  return dictionary;
}

std::string QRBSourceControlBranchAndTagLocations::description() const {
  return qrb::format("Trunk: %@\nBranches: %@\nTags: %@",
                     {descriptionOf(_primary), descriptionOf(_branches), descriptionOf(_tags)});
}

std::shared_ptr<qrb::Object> QRBSourceControlBranchAndTagLocations::copy() const {
  return std::make_shared<QRBSourceControlBranchAndTagLocations>(*this);
}

std::shared_ptr<qrb::Object> QRBSourceControlBranchAndTagLocations::initWithCoder(qrb::KeyedUnarchiver& coder) {
  auto locations = std::make_shared<QRBSourceControlBranchAndTagLocations>(Key());
  locations->_primary = coder.decode<QRBSourceControlPathLocationPtr>("relativePrimaryBranchLocation");
  locations->_branches = coder.decode<QRBSourceControlPathLocationPtr>("relativeBranchesLocation");
  locations->_tags = coder.decode<QRBSourceControlPathLocationPtr>("relativeTagsLocation");
  return locations;
}

void QRBSourceControlBranchAndTagLocations::encodeWithCoder(qrb::KeyedArchiver& coder) const {
  coder.encode("relativePrimaryBranchLocation", _primary);
  coder.encode("relativeBranchesLocation", _branches);
  coder.encode("relativeTagsLocation", _tags);
}
