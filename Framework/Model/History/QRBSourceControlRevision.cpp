#include "QRBSourceControlRevision.h"

#include <array>
#include <utility>

#include "Assertion.h"
#include "KeyedArchiver.h"
#include "KeyedUnarchiver.h"
#include "QRBSourceControlSingletonPrivate.h"

using qrb::detail::QRBSourceControlConceptualRevision;
using qrb::detail::QRBSourceControlUnversionedRevision;

QRB_DEFINE_OBJECT(QRBSourceControlRevision, qrb::Object, "QRBSourceControlRevision",
                  &QRBSourceControlRevision::initWithCoder);

QRBSourceControlRevision::QRBSourceControlRevision(Key, qrb::String identifier, qrb::String displayName) noexcept
    : _identifier(std::move(identifier)), _displayName(std::move(displayName)) {}

QRBSourceControlRevisionPtr QRBSourceControlRevision::initWithIdentifier(qrb::String identifier) {
  return initWithIdentifier(std::move(identifier), {});
}

QRBSourceControlRevisionPtr QRBSourceControlRevision::initWithIdentifier(qrb::String identifier,
                                                                         qrb::String displayName) {
  return std::make_shared<QRBSourceControlRevision>(Key(), std::move(identifier), std::move(displayName));
}

QRBSourceControlRevisionPtr QRBSourceControlRevision::sharedUnversionedRevision() {
  return QRBSourceControlUnversionedRevision::shared();
}

QRBSourceControlRevisionPtr QRBSourceControlRevision::sharedHeadRevision() {
  return QRBSourceControlConceptualRevision::shared("HEAD");
}

QRBSourceControlRevisionPtr QRBSourceControlRevision::sharedBaseRevision() {
  return QRBSourceControlConceptualRevision::shared("BASE");
}

QRBSourceControlRevisionPtr QRBSourceControlRevision::sharedInitialRevision() {
  return QRBSourceControlConceptualRevision::shared("INITIAL");
}

std::string QRBSourceControlRevision::description() const {
  return _identifier.str();
}

std::size_t QRBSourceControlRevision::hash() const {
  return _identifier.hash();
}

bool QRBSourceControlRevision::isEqualToSameClass(const qrb::Object& other) const {
  return _identifier == static_cast<const QRBSourceControlRevision&>(other)._identifier;
}

std::shared_ptr<qrb::Object> QRBSourceControlRevision::copy() const {
  return std::make_shared<QRBSourceControlRevision>(Key(), _identifier, qrb::String());
}

std::shared_ptr<qrb::Object> QRBSourceControlRevision::initWithCoder(qrb::KeyedUnarchiver& coder) {
  auto identifier = coder.decode<qrb::String>("identifier");
  return std::make_shared<QRBSourceControlRevision>(Key(), std::move(identifier),
                                                    coder.decode<qrb::String>("_displayName"));
}

void QRBSourceControlRevision::encodeWithCoder(qrb::KeyedArchiver& coder) const {
  coder.encode("identifier", _identifier);
  coder.encode("_displayName", _displayName);
}

namespace qrb::detail {

QRB_DEFINE_OBJECT(QRBSourceControlUnversionedRevision, ::QRBSourceControlRevision,
                  "_QRBSourceControlUnversionedRevision", &QRBSourceControlUnversionedRevision::initWithCoder);

QRBSourceControlUnversionedRevision::QRBSourceControlUnversionedRevision(Key key) noexcept
    : ::QRBSourceControlRevision(key, {}, {}) {}

QRBSourceControlRevisionPtr QRBSourceControlUnversionedRevision::init() {
  assertionFailure("Framework/QRBSourceControlRevision", __LINE__, kSharedInstanceOnly);
  return nullptr;
}

const std::shared_ptr<QRBSourceControlUnversionedRevision>& QRBSourceControlUnversionedRevision::shared() {
  // Never destroyed, since threads may still hold and compare it while the program ends.
  static auto& instance = *new auto(std::make_shared<QRBSourceControlUnversionedRevision>(Key()));
  return instance;
}

std::string QRBSourceControlUnversionedRevision::description() const {
  return "Uncommitted Revision";
}

std::shared_ptr<Object> QRBSourceControlUnversionedRevision::copy() const {
  return shared();
}

std::shared_ptr<Object> QRBSourceControlUnversionedRevision::initWithCoder(KeyedUnarchiver&) {
  return shared();
}

QRB_DEFINE_OBJECT(QRBSourceControlConceptualRevision, ::QRBSourceControlRevision, "_QRBSourceControlConceptualRevision",
                  &QRBSourceControlConceptualRevision::initWithCoder);

QRBSourceControlConceptualRevision::QRBSourceControlConceptualRevision(Key key, String identifier) noexcept
    : ::QRBSourceControlRevision(key, std::move(identifier), {}) {}

QRBSourceControlRevisionPtr QRBSourceControlConceptualRevision::init() {
  assertionFailure("Framework/QRBSourceControlRevision", __LINE__, kSharedInstanceOnly);
  return nullptr;
}

std::shared_ptr<QRBSourceControlConceptualRevision> QRBSourceControlConceptualRevision::shared(
    std::string_view identifier) {
  using Instance = std::shared_ptr<QRBSourceControlConceptualRevision>;
  auto make = [](const char* word) { return std::make_shared<QRBSourceControlConceptualRevision>(Key(), word); };
  static const auto& instances = *new std::array<Instance, 3>{make("HEAD"), make("BASE"), make("INITIAL")};
  for (const Instance& instance : instances) {
    if (instance->identifier().view() == identifier) return instance;
  }
  return nullptr;
}

std::shared_ptr<Object> QRBSourceControlConceptualRevision::copy() const {
  return shared(identifier().view());
}

std::shared_ptr<Object> QRBSourceControlConceptualRevision::initWithCoder(KeyedUnarchiver& coder) {
  auto revision = shared(coder.decode<String>("identifier").view());
  if (revision == nullptr) throw ArchiveError("a symbolic revision of an unknown name");
  return revision;
}

}  // namespace qrb::detail
