// A folder of cards as an address book: finding people, pairing authors, and following the files.
#include "QRBSourceControlVCardAddressBook.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "QRBSourceControlAuthor.h"
#include "TemporaryDirectory.h"

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using Author = QRBSourceControlAuthor;
using AddressBook = QRBSourceControlVCardAddressBook;
using Notification = QRBSourceControlAddressBookNotificationPtr;

class VCardAddressBook : public testing::Test {
 protected:
  ~VCardAddressBook() override { QRBSourceControlAddressBook::registerAddressBook(nullptr); }

  void write(const std::string& name, const std::string& uid, const std::string& lines) {
    // Beside and then in the place of the old one, so that no two versions can look the same.
    std::string uidLine = uid.empty() ? "" : "UID:" + uid + "\r\n";
    std::ofstream(path(name + ".new")) << "BEGIN:VCARD\r\nVERSION:4.0\r\n" + uidLine + lines + "\r\nEND:VCARD\r\n";
    fs::rename(path(name + ".new"), path(name));
  }
  fs::path path(const std::string& name) const { return folder.path() / name; }
  void reload() {
    qrb::Error error = book->reload();
    EXPECT_FALSE(error) << error.description();
  }
  qrb::String nameAt(const std::string& uniqueId) const {
    auto person = book->personForUniqueId(uniqueId);
    return person == nullptr ? qrb::String("nobody") : person->firstName;
  }

  qrb::test::TemporaryDirectory folder;
  QRBSourceControlVCardAddressBookPtr book = AddressBook::initWithFolderURL(qrb::URL::fileURL(folder.string(), true));
};

TEST_F(VCardAddressBook, PeopleAreFoundByIdAndByAnyAddressWhateverItsCase) {
  write("a.vcf", "U1", "FN:Ann\r\nEMAIL:ann@Example.org\r\nEMAIL:a@example.org");
  write("b.VCF", "", "FN:Bob\r\nEMAIL:bob@example.org");
  std::ofstream(path("notes.txt")) << "nobody";
  EXPECT_EQ(book->personForUniqueId("U1"), nullptr) << "nothing is read before the first reload";
  reload();
  EXPECT_EQ(nameAt("U1"), "Ann");
  EXPECT_EQ(nameAt("b.VCF#1"), "Bob");
  EXPECT_EQ(book->personForUniqueId({}), nullptr);
  for (const char* email : {"ann@example.org", "ANN@EXAMPLE.ORG", "a@example.org"}) {
    ASSERT_NE(book->personForEmail(email), nullptr) << email;
    EXPECT_EQ(book->personForEmail(email)->uniqueId, "U1");
  }
  EXPECT_EQ(book->personForEmail("n@example.org"), nullptr);
  EXPECT_EQ(book->personForEmail({}), nullptr);
  EXPECT_THAT(book->problems(), IsEmpty());
}

TEST_F(VCardAddressBook, OfTwoCardsWithOneIdTheFirstCountsAndTheUserIsTold) {
  write("b.vcf", "U1", "FN:Second\r\nEMAIL:second@x");
  write("a.vcf", "U1", "FN:First");
  reload();
  EXPECT_EQ(nameAt("U1"), "First");
  EXPECT_EQ(book->personForEmail("second@x"), nullptr);
  EXPECT_THAT(book->problems(), ElementsAre(HasSubstr("b.vcf: there is another card")));
}

TEST_F(VCardAddressBook, AuthorsArePairedByTheirAddressAndFollowTheFile) {
  QRBSourceControlAddressBook::registerAddressBook(book);
  write("a.vcf", "U1", "N:Apple;Ann\r\nEMAIL:ann@home");
  write("b.vcf", "U2", "EMAIL:nameless@x");
  reload();
  auto author = Author::initWithUsername("aapple", "A. Apple", {"ann@work", "Ann@Home"}, {});
  EXPECT_TRUE(book->pairAuthor(author));
  EXPECT_EQ(author->displayName(), "Ann Apple");
  EXPECT_THAT(author->emails(), ElementsAre(qrb::String("ann@home")));

  auto stranger = Author::initWithUsername("bob", "bob@x");
  EXPECT_FALSE(book->pairAuthor(stranger));
  auto nameless = Author::initWithUsername("carol", "nameless@x");
  EXPECT_FALSE(book->pairAuthor(nameless));
  EXPECT_EQ(nameless->displayName(), "carol") << "a card without a name must not take one away";

  write("a.vcf", "U1", "N:Berry;Ann\r\nEMAIL:ann@home");
  reload();
  EXPECT_EQ(author->displayName(), "Ann Berry");
}

TEST_F(VCardAddressBook, AReloadTellsOfExactlyWhatChanged) {
  write("a.vcf", "U1", "FN:Ann");
  write("b.vcf", "U2", "FN:Bob");
  write("c.vcf", "U3", "FN:Carol");
  reload();
  std::vector<Notification> heard;
  auto token = book->observeChanges([&](const Notification& notification) { heard.push_back(notification); });
  reload();
  write("b.vcf", "U2", "FN:Bob\r\nNOTE:nothing that matters here");
  reload();
  EXPECT_THAT(heard, IsEmpty()) << "nothing changed";

  auto kept = book->personForUniqueId("U2");
  write("a.vcf", "U1", "FN:Anna");
  fs::remove(path("c.vcf"));
  write("d.vcf", "U4", "FN:Dave");
  reload();
  ASSERT_EQ(heard.size(), 1u);
  EXPECT_THAT(heard[0]->updatedRecords, ElementsAre(qrb::String("U1")));
  EXPECT_THAT(heard[0]->insertedRecords, ElementsAre(qrb::String("U4")));
  EXPECT_THAT(heard[0]->deletedRecords, ElementsAre(qrb::String("U3")));
  EXPECT_FALSE(heard[0]->restoredFromBackup);
  EXPECT_EQ(book->personForUniqueId("U2"), kept) << "an unchanged file is not read again";
  EXPECT_EQ(nameAt("U3"), "nobody");

  // In place, to another text of the same length.
  std::string text = "BEGIN:VCARD\r\nVERSION:4.0\r\nUID:U4\r\nFN:Dora\r\nEND:VCARD\r\n";
  ASSERT_EQ(fs::file_size(path("d.vcf")), text.size());
  auto before = fs::last_write_time(path("d.vcf"));
  std::fstream(path("d.vcf")) << text;
  fs::last_write_time(path("d.vcf"), before + std::chrono::nanoseconds(1));
  reload();
  EXPECT_EQ(nameAt("U4"), "Dora");
}

TEST_F(VCardAddressBook, AFileThatCannotBeReadHidesNoOther) {
  write("good.vcf", "U1", "FN:Ann");
  std::ofstream(path("bad.vcf")) << "BEGIN:VCARD\nVERSION:4.0\n";
  fs::create_symlink("nowhere", path("dangling.vcf"));
  fs::create_directory(path("folder.vcf"));
  ASSERT_EQ(::mkfifo(path("pipe.vcf").c_str(), 0600), 0);
  reload();
  EXPECT_EQ(nameAt("U1"), "Ann");
  EXPECT_THAT(book->problems(), UnorderedElementsAre(HasSubstr("bad.vcf:1: "), HasSubstr("dangling.vcf: "),
                                                     HasSubstr("folder.vcf: "), HasSubstr("pipe.vcf: ")));
  // What was wrong can be put right.
  write("bad.vcf", "U2", "FN:Bob");
  reload();
  EXPECT_EQ(nameAt("U2"), "Bob");
}

TEST_F(VCardAddressBook, AFolderThatIsGoneIsAnErrorAndNobodyIsForgotten) {
  write("a.vcf", "U1", "FN:Ann");
  reload();
  fs::rename(folder.path(), folder.string() + ".away");
  qrb::Error error = book->reload();
  EXPECT_TRUE(error);
  EXPECT_THAT(error.localizedDescription(), HasSubstr(folder.string()));
  EXPECT_EQ(nameAt("U1"), "Ann");
  fs::rename(folder.string() + ".away", folder.path());
}

}  // namespace
