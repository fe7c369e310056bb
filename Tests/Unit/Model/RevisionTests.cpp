#include "QRBSourceControlRevision.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ModelTesting.h"

namespace {

using qrb::test::throughArchive;
using Revision = QRBSourceControlRevision;
using RevisionPtr = QRBSourceControlRevisionPtr;

const std::vector<std::pair<const char*, RevisionPtr>>& sharedRevisions() {
  static const std::vector<std::pair<const char*, RevisionPtr>> revisions = {
      {"HEAD", Revision::sharedHeadRevision()},
      {"BASE", Revision::sharedBaseRevision()},
      {"INITIAL", Revision::sharedInitialRevision()},
      {nullptr, Revision::sharedUnversionedRevision()},
  };
  return revisions;
}

TEST(Revision, EqualityGoesByClassAndIdentifier) {
  RevisionPtr plainHead = Revision::initWithIdentifier("HEAD");
  EXPECT_TRUE(plainHead->isEqual(Revision::initWithIdentifier("HEAD")));
  EXPECT_FALSE(plainHead->isEqual(Revision::initWithIdentifier("head")));
  EXPECT_FALSE(plainHead->isEqual(Revision::sharedHeadRevision()));
  EXPECT_FALSE(Revision::sharedHeadRevision()->isEqual(plainHead));
  EXPECT_FALSE(Revision::initWithIdentifier({})->isEqual(Revision::sharedUnversionedRevision()));
  for (const auto& [word, revision] : sharedRevisions()) {
    for (const auto& [otherWord, other] : sharedRevisions()) {
      EXPECT_EQ(revision->isEqual(other), word == otherWord);
    }
  }
}

TEST(Revision, SharedRevisionsCopyAndDecodeAsTheOneInstance) {
  for (const auto& [word, revision] : sharedRevisions()) {
    EXPECT_EQ(revision->identifier(), qrb::String(word));
    EXPECT_TRUE(revision->isPlaceholderRevision());
    EXPECT_EQ(revision->isUnversionedRevision(), word == nullptr);
    EXPECT_EQ(revision->copy(), revision);
    EXPECT_EQ(throughArchive(revision), revision);
  }
  EXPECT_EQ(Revision::sharedUnversionedRevision()->hash(), 0u);
  EXPECT_EQ(Revision::sharedUnversionedRevision()->description(), "Uncommitted Revision");
}

TEST(Revision, ASymbolicRevisionOfAnUnknownWordIsRefused) {
  std::string data = qrb::KeyedArchiver::archivedData(Revision::sharedHeadRevision());
  std::size_t place = data.find("HEAD");
  ASSERT_NE(place, std::string::npos);
  data.replace(place, 4, "HEAX");
  EXPECT_THROW(qrb::KeyedUnarchiver::unarchivedObject<Revision>(data), qrb::ArchiveError);
}

}  // namespace
