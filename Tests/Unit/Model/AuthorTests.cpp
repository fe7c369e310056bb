#include "QRBSourceControlAuthor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

#include "ModelTesting.h"
#include "QRBSourceControlAddressBook.h"

namespace {

using Author = QRBSourceControlAuthor;
using Person = QRBSourceControlPerson;
using Notification = QRBSourceControlAddressBookNotification;

class AddressBook final : public QRBSourceControlAddressBook {
 public:
  QRBSourceControlPersonPtr personForUniqueId(const qrb::String& uniqueId) override {
    ++lookUps;
    auto found = people.find(uniqueId.str());
    return found == people.end() ? nullptr : found->second;
  }
  qrb::ObserverToken observeChanges(NotificationBlock block) override { return observers.observe(std::move(block)); }

  void put(Person person) {
    std::string uniqueId = person.uniqueId.str();
    people[uniqueId] = std::make_shared<const Person>(std::move(person));
  }
  void announce(Notification notification) {
    observers.notify(std::make_shared<const Notification>(std::move(notification)));
  }

  std::map<std::string, QRBSourceControlPersonPtr> people;
  qrb::ObserverList<QRBSourceControlAddressBookNotificationPtr> observers;
  int lookUps = 0;
};

Person person(const char* first, const char* last = nullptr) {
  Person made;
  made.uniqueId = "P1";
  made.firstName = first;
  made.lastName = last;
  made.emails = {"ann@example.org", "a@example.org"};
  return made;
}

class AuthorPairing : public testing::Test {
 protected:
  AuthorPairing() { QRBSourceControlAddressBook::registerAddressBook(book); }
  ~AuthorPairing() override { QRBSourceControlAddressBook::registerAddressBook(nullptr); }

  std::shared_ptr<AddressBook> book = std::make_shared<AddressBook>();
  QRBSourceControlAuthorPtr author = Author::initWithUsername("ann", "ann@host");
};

TEST_F(AuthorPairing, ThePersonsNameFollowsTheRecordsFlags) {
  Person both = person("Ann", "Other");
  Person lastFirst = both;
  lastFirst.flags = 16;
  Person otherOrdering = both;
  otherOrdering.flags = 32;
  Person company = both;
  company.flags = 1 | 16;
  company.organization = "Works Ltd";
  Person nicknamed = both;
  nicknamed.nickname = "Annie";
  struct Case {
    Person person;
    qrb::String name;
  };
  const Case cases[] = {{both, "Ann Other"},           {lastFirst, "Other Ann"}, {otherOrdering, "Ann Other"},
                        {company, "Works Ltd"},        {nicknamed, "Annie"},     {person("Ann"), "Ann"},
                        {person(nullptr, "Other"), {}}};
  for (const Case& each : cases) {
    author->setPairedPerson(std::make_shared<const Person>(each.person));
    EXPECT_EQ(author->displayName(), each.name);
    EXPECT_EQ(author->emails(), each.person.emails);
  }
}

TEST_F(AuthorPairing, ChangesOfThePairedRecordArriveAndOthersDoNot) {
  struct Case {
    const char* what;
    Notification notification;
    bool arrives;
  };
  const Case cases[] = {
      {"the record among others", {{"P0", "P1"}, {}, {}, false}, true},
      {"another record", {{"P0"}, {}, {}, false}, false},
      {"the record was deleted", {{}, {}, {"P1"}, false}, false},
      {"restored from a backup", {{}, {}, {}, true}, true},
      {"restored, and told what is new", {{}, {"P2"}, {}, true}, false},
      {"restored, and told what is gone", {{}, {}, {"P2"}, true}, false},
  };
  for (const Case& each : cases) {
    book->put(person("Ann"));
    author->setPairedPerson(book->people["P1"]);
    book->put(person("Anna"));
    book->announce(each.notification);
    EXPECT_EQ(author->displayName(), each.arrives ? "Anna" : "Ann") << each.what;
  }
}

TEST_F(AuthorPairing, EndsWithNullAndWithTheAuthor) {
  book->put(person("Ann"));
  author->setPairedPerson(book->people["P1"]);
  author->setPairedPerson(nullptr);
  book->put(person("Anna"));
  book->announce({{"P1"}, {}, {}, false});
  EXPECT_EQ(author->displayName(), "Ann") << "an author that is no longer paired keeps the name";
  author->setPairedPerson(book->people["P1"]);
  author.reset();
  int before = book->lookUps;
  book->announce({{"P1"}, {}, {}, false});
  EXPECT_EQ(book->lookUps, before);
}

}  // namespace
