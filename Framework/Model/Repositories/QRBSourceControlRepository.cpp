#include "QRBSourceControlRepository.h"

#include <utility>

#include "KeyedArchiver.h"
#include "KeyedUnarchiver.h"
#include "Localization.h"
#include "PathString.h"
#include "PercentCoding.h"
#include "QRBSourceControlIdentifiers.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlSystem.h"
#include "QRBSourceControlURL.h"
#include "UUIDString.h"

QRB_DEFINE_OBJECT(QRBSourceControlRepository, qrb::Object, "QRBSourceControlRepository",
                  &QRBSourceControlRepository::initWithCoder);

QRBSourceControlRepositoryPtr QRBSourceControlRepository::initWithURL(qrb::URL URL,
                                                                      QRBSourceControlSystemPtr sourceControlSystem) {
  auto repository = std::make_shared<QRBSourceControlRepository>(Key());
  repository->setUpWithURL(std::move(URL), std::move(sourceControlSystem));
  return repository;
}

QRBSourceControlRepositoryPtr QRBSourceControlRepository::initWithURL(qrb::URL URL, qrb::String identifier,
                                                                      QRBSourceControlSystemPtr sourceControlSystem) {
  auto repository = initWithURL(std::move(URL), std::move(sourceControlSystem));
  repository->setIdentifier(std::move(identifier));
  return repository;
}

void QRBSourceControlRepository::setUpWithURL(qrb::URL URL, QRBSourceControlSystemPtr sourceControlSystem) {
  qrb::String uuid = qrb::makeUUIDString();
  setSecondaryIdentifier(identifierFromURL(URL, uuid));
  set_id(uuid);
  setURL(std::move(URL));
  setSourceControlSystem(std::move(sourceControlSystem));
}

void QRBSourceControlRepository::set_id(const qrb::String& identifier) {
  if (!identifier.empty()) _idProperty.set(identifier);
}

qrb::String QRBSourceControlRepository::displayName() const {
  qrb::String text = URL().withoutPassword().absoluteString();
  if (!text) return {};
  return qrb::String(qrb::deletingPathExtension(qrb::percentDecoded(qrb::lastPathComponent(text.view()))));
}

qrb::ImagePtr QRBSourceControlRepository::defaultImage() {
  static const qrb::ImagePtr& image =
      *new qrb::ImagePtr(std::make_shared<const qrb::Image>(qrb::Image{"QRBSourceControlRepository"}));
  return image;
}

std::string QRBSourceControlRepository::description() const {
  // An address may carry a password, which no log is to show.
  qrb::URL shown = URL().withoutPassword();
  QRBSourceControlSystemPtr system = sourceControlSystem();
  return qrb::format(
      "%@:%@ System:%@ (%@+++%@)",
      {className(), shown.absoluteString(), system == nullptr ? qrb::String() : qrb::String(system->description()),
       identifier(), secondaryIdentifier()});
}

std::shared_ptr<qrb::Object> QRBSourceControlRepository::copy() const {
  return initWithURL(URL(), identifier(), sourceControlSystem());
}

void QRBSourceControlRepository::decodeFromCoder(qrb::KeyedUnarchiver& coder) {
  set_id(coder.decode<qrb::String>("_id"));
  setIdentifier(coder.decode<qrb::String>("identifier"));
  setSecondaryIdentifier(coder.decode<qrb::String>("secondaryIdentifier"));
  setURL(coder.decode<qrb::URL>("URL"));
  setSourceControlSystem(coder.decode<QRBSourceControlSystemPtr>("sourceControlSystem"));
}

std::shared_ptr<qrb::Object> QRBSourceControlRepository::initWithCoder(qrb::KeyedUnarchiver& coder) {
  auto repository = std::make_shared<QRBSourceControlRepository>(Key());
  repository->decodeFromCoder(coder);
  return repository;
}

void QRBSourceControlRepository::encodeWithCoder(qrb::KeyedArchiver& coder) const {
  coder.encode("_id", _id());
  coder.encode("identifier", identifier());
  coder.encode("secondaryIdentifier", secondaryIdentifier());
  coder.encode("URL", URL());
  coder.encode("sourceControlSystem", sourceControlSystem());
}
