#include "QRBSourceControlPathLocation.h"

#include "KeyedArchiver.h"
#include "KeyedUnarchiver.h"
#include "PathString.h"
#include "PercentCoding.h"
#include "QRBSourceControlDictionaryReadingPrivate.h"
#include "QRBSourceControlRevision.h"

QRB_DEFINE_OBJECT(QRBSourceControlPathLocation, QRBSourceControlRevisionLocation, "QRBSourceControlPathLocation",
                  &QRBSourceControlPathLocation::initWithCoder);

QRBSourceControlPathLocationPtr QRBSourceControlPathLocation::initWithRelativePath(qrb::String relativePath) {
  if (relativePath.empty()) return nullptr;
  auto location = std::make_shared<QRBSourceControlPathLocation>(Key());
  location->_relativePath = std::move(relativePath);
  return location;
}

QRBSourceControlPathLocationPtr QRBSourceControlPathLocation::initWithDictionary(const qrb::Dictionary& dictionary) {
  qrb::String path = qrb::detail::stringForKey(dictionary, QRBSourceControlPathIdentifierKey);
  if (!path) return nullptr;
  auto location = std::make_shared<QRBSourceControlPathLocation>(Key());
  location->readRevision(dictionary);
  location->_relativePath = std::move(path);
  return location;
}

QRBSourceControlPathLocationPtr QRBSourceControlPathLocation::rootPathLocation() {
  // Never destroyed: requests may end after the host's static objects have.
  static const auto& root = *new QRBSourceControlPathLocationPtr(initWithRelativePath("/"));
  return root;
}

std::shared_ptr<QRBSourceControlRevisionLocation> QRBSourceControlPathLocation::mutableCopy() const {
  return std::make_shared<QRBSourceControlPathLocation>(*this);
}

QRBSourceControlPathLocationPtr QRBSourceControlPathLocation::pathLocationByAppendingPath(std::string_view path) const {
  std::string joined = qrb::appendingPathComponent(_relativePath.view(), path);
  if (path.ends_with('/') && !joined.ends_with('/')) joined += '/';
  return initWithRelativePath(qrb::String(joined));
}

QRBSourceControlPathLocationPtr QRBSourceControlPathLocation::parentPathLocation() const {
  std::string_view parent = qrb::deletingLastPathComponent(_relativePath.view());
  return parent.empty() || parent == "/" ? rootPathLocation() : initWithRelativePath(parent);
}

qrb::String QRBSourceControlPathLocation::nameBelow(const QRBSourceControlPathLocationPtr& folder) const {
  if (folder == nullptr) return {};
  std::string_view path = _relativePath.view();
  std::string_view prefix = folder->_relativePath.view();
  if (!path.starts_with(prefix) || path.size() <= prefix.size()) return {};
  return path.substr(prefix.size() + 1);
}

qrb::String QRBSourceControlPathLocation::displayName() const {
  return _relativePath ? qrb::String(qrb::percentDecoded(_relativePath.view())) : _relativePath;
}

qrb::Dictionary QRBSourceControlPathLocation::dictionaryRepresentationWithOptions(std::uint64_t options) const {
  auto dictionary = QRBSourceControlRevisionLocation::dictionaryRepresentationWithOptions(options);
  if ((options & QRBSourceControlDictionaryIncludesLocation) != 0) {
    dictionary[QRBSourceControlPathIdentifierKey] = _relativePath.str();
  }
  return dictionary;
}

qrb::ImagePtr QRBSourceControlPathLocation::defaultImage() {
  static const auto& image =
      *new qrb::ImagePtr(std::make_shared<const qrb::Image>(qrb::Image{"QRBSourceControlPathTemplate"}));
  return image;
}

bool QRBSourceControlPathLocation::isEqualToSameClass(const qrb::Object& other) const {
  const auto& location = static_cast<const QRBSourceControlPathLocation&>(other);
  return (isRootPath() && location.isRootPath()) || _relativePath == location._relativePath;
}

std::shared_ptr<qrb::Object> QRBSourceControlPathLocation::initWithCoder(qrb::KeyedUnarchiver& coder) {
  auto location = std::make_shared<QRBSourceControlPathLocation>(Key());
  location->decodeRevision(coder);
  location->_relativePath = coder.decode<qrb::String>("relativePath");
  return location;
}

void QRBSourceControlPathLocation::encodeWithCoder(qrb::KeyedArchiver& coder) const {
  QRBSourceControlRevisionLocation::encodeWithCoder(coder);
  coder.encode("relativePath", _relativePath);
}
