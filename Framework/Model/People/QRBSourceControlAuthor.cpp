#include "QRBSourceControlAuthor.h"

#include <algorithm>
#include <utility>

#include "KeyedArchiver.h"
#include "KeyedUnarchiver.h"
#include "Localization.h"

QRB_DEFINE_OBJECT(QRBSourceControlAuthor, qrb::Object, "QRBSourceControlAuthor",
                  &QRBSourceControlAuthor::initWithCoder);

namespace {

QRBSourceControlPersonPtr lookUpPerson(const qrb::String& uniqueId) {
  if (uniqueId.empty()) return nullptr;
  auto addressBook = QRBSourceControlAddressBook::sharedAddressBook();
  return addressBook == nullptr ? nullptr : addressBook->personForUniqueId(uniqueId);
}

}  // namespace

QRBSourceControlAuthor::QRBSourceControlAuthor(qrb::String username, qrb::String displayName,
                                               std::vector<qrb::String> emails, qrb::URL imageURL)
    : _name(std::move(username)),
      _imageURL(std::move(imageURL)),
      _displayName(std::move(displayName)),
      _emails(std::move(emails)) {}

QRBSourceControlAuthorPtr QRBSourceControlAuthor::initWithUsername(qrb::String username, qrb::String displayName,
                                                                   std::vector<qrb::String> emails, qrb::URL imageURL) {
  qrb::String shown = displayName.valueOr(username);
  return std::make_shared<QRBSourceControlAuthor>(std::move(username), std::move(shown), std::move(emails),
                                                  std::move(imageURL));
}

QRBSourceControlAuthorPtr QRBSourceControlAuthor::initWithUsername(qrb::String username, qrb::String email) {
  std::vector<qrb::String> emails;
  if (email) emails.push_back(std::move(email));
  return initWithUsername(std::move(username), {}, std::move(emails), {});
}

qrb::String QRBSourceControlAuthor::displayName() const {
  std::lock_guard lock(_mutex);
  return _displayName;
}

std::vector<qrb::String> QRBSourceControlAuthor::emails() const {
  std::lock_guard lock(_mutex);
  return _emails;
}

qrb::String QRBSourceControlAuthor::pairedUUID() const {
  return _pairedUUID;
}

QRBSourceControlPersonPtr QRBSourceControlAuthor::pairedPerson() {
  {
    std::lock_guard lock(_mutex);
    if (_cachedPairedPerson != nullptr) return _cachedPairedPerson;
  }
  QRBSourceControlPersonPtr person = lookUpPerson(_pairedUUID);
  if (person != nullptr) {
    std::lock_guard lock(_mutex);
    _cachedPairedPerson = person;
  }
  return person;
}

void QRBSourceControlAuthor::setPairedPerson(QRBSourceControlPersonPtr person) {
  qrb::ObserverToken subscription;
  auto addressBook = QRBSourceControlAddressBook::sharedAddressBook();
  if (person != nullptr && addressBook != nullptr) {
    subscription = addressBook->observeChanges(
        [weakSelf = weak_from_this()](const QRBSourceControlAddressBookNotificationPtr& notification) {
          if (QRBSourceControlAuthorPtr self = weakSelf.lock()) self->abDatabaseChangedNotification(notification);
        });
  }
  {
    std::lock_guard lock(_mutex);
    _cachedPairedPerson = person;
    if (person != nullptr) {
      _displayName = _displayNameFromPerson(*person);
      _emails = person->emails;
    }
    std::swap(_subscription, subscription);
  }
  // The one before ends here, outside the lock that its callback may be waiting for, and without waiting for that
  // callback, which may be doing the same to this one.
  subscription.detach();
  if (person != nullptr) setPairedUUID(person->uniqueId);
}

void QRBSourceControlAuthor::setPairedUUID(const qrb::String& uuid) {
  if (uuid.empty() || uuid != _pairedUUID) return;
  if (QRBSourceControlPersonPtr person = lookUpPerson(uuid)) setPairedPerson(std::move(person));
}

void QRBSourceControlAuthor::abDatabaseChangedNotification(
    const QRBSourceControlAddressBookNotificationPtr& notification) {
  qrb::String uniqueId;
  {
    std::lock_guard lock(_mutex);
    if (notification == nullptr || notification == _lastSeenNotification) return;
    _lastSeenNotification = notification;
    uniqueId = _cachedPairedPerson == nullptr ? _pairedUUID : _cachedPairedPerson->uniqueId;
  }
  const auto& updated = notification->updatedRecords;
  bool isUpdated = std::find(updated.begin(), updated.end(), uniqueId) != updated.end();
  bool isRestored =
      notification->restoredFromBackup && notification->insertedRecords.empty() && notification->deletedRecords.empty();
  if (!isUpdated && !isRestored) return;
  if (QRBSourceControlPersonPtr person = lookUpPerson(uniqueId)) setPairedPerson(std::move(person));
}

qrb::String QRBSourceControlAuthor::_displayNameFromPerson(const QRBSourceControlPerson& person) {
  if ((person.flags & QRBSourceControlPerson::kShowAsMask) != 0) return person.organization;
  if (person.nickname) return person.nickname;
  if (!person.firstName) return {};
  if (!person.lastName) return person.firstName;
  bool lastNameFirst =
      (person.flags & QRBSourceControlPerson::kNameOrderingMask) == QRBSourceControlPerson::kLastNameFirst;
  return lastNameFirst ? qrb::format("%@ %@", {person.lastName, person.firstName})
                       : qrb::format("%@ %@", {person.firstName, person.lastName});
}

std::string QRBSourceControlAuthor::description() const {
  std::lock_guard lock(_mutex);
  if (_emails.empty()) return _displayName.str();
  return qrb::format("%@ <%@>", {_displayName, _emails.front()});
}

std::shared_ptr<qrb::Object> QRBSourceControlAuthor::copy() const {
  std::lock_guard lock(_mutex);
  return std::make_shared<QRBSourceControlAuthor>(_name, _displayName, _emails, _imageURL);
}

std::shared_ptr<qrb::Object> QRBSourceControlAuthor::initWithCoder(qrb::KeyedUnarchiver& coder) {
  auto name = coder.decode<qrb::String>("name");
  auto displayName = coder.decode<qrb::String>("displayName");
  auto emails = coder.decode<std::vector<qrb::String>>("emails");
  auto author = std::make_shared<QRBSourceControlAuthor>(std::move(name), std::move(displayName), std::move(emails),
                                                         coder.decode<qrb::URL>("imageURL"));
  author->setPairedUUID(coder.decode<qrb::String>("pairedUUID"));
  return author;
}

void QRBSourceControlAuthor::encodeWithCoder(qrb::KeyedArchiver& coder) const {
  coder.encode("name", _name);
  coder.encode("displayName", displayName());
  coder.encode("emails", emails());
  coder.encode("imageURL", _imageURL);
  coder.encode("pairedUUID", _pairedUUID);
}
