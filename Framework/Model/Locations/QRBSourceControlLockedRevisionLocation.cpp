#include "QRBSourceControlLockedRevisionLocation.h"

#include "KeyedUnarchiver.h"
#include "Localization.h"
#include "QRBSourceControlRevision.h"

QRB_DEFINE_OBJECT(QRBSourceControlLockedRevisionLocation, QRBSourceControlRevisionLocation,
                  "QRBSourceControlLockedRevisionLocation", &QRBSourceControlLockedRevisionLocation::initWithCoder);

QRBSourceControlLockedRevisionLocationPtr QRBSourceControlLockedRevisionLocation::initWithRevision(
    QRBSourceControlRevisionPtr revision) {
  QRBSourceControlLockedRevisionLocation unpinned{Key()};
  return std::static_pointer_cast<const QRBSourceControlLockedRevisionLocation>(
      unpinned.locationWithRevision(std::move(revision)));
}

QRBSourceControlLockedRevisionLocationPtr QRBSourceControlLockedRevisionLocation::initWithDictionary(
    const qrb::Dictionary& dictionary) {
  auto location = std::make_shared<QRBSourceControlLockedRevisionLocation>(Key());
  location->readRevision(dictionary);
  return location;
}

std::shared_ptr<QRBSourceControlRevisionLocation> QRBSourceControlLockedRevisionLocation::mutableCopy() const {
  return std::make_shared<QRBSourceControlLockedRevisionLocation>(*this);
}

qrb::Dictionary QRBSourceControlLockedRevisionLocation::dictionaryRepresentationWithOptions(
    std::uint64_t options) const {
  return QRBSourceControlRevisionLocation::dictionaryRepresentationWithOptions(
      options | QRBSourceControlDictionaryIncludesRevision);
}

std::string QRBSourceControlLockedRevisionLocation::description() const {
  return qrb::format("Forced Revision: %@",
                     {revision() == nullptr ? qrb::String() : qrb::String(revision()->description())});
}

std::shared_ptr<qrb::Object> QRBSourceControlLockedRevisionLocation::initWithCoder(qrb::KeyedUnarchiver& coder) {
  auto location = std::make_shared<QRBSourceControlLockedRevisionLocation>(Key());
  location->decodeRevision(coder);
  return location;
}
