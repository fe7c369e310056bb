#include "QRBSourceControlRevisionLocation.h"

#include "KeyedArchiver.h"
#include "KeyedUnarchiver.h"
#include "Localization.h"
#include "QRBSourceControlDictionaryReadingPrivate.h"
#include "QRBSourceControlRevision.h"

QRB_DEFINE_OBJECT(QRBSourceControlRevisionLocation, qrb::Object, "QRBSourceControlRevisionLocation",
                  &QRBSourceControlRevisionLocation::initWithCoder);

QRBSourceControlRevisionLocationPtr QRBSourceControlRevisionLocation::initWithRevision(
    QRBSourceControlRevisionPtr revision) {
  auto location = std::make_shared<QRBSourceControlRevisionLocation>(Key());
  location->_revision = std::move(revision);
  return location;
}

QRBSourceControlRevisionLocationPtr QRBSourceControlRevisionLocation::initWithDictionary(
    const qrb::Dictionary& dictionary) {
  auto location = std::make_shared<QRBSourceControlRevisionLocation>(Key());
  location->readRevision(dictionary);
  return location;
}

QRBSourceControlRevisionLocationPtr QRBSourceControlRevisionLocation::locationWithRevision(
    QRBSourceControlRevisionPtr revision) const {
  auto location = mutableCopy();
  location->_revision = std::move(revision);
  return location;
}

std::shared_ptr<QRBSourceControlRevisionLocation> QRBSourceControlRevisionLocation::mutableCopy() const {
  return std::make_shared<QRBSourceControlRevisionLocation>(*this);
}

qrb::String QRBSourceControlRevisionLocation::displayName() const {
  return _revision == nullptr ? qrb::String("") : _revision->identifier();
}

qrb::Dictionary QRBSourceControlRevisionLocation::dictionaryRepresentationWithOptions(std::uint64_t options) const {
  auto dictionary = qrb::Dictionary::object();
  if ((options & QRBSourceControlDictionaryIncludesRevision) != 0 && _revision != nullptr && _revision->identifier()) {
    dictionary[QRBSourceControlLocationRevisionKey] = _revision->identifier().str();
  }
  return dictionary;
}

qrb::ImagePtr QRBSourceControlRevisionLocation::defaultImage() {
  static const auto& image =
      *new qrb::ImagePtr(std::make_shared<const qrb::Image>(qrb::Image{"QRBSourceControlRevisionTemplate"}));
  return image;
}

std::string QRBSourceControlRevisionLocation::description() const {
  if (_revision == nullptr) return "Unspecified Location";
  return qrb::format("Unspecified Location (@%@)", {_revision->description()});
}

std::string QRBSourceControlRevisionLocation::descriptionWithWord(const char* word) const {
  if (_revision == nullptr) return qrb::format("%@: %@", {word, displayName()});
  return qrb::format("%@: %@ (@%@)", {word, displayName(), _revision->description()});
}

std::size_t QRBSourceControlRevisionLocation::hash() const {
  return _revision == nullptr ? 0 : _revision->hash();
}

bool QRBSourceControlRevisionLocation::isEqualToSameClass(const qrb::Object& other) const {
  return _revision != nullptr &&
         _revision->isEqual(static_cast<const QRBSourceControlRevisionLocation&>(other)._revision);
}

std::shared_ptr<qrb::Object> QRBSourceControlRevisionLocation::initWithCoder(qrb::KeyedUnarchiver& coder) {
  auto location = std::make_shared<QRBSourceControlRevisionLocation>(Key());
  location->decodeRevision(coder);
  return location;
}

void QRBSourceControlRevisionLocation::encodeWithCoder(qrb::KeyedArchiver& coder) const {
  coder.encode("revision", _revision);
}

void QRBSourceControlRevisionLocation::decodeRevision(qrb::KeyedUnarchiver& coder) {
  _revision = coder.decode<QRBSourceControlRevisionPtr>("revision");
}

void QRBSourceControlRevisionLocation::readRevision(const qrb::Dictionary& dictionary) {
  qrb::String identifier = qrb::detail::stringForKey(dictionary, QRBSourceControlLocationRevisionKey);
  if (identifier) _revision = QRBSourceControlRevision::initWithIdentifier(identifier);
}
