#include "QRBSourceControlBlameItem.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "ModelTesting.h"
#include "QRBSourceControlAuthor.h"
#include "QRBSourceControlLogItem.h"
#include "QRBSourceControlRevision.h"

namespace {

using BlameItem = QRBSourceControlBlameItem;

QRBSourceControlLogItemPtr logItem(const char* revision) {
  return QRBSourceControlLogItem::initWithAuthor(QRBSourceControlAuthor::initWithUsername("ann", "Ann Other", {}, {}),
                                                 QRBSourceControlRevision::initWithIdentifier(revision), qrb::Date{},
                                                 "message", nullptr);
}

TEST(BlameItem, EqualityTakesRangeAndLogItem) {
  auto item = BlameItem::initWithLineRange({10, 5}, logItem("7"));
  EXPECT_TRUE(item->isEqual(BlameItem::initWithLineRange({10, 5}, logItem("7"))));
  EXPECT_EQ(item->hash(), BlameItem::initWithLineRange({10, 5}, logItem("7"))->hash());
  EXPECT_FALSE(item->isEqual(BlameItem::initWithLineRange({10, 4}, logItem("7"))));
  EXPECT_FALSE(item->isEqual(BlameItem::initWithLineRange({11, 5}, logItem("7"))));
  EXPECT_FALSE(item->isEqual(BlameItem::initWithLineRange({10, 5}, logItem("8"))));
  EXPECT_FALSE(item->isEqual(BlameItem::initWithLineRange({10, 5}, nullptr)));
}

TEST(BlameItem, ARangeThatNoFileHasIsRefused) {
  std::string data = qrb::KeyedArchiver::archivedData(BlameItem::initWithLineRange({1, 1}, nullptr));
  // The double 1.0, its sign bit set, and then as infinity.
  std::string one("\xcb\x3f\xf0\x00\x00\x00\x00\x00\x00", 9);
  std::size_t place = data.find(one);
  ASSERT_NE(place, std::string::npos);
  for (const std::string& number :
       {std::string("\xcb\xbf\xf0\x00\x00\x00\x00\x00\x00", 9), std::string("\xcb\x7f\xf0\x00\x00\x00\x00\x00\x00", 9),
        std::string("\xcb\x7f\xf8\x00\x00\x00\x00\x00\x00", 9)}) {
    std::string malformed = data;
    malformed.replace(place, 9, number);
    EXPECT_THROW(qrb::KeyedUnarchiver::unarchivedObject<BlameItem>(malformed), qrb::ArchiveError);
  }
}

TEST(BlameItem, ARangeIsReadAndWrittenAsOne) {
  auto item = BlameItem::initWithLineRange({0, 0}, nullptr);
  std::atomic<bool> done{false};
  std::thread writer([&] {
    for (std::uint64_t i = 0; i < 20000; ++i) item->setLineRange({i, i});
    done = true;
  });
  bool torn = false;
  while (!done) {
    QRBSourceControlLineRange range = item->lineRange();
    torn = torn || range.location != range.length;
  }
  writer.join();
  EXPECT_FALSE(torn);
}

}  // namespace
