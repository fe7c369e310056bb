#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>
#include <vector>

#include "Localization.h"
#include "PathString.h"
#include "PercentCoding.h"
#include "RegularExpression.h"
#include "UUIDString.h"
#include "UnicodeText.h"

namespace qrb {
namespace {

using namespace std::string_view_literals;

TEST(Format, FillsPlaceholdersInOrderAndShowsWhatIsAbsent) {
  EXPECT_EQ(format("%@ and %@", {"a", "b"}), "a and b");
  EXPECT_EQ(format("%@ and %@", {"%@", "b"}), "%@ and b");
  EXPECT_EQ(format("%@-%@", {String(), ""}), "(null)-");
  EXPECT_EQ(format("%@ %@ %d", {"a"}), "a %@ %d");
  EXPECT_EQ(format("none", {"a"}), "none");
}

std::string group(const RegularExpression& expression, std::string_view text, std::size_t number) {
  auto groups = expression.firstMatch(text);
  if (!groups) return "no match";
  if (!(*groups)[number]) return "no part";
  return std::string(text.substr((*groups)[number]->location, (*groups)[number]->length));
}

TEST(RegularExpression, TellsAGroupWithoutPartFromAnEmptyOne) {
  RegularExpression expression("^(a)?(b*)(c)$", RegularExpression::Case::insensitive);
  EXPECT_EQ(group(expression, "AC", 1), "A");
  EXPECT_EQ(group(expression, "c", 1), "no part");
  EXPECT_EQ(group(expression, "c", 2), "");
  EXPECT_EQ(group(expression, "", 0), "no match");
  EXPECT_EQ(group(expression, std::string_view(), 0), "no match");
}

TEST(RegularExpression, MatchesBytesThatAreNoText) {
  RegularExpression expression("^(.+):(.*)$");
  EXPECT_EQ(group(expression, "\xff\xfe:\xe9", 2), "\xe9");
  EXPECT_EQ(group(expression, "a\0b:c"sv, 1), "a\0b"sv);
}

TEST(RegularExpression, ServesSeveralThreadsAtOnce) {
  RegularExpression expression("^(x+)(y+)$");
  std::vector<std::thread> threads;
  std::vector<int> wrong(4);
  for (std::size_t thread = 0; thread < wrong.size(); ++thread) {
    threads.emplace_back([&, thread] {
      for (std::size_t length = 1; length < 300; ++length) {
        std::string text = std::string(length, 'x') + std::string(thread + 1, 'y');
        if (group(expression, text, 1).size() != length || group(expression, text, 2).size() != thread + 1) {
          ++wrong[thread];
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_THAT(wrong, testing::Each(0));
}

TEST(PathString, IsStandardizedWithoutClimbingAboveTheRoot) {
  const std::pair<const char*, const char*> cases[] = {
      {"/a/./b/../c//d/", "/a/c/d"},
      {"/../../a", "/a"},
      {"/", "/"},
      {"//", "/"},
      {"/..", "/"},
      {"a/../../b", "../b"},
      {"a/b/..", "a"},
      {"\xff/./x", "\xff/x"},
      {"a/..", "."},
      {"", ""},
  };
  for (const auto& [path, expected] : cases) EXPECT_EQ(standardizedPath(path), expected) << path;
}

TEST(PathString, IsTakenApart) {
  struct Case {
    const char *path, *last, *folder, *withoutExtension;
  };
  const Case cases[] = {
      {"/a/b.c", "b.c", "/a", "/a/b"},
      {"/a", "a", "/", "/a"},
      {"/", "/", "/", "/"},
      {"a", "a", "", "a"},
      {"a/b/", "b", "a", "a/b"},
      {"", "", "", ""},
      {"a//b", "b", "a", "a//b"},
      {"x/.hidden", ".hidden", "x", "x/.hidden"},
      {"a.b.git", "a.b.git", "", "a.b"},
      {"d.x/name", "name", "d.x", "d.x/name"},
      {"end.", "end.", "", "end."},
  };
  for (const Case& each : cases) {
    EXPECT_EQ(lastPathComponent(each.path), each.last) << each.path;
    EXPECT_EQ(deletingLastPathComponent(each.path), each.folder) << each.path;
    EXPECT_EQ(deletingPathExtension(each.path), each.withoutExtension) << each.path;
  }
}

TEST(PathString, IsJoinedByOneSlash) {
  struct Case {
    const char *path, *component, *joined;
  };
  const Case cases[] = {{"a", "b", "a/b"}, {"a/", "/b/", "a/b"},     {"/", "b", "/b"},
                        {"", "b", "b"},    {"", "/b", "/b"},         {"a", "", "a"},
                        {"a/", "", "a"},   {"..", "/x/y", "../x/y"}, {"/", "/", "/"}};
  for (const Case& each : cases) EXPECT_EQ(appendingPathComponent(each.path, each.component), each.joined);
}

TEST(PercentCoding, RoundTripsEveryByte) {
  std::string bytes;
  for (int byte = 0; byte < 256; ++byte) bytes += static_cast<char>(byte);
  EXPECT_EQ(percentDecoded(percentEncodedPath(bytes)), bytes);
  EXPECT_EQ(percentDecoded(percentEncodedPath(bytes, true)), bytes);
  EXPECT_EQ(percentEncodedPath("a/b c%"), "a/b%20c%25");
  EXPECT_EQ(percentEncodedPath("a/b", true), "a%2Fb");
}

TEST(PercentCoding, LeavesWhatIsNoEscape) {
  for (const char* text : {"%", "%4", "%zz", "100%", "%-1", "%+1", "% 1"}) EXPECT_EQ(percentDecoded(text), text);
  EXPECT_EQ(percentDecoded("%41%e9%4"), "A\xe9%4");
}

struct SearchCase {
  std::string_view term;
  std::string_view text;
  std::optional<TextRange> range;
};

TEST(TextSearch, IgnoresCaseAndMarksAndAnswersInBytesOfTheText) {
  const SearchCase cases[] = {
      {"ABC", "xabcx", TextRange{1, 3}},
      {"résumé", "Resume notes", TextRange{0, 6}},
      {"resume", "my RE\xcc\x81SUME\xcc\x81!", TextRange{3, 10}},
      {"e", "x\xc3\xa9y", TextRange{1, 2}},
      {"STRASSE", "die Straße", TextRange{4, 7}},
      {"ΣΑΣ", "σας", TextRange{0, 6}},
      {"a\xcc\x8a", "\xc3\x85", TextRange{0, 2}},
      {"missing", "text", std::nullopt},
      {"longer than", "the text", std::nullopt},
      {"", "text", std::nullopt},
      {"\xcc\x81", "e\xcc\x81", std::nullopt},
      {"x", "", std::nullopt},
      // Half of a letter is no place in the text.
      {"s", "ß", std::nullopt},
      {"s", "ßs", TextRange{2, 1}},
      // Bytes that are no text.
      {"\xff", "a\xfe\xff", TextRange{2, 1}},
      {"b",
       "\xc3"
       "b",
       TextRange{1, 1}},
  };
  for (const SearchCase& each : cases) {
    EXPECT_EQ(caseAndDiacriticInsensitiveFind(each.term, each.text), each.range) << each.term << " in " << each.text;
  }
}

TEST(Text, FoldsCaseAndComposition) {
  EXPECT_EQ(caseFolded("ABC/x"), "abc/x");
  EXPECT_EQ(caseFolded("U\xcc\x88"
                       "BER"),
            caseFolded("\xc3\xbc"
                       "ber"));
  EXPECT_EQ(caseFolded("Stra\xc3\x9f"
                       "e"),
            caseFolded("STRASSE"));
  EXPECT_NE(caseFolded("resume"), caseFolded("r\xc3\xa9sum\xc3\xa9"));
  EXPECT_EQ(caseFolded("A\xff\xc3\x9c"), caseFolded("a\xff\xc3\xbc"));
  EXPECT_NE(caseFolded("A\xff"), caseFolded("a\xfe"));
}

}  // namespace
}  // namespace qrb
