#include "QRBSourceControlTag.h"

#include "KeyedArchiver.h"
#include "KeyedUnarchiver.h"
#include "QRBSourceControlBranchAndTagLocations.h"
#include "QRBSourceControlDictionaryReadingPrivate.h"
#include "QRBSourceControlPathLocation.h"
#include "QRBSourceControlRevision.h"

QRB_DEFINE_OBJECT(QRBSourceControlTag, QRBSourceControlRevisionLocation, "QRBSourceControlTag",
                  &QRBSourceControlTag::initWithCoder);

QRBSourceControlTagPtr QRBSourceControlTag::make(qrb::String name, std::uint64_t options) {
  if (name.empty()) return nullptr;
  auto tag = std::make_shared<QRBSourceControlTag>(Key());
  tag->_identifier = std::move(name);
  tag->_options = options;
  return tag;
}

QRBSourceControlTagPtr QRBSourceControlTag::initWithTagName(qrb::String tagName) {
  return make(std::move(tagName), 0);
}

QRBSourceControlTagPtr QRBSourceControlTag::initWithNewTagName(qrb::String tagName) {
  return make(std::move(tagName), QRBSourceControlTagOptionNew);
}

QRBSourceControlTagPtr QRBSourceControlTag::initWithTagPathLocation(
    const QRBSourceControlPathLocationPtr& pathLocation,
    const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations) {
  if (pathLocation == nullptr || branchAndTagLocations == nullptr) return nullptr;
  return initWithTagName(pathLocation->nameBelow(branchAndTagLocations->relativeTagsLocation()));
}

QRBSourceControlTagPtr QRBSourceControlTag::initWithDictionary(const qrb::Dictionary& dictionary) {
  qrb::String identifier = qrb::detail::stringForKey(dictionary, QRBSourceControlTagIdentifierKey);
  if (!identifier) return nullptr;
  auto tag = std::make_shared<QRBSourceControlTag>(Key());
  tag->readRevision(dictionary);
  tag->_identifier = std::move(identifier);
  tag->_options = qrb::detail::unsignedForKey(dictionary, QRBSourceControlTagOptionsKey);
  return tag;
}

std::shared_ptr<QRBSourceControlRevisionLocation> QRBSourceControlTag::mutableCopy() const {
  return std::make_shared<QRBSourceControlTag>(*this);
}

QRBSourceControlPathLocationPtr QRBSourceControlTag::pathLocationForBranchAndTagLocations(
    const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations) const {
  if (branchAndTagLocations == nullptr) return nullptr;
  const auto& tags = branchAndTagLocations->relativeTagsLocation();
  return tags == nullptr ? nullptr : tags->pathLocationByAppendingPath(_identifier.view());
}

qrb::Dictionary QRBSourceControlTag::dictionaryRepresentationWithOptions(std::uint64_t options) const {
  auto dictionary = QRBSourceControlRevisionLocation::dictionaryRepresentationWithOptions(options);
  if ((options & QRBSourceControlDictionaryIncludesLocation) != 0) {
    dictionary[QRBSourceControlTagIdentifierKey] = _identifier.str();
    dictionary[QRBSourceControlTagOptionsKey] = options;
  }
  return dictionary;
}

qrb::ImagePtr QRBSourceControlTag::defaultImage() {
  static const auto& image =
      *new qrb::ImagePtr(std::make_shared<const qrb::Image>(qrb::Image{"QRBSourceControlTagTemplate"}));
  return image;
}

bool QRBSourceControlTag::isEqualToSameClass(const qrb::Object& other) const {
  return _identifier == static_cast<const QRBSourceControlTag&>(other)._identifier;
}

std::shared_ptr<qrb::Object> QRBSourceControlTag::initWithCoder(qrb::KeyedUnarchiver& coder) {
  auto tag = std::make_shared<QRBSourceControlTag>(Key());
  tag->decodeRevision(coder);
  tag->_options = coder.decode<std::uint64_t>("options");
  tag->_identifier = coder.decode<qrb::String>("identifier");
  return tag;
}

void QRBSourceControlTag::encodeWithCoder(qrb::KeyedArchiver& coder) const {
  QRBSourceControlRevisionLocation::encodeWithCoder(coder);
  coder.encode("options", _options);
  coder.encode("identifier", _identifier);
}
