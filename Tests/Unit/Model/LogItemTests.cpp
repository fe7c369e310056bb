#include "QRBSourceControlLogItem.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Digest.h"
#include "ModelTesting.h"
#include "QRBSourceControlAuthor.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlStatusValues.h"

namespace {

using qrb::test::throughArchive;
using namespace std::chrono_literals;
using LogItem = QRBSourceControlLogItem;
using LogItemPtr = QRBSourceControlLogItemPtr;

QRBSourceControlAuthorPtr author(const char* name) {
  return QRBSourceControlAuthor::initWithUsername(name, {});
}
QRBSourceControlRevisionPtr revisionNamed(const char* identifier) {
  return QRBSourceControlRevision::initWithIdentifier(identifier);
}
// 3 February 2001, 04:05:06 UTC.
constexpr qrb::Date kDate{std::chrono::sys_days(std::chrono::year(2001) / 2 / 3) + 4h + 5min + 6s};

LogItemPtr item(const char* name = "ann", const char* identifier = "1", qrb::Date date = kDate,
                qrb::String message = "first") {
  return LogItem::initWithAuthor(author(name), revisionNamed(identifier), date, std::move(message), nullptr);
}

QRBSourceControlPathStatusesPtr paths() {
  return std::make_shared<const QRBSourceControlPathStatuses>(QRBSourceControlPathStatuses{
      {"new\xff.txt", QRBSourceControlStatusRenamed}, {"b", QRBSourceControlStatusModified}});
}

TEST(LogItem, EqualityLooksAtRevisionDateAndMessageOnly) {
  struct Case {
    const char* what;
    LogItemPtr other;
    bool equal;
  };
  const Case cases[] = {
      {"the same", item(), true},
      {"another author", item("bob"), true},
      {"other paths",
       LogItem::initWithAuthor(author("ann"), revisionNamed("1"), kDate, "first", paths(), nullptr, nullptr), true},
      {"another revision", item("ann", "2"), false},
      {"another microsecond", item("ann", "1", kDate + 1us), false},
      {"another message", item("ann", "1", kDate, "second"), false},
      {"no message", LogItem::initIncompleteLogItemWithAuthor(author("ann"), revisionNamed("1"), kDate, nullptr),
       false},
      {"the unversioned item", LogItem::sharedUnversionedLogItem(), false},
  };
  for (const Case& each : cases) {
    EXPECT_EQ(item()->isEqual(each.other), each.equal) << each.what;
    EXPECT_EQ(each.other->isEqual(item()), each.equal) << each.what;
  }
}

TEST(LogItem, NewerItemsOrderFirstAndDistinctItemsOfOneDateNeverCompareAsSame) {
  LogItemPtr older = item("ann", "1", kDate - 1us);
  LogItemPtr newer = item();
  EXPECT_LT(newer->compareToLogItem(*older), 0);
  EXPECT_GT(older->compareToLogItem(*newer), 0);
  EXPECT_EQ(newer->compareToLogItem(*item("bob")), 0);
  LogItemPtr sameDate = item("ann", "2");
  EXPECT_EQ(newer->compareToLogItem(*sameDate), 1);
  EXPECT_EQ(sameDate->compareToLogItem(*newer), 1);
}

TEST(LogItem, TheIdentifierIsTheDigestOfRevisionSecondsSince2001AndMessage) {
  struct Case {
    LogItemPtr item;
    const char* text;
  };
  constexpr qrb::Date reference{std::chrono::sys_days(std::chrono::year(2001) / 1 / 1)};
  const Case cases[] = {
      {item(), "1-2865906.000000-first"},
      {item("bob"), "1-2865906.000000-first"},
      {item("ann", "1", reference + 7us, "x"), "1-0.000007-x"},
      {item("ann", "1", reference - 1500ms, "x"), "1--1.500000-x"},
      {item("ann", "1", reference, ""), "1-0.000000-"},
      {item("ann", "1", reference, {}), "1-0.000000-(null)"},
  };
  for (const Case& each : cases) EXPECT_EQ(each.item->identifier(), qrb::sha1Hex(each.text)) << each.text;
  EXPECT_THAT(item()->identifier(), testing::MatchesRegex("[0-9A-F]{40}"));
}

TEST(LogItem, AbsentAndEmptyPathsStayApart) {
  auto empty = std::make_shared<const QRBSourceControlPathStatuses>();
  LogItemPtr without = throughArchive(item());
  LogItemPtr with =
      throughArchive(LogItem::initWithAuthor(author("ann"), revisionNamed("1"), kDate, "first", empty, nullptr));
  EXPECT_EQ(without->pathsWithStatus(), nullptr);
  ASSERT_NE(with->pathsWithStatus(), nullptr);
  EXPECT_TRUE(with->pathsWithStatus()->empty());
  LogItemPtr incomplete =
      throughArchive(LogItem::initIncompleteLogItemWithAuthor(author("ann"), revisionNamed("1"), kDate, nullptr));
  EXPECT_FALSE(incomplete->isComplete());
  EXPECT_FALSE(incomplete->message().has_value());
}

TEST(LogItem, DatesFarFromTodaySurvive) {
  const std::int64_t cases[] = {0, -1, 1, (std::int64_t{1} << 61), -(std::int64_t{1} << 61)};
  for (std::int64_t microseconds : cases) {
    qrb::Date date{std::chrono::microseconds(microseconds)};
    LogItemPtr decoded = throughArchive(item("ann", "1", date));
    EXPECT_EQ(decoded->date(), date) << microseconds;
    EXPECT_TRUE(decoded->isComplete());
  }
}

TEST(LogItem, TheUnversionedItemIsOneInstanceEverywhere) {
  LogItemPtr shared = LogItem::sharedUnversionedLogItem();
  EXPECT_TRUE(shared->isUnversionedLogItem());
  EXPECT_TRUE(shared->isComplete());
  EXPECT_TRUE(shared->revision()->isUnversionedRevision());
  EXPECT_EQ(shared->copy(), shared);
  EXPECT_EQ(throughArchive(shared), shared);
  EXPECT_FALSE(item()->isUnversionedLogItem());
  qrb::test::AssertionRecorder assertions;
  EXPECT_EQ(qrb::detail::QRBSourceControlUnversionedLogItem::init(), nullptr);
  EXPECT_THAT(assertions.messages,
              testing::ElementsAre("Don't call init, this is a singleton, get the shared instance"));
}

// What a host pays for a history goes by these: 100,000 items are to fit into 45 MB with their paths.
static_assert(sizeof(QRBSourceControlRevision) <= 3 * sizeof(void*));
static_assert(sizeof(QRBSourceControlLogItem) <= 13 * sizeof(void*));

}  // namespace
