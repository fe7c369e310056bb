#pragma once

#include <memory>
#include <string>
#include <vector>

#include <qrb/Error.h>
#include <qrb/Export.h>
#include <qrb/URL.h>

#include "QRBSourceControlAddressBook.h"
#include "QRBSourceControlForward.h"

class QRBSourceControlVCardAddressBook;
using QRBSourceControlVCardAddressBookPtr = std::shared_ptr<QRBSourceControlVCardAddressBook>;

/// The people in a folder of vCard files: every file directly in it whose name ends in ".vcf", in any number of cards,
/// of version 3.0 or 4.0. The files are only read. Safe from any thread.
///
/// A person's unique id is the card's UID; a card without one gets an id of its own, made of the file's name and the
/// card's place in the file. Where two cards have one id the first counts, in the order of the files' names.
class QRB_EXPORT QRBSourceControlVCardAddressBook final : public QRBSourceControlAddressBook {
  struct Key {
    explicit Key() = default;
  };

 public:
  /// Reads nothing yet: the book is empty until `reload`.
  static QRBSourceControlVCardAddressBookPtr initWithFolderURL(qrb::URL folderURL);
  QRBSourceControlVCardAddressBook(Key, qrb::URL folderURL);
  ~QRBSourceControlVCardAddressBook() override;

  /// Reads the files that are new or have changed since the last time, forgets those that are gone, and tells the
  /// observers, on this thread, of the people that this inserts, updates and deletes, if any. With an error (the folder
  /// cannot be read) all stays as it was. What is wrong with single files is no error: see `problems`.
  qrb::Error reload();
  /// What the last `reload` could not read, each as "file:line: what is wrong", for the user.
  std::vector<std::string> problems() const;

  /// The person of that id among those that the last successful `reload` read.
  QRBSourceControlPersonPtr personForUniqueId(const qrb::String& uniqueId) override;
  /// The first person with that e-mail address, upper and lower case being the same; null when there is none.
  QRBSourceControlPersonPtr personForEmail(const qrb::String& email) const;
  /// Pairs an author that is not paired yet with the person who has one of his e-mail addresses, the first address
  /// first, and says whether there was one. A person without any name to show is passed over. For the author to follow
  /// later changes, this must be the registered address book.
  bool pairAuthor(const QRBSourceControlAuthorPtr& author) const;
  /// The block is called by `reload` only, on the thread that calls it.
  [[nodiscard]] qrb::ObserverToken observeChanges(NotificationBlock block) override;

 private:
  struct Contents;

  const qrb::URL _folderURL;
  const std::unique_ptr<Contents> _contents;
  qrb::ObserverList<QRBSourceControlAddressBookNotificationPtr> _observers;
};
