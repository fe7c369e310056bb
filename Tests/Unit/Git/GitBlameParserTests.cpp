#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "GitBlameReader.h"
#include "GitIndexParser.h"
#include "GitTestRepository.h"
#include "QRBSourceControlBlameItem.h"
#include "QRBSourceControlLogItem.h"
#include "QRBSourceControlRevision.h"

using namespace std::string_literals;
using testing::ElementsAre;

namespace {

std::string a(40, 'a');
const std::string b(64, 'b');
const std::string none(40, '0');

/// What a parser made of pieces of a stream: a line for each record, and the error.
template <class Parser, class Describe>
std::string readWith(const std::vector<std::string_view>& pieces, Describe&& describe) {
  Parser parser;
  std::string result;
  auto sink = [&](const auto& record) { result += describe(record) + "\n"; };
  bool isWhole = true;
  for (std::string_view piece : pieces) isWhole = isWhole && parser.feed(piece, sink);
  isWhole = isWhole && parser.finish();
  EXPECT_EQ(isWhole, !parser.error());
  return isWhole ? result : result + "error";
}

std::string readBlame(const std::vector<std::string_view>& pieces) {
  return readWith<GitBlameParser>(pieces, [](const GitBlameRecord& record) {
    return std::string(record.hash.substr(0, 1)) + " " + std::to_string(record.originalLine) + " " +
           std::to_string(record.line) + " " + std::to_string(record.count) + (record.isUncommitted() ? " new" : "");
  });
}

std::string readIndex(const std::vector<std::string_view>& pieces) {
  return readWith<GitIndexParser>(pieces, [](const GitIndexRecord& record) {
    return std::to_string(record.mode) + " " + std::to_string(record.stage) + " " + std::string(record.path);
  });
}

template <class Read>
void expectSameHoweverCut(const std::string& bytes, const std::string& expected, Read&& read) {
  std::string_view view = bytes;
  for (std::size_t cut = 0; cut <= view.size(); ++cut) {
    ASSERT_EQ(read({view.substr(0, cut), view.substr(cut)}), expected) << cut;
  }
}

TEST(GitBlameParser, readsTheSameHoweverTheStreamIsCut) {
  // A subject may look like anything.
  std::string bytes = b + " 1 10 2\nauthor A\nsummary filename x\nboundary\nfilename f\n" + a +
                      " 3 1 1\nsummary \nfilename \"a\\nb\"\n" + b + " 5 2 8\nfilename f\n" + none +
                      " 12 12 1\nauthor Not Committed Yet\nprevious " + a + " f\nfilename f\n";
  expectSameHoweverCut(bytes, "b 1 10 2\na 3 1 1\nb 5 2 8\n0 12 12 1 new\n", readBlame);
}

TEST(GitBlameParser, refusesWhatIsNoBlame) {
  for (const std::string& bytes :
       {"\n"s, "x\n"s, a + "\n", a + " 1 1\n", a + " 1 1 0\n", a + " 0 1 1\n", a + " 1 1 1 1\n", a + " 1 -1 1\n",
        a + " 1 1 99999999999999999999\n", a + "1 1 1 1\n", a.substr(1) + " 1 1 1\n", a + " 1 1 1\n",
        a + " 1 1 1\nfilename x", a + " 1 1 1\nsummary x\n"}) {
    EXPECT_EQ(readBlame({bytes}), "error") << bytes;
  }
}

TEST(GitBlameReader, putsTheRunsInOrderAndJoinsNeighboursOfOneCommit) {
  GitBlameReader reader;
  ASSERT_TRUE(reader.feed(b + " 1 10 2\nfilename f\n" + a + " 3 1 1\nfilename f\n" + b + " 5 2 8\nfilename f\n" + none +
                          " 12 12 1\nfilename f\n"));
  ASSERT_TRUE(reader.finish());
  EXPECT_EQ(reader.hashes(), b + "\n" + a + "\n");
  auto logItem = [](const std::string& hash) {
    return QRBSourceControlLogItem::initWithAuthor({}, QRBSourceControlRevision::initWithIdentifier(hash), {}, "x", {});
  };
  EXPECT_FALSE(reader.items({logItem(b)})) << "one is missing";
  EXPECT_FALSE(reader.items({logItem(a), logItem(b)})) << "not those that were asked for";
  auto items = reader.items({logItem(b), logItem(a)});
  ASSERT_TRUE(items);
  std::vector<std::string> told;
  for (const auto& item : *items) {
    told.push_back(item->logItem()->revision()->identifier().str().substr(0, 1) + " " +
                   std::to_string(item->lineRange().location) + " " + std::to_string(item->lineRange().length));
  }
  EXPECT_THAT(told, ElementsAre("a 1 1", "b 2 10", " 12 1"));
}

TEST(GitIndexParser, readsTheSameHoweverTheStreamIsCut) {
  std::string bytes = "100644 "s + a + " 0\ta\tb\n\0"s + "160000 " + b + " 3\t-\0"s;
  expectSameHoweverCut(bytes, "33188 0 a\tb\n\n57344 3 -\n", readIndex);
}

TEST(GitIndexParser, refusesWhatIsNoEntry) {
  for (const std::string& bytes :
       {"\0"s, "x\0"s, "100644 x 0\0"s, "100644 x 0\t\0"s, "100644 x 4\tx\0"s, "10064x x 0\tx\0"s, "100644 x 0\tx"s,
        "100644\tx\0"s, " 0\tx\0"s, "999999 x 0\tx\0"s}) {
    EXPECT_EQ(readIndex({bytes}), "error") << testing::PrintToString(bytes);
  }
}

}  // namespace
