#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include <qrb/Export.h>
#include <qrb/Object.h>
#include <qrb/Observer.h>
#include <qrb/URL.h>

#include "QRBSourceControlAddressBook.h"
#include "QRBSourceControlForward.h"

/// Who made a revision, as the system names him, and optionally the person in the host's address book that he is.
/// Safe from any thread.
class QRB_EXPORT QRBSourceControlAuthor final : public qrb::Object,
                                                public std::enable_shared_from_this<QRBSourceControlAuthor> {
  QRB_OBJECT;

 public:
  /// `displayName` defaults to the user name when absent.
  static QRBSourceControlAuthorPtr initWithUsername(qrb::String username, qrb::String displayName,
                                                    std::vector<qrb::String> emails, qrb::URL imageURL);
  /// With that one address, or none when it is absent.
  static QRBSourceControlAuthorPtr initWithUsername(qrb::String username, qrb::String email);
  /// Takes everything as it is: an absent display name stays absent.
  QRBSourceControlAuthor(qrb::String username, qrb::String displayName, std::vector<qrb::String> emails,
                         qrb::URL imageURL);

  /// The user name.
  const qrb::String& name() const noexcept { return _name; }
  /// What users see: as given, or the paired person's. Absent where that person has no name to show.
  qrb::String displayName() const;
  /// As given, or the paired person's; empty when there are none.
  std::vector<qrb::String> emails() const;
  /// Where a picture of him is; absent when none was given.
  const qrb::URL& imageURL() const noexcept { return _imageURL; }

  /// The person paired with this author, looked up by `pairedUUID` where it is not known yet; null for none.
  QRBSourceControlPersonPtr pairedPerson();
  /// Pairs the author with a person, whose name and addresses replace the author's and are kept up to date from then
  /// on. Null ends the pairing and changes no name.
  void setPairedPerson(QRBSourceControlPersonPtr person);
  /// The unique id that `pairedPerson` looks up. Nothing sets it, so it is absent in every author, paired or not.
  qrb::String pairedUUID() const;
  /// Looks the person up anew when `uuid` is the one that the author has already. It stores nothing: an author is
  /// paired for the life of the object, and never through what an archive says.
  void setPairedUUID(const qrb::String& uuid);
  /// Brings a paired author up to date after a change that concerns him. An event that was handled already is ignored.
  void abDatabaseChangedNotification(const QRBSourceControlAddressBookNotificationPtr& notification);

  /// For logs: display name and first address.
  std::string description() const override;
  /// A new author with the same names, addresses and picture, paired with nobody.
  std::shared_ptr<qrb::Object> copy() const override;

  /// For archives. A key that is missing leaves its field absent or empty; a value of another type throws ArchiveError.
  static std::shared_ptr<qrb::Object> initWithCoder(qrb::KeyedUnarchiver& coder);
  void encodeWithCoder(qrb::KeyedArchiver& coder) const override;

 private:
  static qrb::String _displayNameFromPerson(const QRBSourceControlPerson& person);

  const qrb::String _name;
  const qrb::URL _imageURL;
  const qrb::String _pairedUUID;
  mutable std::mutex _mutex;
  // The rest is read and written under _mutex.
  qrb::String _displayName;
  std::vector<qrb::String> _emails;
  QRBSourceControlPersonPtr _cachedPairedPerson;
  QRBSourceControlAddressBookNotificationPtr _lastSeenNotification;
  qrb::ObserverToken _subscription;
};
