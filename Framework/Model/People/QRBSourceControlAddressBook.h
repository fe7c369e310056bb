#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include <qrb/Export.h>
#include <qrb/Observer.h>
#include <qrb/SharedString.h>

/// The record of a person in an address book, as it was when it was looked up.
struct QRBSourceControlPerson {
  /// Bits of `flags`. A record whose show-as bits are not all clear is shown under the organization's name.
  static constexpr std::uint64_t kShowAsMask = 7;
  /// In which order first and last name are shown: the value below, or the first name first.
  static constexpr std::uint64_t kNameOrderingMask = 56;
  static constexpr std::uint64_t kLastNameFirst = 16;

  /// Absent where the record has none of it; `uniqueId` never is in what an address book answers.
  qrb::String uniqueId;
  std::uint64_t flags = 0;
  qrb::String nickname;
  qrb::String firstName;
  qrb::String lastName;
  qrb::String organization;
  std::vector<qrb::String> emails;
};
using QRBSourceControlPersonPtr = std::shared_ptr<const QRBSourceControlPerson>;

/// What changed in an address book. One object stands for one event, however many times it is delivered.
struct QRBSourceControlAddressBookNotification {
  /// Unique ids. After a restoration from a backup that inserted and deleted none, every paired author is looked up
  /// anew.
  std::vector<qrb::String> updatedRecords;
  std::vector<qrb::String> insertedRecords;
  std::vector<qrb::String> deletedRecords;
  bool restoredFromBackup = false;
};
using QRBSourceControlAddressBookNotificationPtr = std::shared_ptr<const QRBSourceControlAddressBookNotification>;

/// The people that the host knows. The host implements it and registers one; without one, authors are never paired.
/// Called from any thread.
class QRB_EXPORT QRBSourceControlAddressBook {
 public:
  using NotificationBlock = std::function<void(const QRBSourceControlAddressBookNotificationPtr&)>;

  virtual ~QRBSourceControlAddressBook() = default;
  /// The person's record of that unique id; null when there is none or it is not a person's.
  virtual QRBSourceControlPersonPtr personForUniqueId(const qrb::String& uniqueId) = 0;
  /// Calls the block after every change, made by this process or another, for as long as the token lives.
  [[nodiscard]] virtual qrb::ObserverToken observeChanges(NotificationBlock block) = 0;

  /// Replaces the one registered; null for none.
  static void registerAddressBook(std::shared_ptr<QRBSourceControlAddressBook> addressBook);
  /// Null when the host registered none.
  static std::shared_ptr<QRBSourceControlAddressBook> sharedAddressBook();
};
