#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "GitParserDrivers.h"
#include "GitTestRepository.h"
#include "QRBSourceControlHistoryTypes.h"

using namespace std::string_literals;
using testing::ElementsAre;

namespace {

std::string hashA(40, 'a');
const std::string hashB(40, 'b');

std::string header(const std::string& hash, const std::string& message) {
  return hash + "\0"s + hashB + "\0"s + "1700000000\0Ann\0ann@example.org\0"s + message + "\0"s;
}

std::string stream = header(hashA, "\nA\nmessage M a\n") + "\nM\0one\0R087\0from\0to\nhere\0D\0\xff\0"s +
                     header(hashB, "") + header(hashA, "x") + "\nA\0aaaa\0"s;

TEST(GitLogParser, readsCommitsWithAndWithoutPaths) {
  auto reading = readLog({stream});
  ASSERT_FALSE(reading.error) << reading.error->what;
  ReadCommit first{hashA,
                   hashB,
                   1700000000,
                   "Ann",
                   "ann@example.org",
                   "\nA\nmessage M a\n",
                   {{'M', "one", ""}, {'R', "to\nhere", "from"}, {'D', "\xff", ""}}};
  ReadCommit second{hashB, hashB, 1700000000, "Ann", "ann@example.org", "", {}};
  ReadCommit third{hashA, hashB, 1700000000, "Ann", "ann@example.org", "x", {{'A', "aaaa", ""}}};
  EXPECT_THAT(reading.values, ElementsAre(first, second, third));
}

TEST(GitLogParser, readsTheSameHoweverTheStreamIsCut) {
  auto whole = readLog({stream});
  ASSERT_EQ(whole.values.size(), 3u);
  std::string_view view = stream;
  for (std::size_t first = 0; first <= view.size(); ++first) {
    for (std::size_t second = first; second <= view.size(); second += 5) {
      auto pieces = readLog({view.substr(0, first), view.substr(first, second - first), view.substr(second)});
      ASSERT_EQ(pieces.values, whole.values) << "cut at " << first << " and " << second;
      ASSERT_FALSE(pieces.error) << "cut at " << first << " and " << second;
    }
  }
}

TEST(GitLogParser, handsOverACommitAsSoonAsTheNextOneBegins) {
  GitLogParser parser;
  std::size_t count = 0;
  auto sink = [&](const GitLogRecord&) { ++count; };
  EXPECT_TRUE(parser.feed(header(hashA, "x"), sink));
  EXPECT_EQ(count, 0u);
  EXPECT_TRUE(parser.feed("b", sink));
  EXPECT_EQ(count, 1u);
}

TEST(GitLogParser, readsDatesThatAreNoneAsTheEpoch) {
  const struct {
    std::string text;
    std::int64_t expected;
  } cases[] = {{"", 0}, {"0", 0}, {"-5", -5}, {"99999999999999999999", 0}, {"12x", 0}, {"253402300800", 253402300800}};
  for (const auto& [text, expected] : cases) {
    auto reading = readLog({hashA + "\0\0"s + text + "\0\0\0\0"s});
    ASSERT_EQ(reading.values.size(), 1u) << text;
    EXPECT_EQ(reading.values[0].date, expected) << text;
  }
}

TEST(GitLogParser, refusesWhatIsNoHistory) {
  const std::string bad[] = {"\0"s,
                             "fatal: bad\0"s,
                             std::string(40, 'G') + "\0"s,
                             hashA.substr(1) + "\0"s,
                             hashA,
                             hashA + "\0\0\0"s,
                             header(hashA, "x") + "\n"s,
                             header(hashA, "x") + "\nZ\0a\0"s,
                             header(hashA, "x") + "\nM1000\0a\0"s,
                             header(hashA, "x") + "\nM\0\0"s,
                             header(hashA, "x") + "\nM\0a"s,
                             header(hashA, "x") + "\nR100\0a\0"s,
                             header(hashA, "x") + "\nM\0a\0Q\0b\0"s};
  std::string good = header(hashB, "fine");
  for (const std::string& bytes : bad) {
    std::string whole = good + bytes;
    auto reading = readLog({whole});
    ASSERT_TRUE(reading.error) << testing::PrintToString(bytes);
    EXPECT_GE(reading.error->offset, good.size()) << testing::PrintToString(bytes);
    EXPECT_LE(reading.error->offset, whole.size()) << testing::PrintToString(bytes);
    for (const ReadCommit& commit : reading.values) EXPECT_EQ(commit.message, "fine") << testing::PrintToString(bytes);
  }
}

TEST(GitNameStatusParser, readsTheSameHoweverTheStreamIsCut) {
  std::string bytes = "M\0a\0R100\0old\0new\0T\0t\0"s;
  auto whole = readChanges({bytes});
  EXPECT_THAT(whole.values,
              ElementsAre(ReadChange{'M', "a", ""}, ReadChange{'R', "new", "old"}, ReadChange{'T', "t", ""}));
  std::string_view view = bytes;
  for (std::size_t cut = 0; cut <= view.size(); ++cut) {
    EXPECT_EQ(readChanges({view.substr(0, cut), view.substr(cut)}).values, whole.values) << cut;
  }
  for (const std::string& bad : {"M"s, "M\0"s, "M\0a"s, "R1\0a\0"s, "\0"s, "m\0a\0"s, "M\0\0"s, "C\0a\0\0"s}) {
    EXPECT_TRUE(readChanges({bad}).error) << testing::PrintToString(bad);
  }
}

class GitHistoryOfRepository : public testing::Test {
 protected:
  std::vector<ReadCommit> history(const GitHistoryRequest& request) {
    GitTestResult result = repository.run(gitHistoryCommand(request));
    EXPECT_EQ(result.exitCode, 0) << result.errorOutput;
    auto reading = readLog({result.output});
    EXPECT_FALSE(reading.error) << reading.error->what;
    return reading.values;
  }

  GitTestRepository repository;
};

TEST_F(GitHistoryOfRepository, survivesCommitsThatNoToolShouldMake) {
  repository.write("file", "x");
  repository.commit("sound");
  std::string tree = "tree " + repository.git({"rev-parse", "HEAD^{tree}"}) + "\n";
  const std::string raw[] = {
      tree + "author A <a@b> 1 +0000\ncommitter A <a@b> 1 +0000\n\nbefore \0 A\0after\n"s,
      tree + "author  <> 99999999999999999999 +0000\ncommitter A <a@b> 1 +0000\n\nfar future\n",
      tree + "committer A <a@b> 1 +0000\n\nno author\n",
      tree + "author A\ncommitter A\n\nno address\n",
      tree + "author A <a@b> 1 +0000\ncommitter A <a@b> 1 +0000\nencoding UTF-7\n\n+AAA-zero+AAE-\n",
      tree + "author A <a@b> 1 +0000\ncommitter A <a@b> 1 +0000\n",
  };
  for (const std::string& bytes : raw) {
    GitHistoryRequest request;
    request.from = repository.commitRaw(bytes);
    auto commits = history(request);
    ASSERT_EQ(commits.size(), 1u) << bytes;
    EXPECT_EQ(commits[0].hash, request.from);
    EXPECT_THAT(commits[0].changes, ElementsAre(ReadChange{'A', "file", ""})) << bytes;
  }
  GitHistoryRequest request;
  request.from =
      repository.commitRaw(tree + "author \xe9 <\xff@b> 1 +0000\ncommitter A <a@b> 1 +0000\n\ncaf\xe9 not utf-8\n");
  ReadCommit expected{request.from, "", 1, "\xe9", "\xff@b", "caf\xe9 not utf-8\n", {{'A', "file", ""}}};
  EXPECT_THAT(history(request), ElementsAre(expected));
}

TEST_F(GitHistoryOfRepository, tellsRenamesCopiesOfTypeAndMerges) {
  std::string lines = "1\n2\n3\n4\n5\n6\n7\n8\n";
  repository.write("old", lines);
  repository.commit("base");
  repository.git({"mv", "old", "new"});
  repository.write("new", lines + "9\n");
  repository.commit("rename");
  std::filesystem::remove(repository.root() / "new");
  std::filesystem::create_symlink("x", repository.root() / "new");
  std::string main = repository.commit("type");
  for (const char* side : {"one", "two"}) {
    repository.git({"checkout", "-q", "-b", side, "main"});
    repository.write(side, "x");
    repository.commit(side);
  }
  repository.git({"checkout", "-q", "main"});
  repository.git({"merge", "-q", "--no-ff", "-m", "octopus", "one", "two"});
  auto commits = history({});
  ASSERT_EQ(commits.size(), 6u);
  EXPECT_EQ(commits[0].message, "octopus\n");
  EXPECT_EQ(commits[0].parents.size(), 3 * 40u + 2);
  EXPECT_TRUE(commits[0].changes.empty());
  EXPECT_THAT(commits[3].changes, ElementsAre(ReadChange{'T', "new", ""}));
  EXPECT_THAT(commits[4].changes, ElementsAre(ReadChange{'R', "new", "old"}));

  GitHistoryRequest firstParent;
  firstParent.inclusionType = QRBSourceControlHistoryFirstParentOnly;
  auto line = history(firstParent);
  ASSERT_EQ(line.size(), 4u);
  EXPECT_THAT(line[0].changes, ElementsAre(ReadChange{'A', "one", ""}, ReadChange{'A', "two", ""}));

  GitHistoryRequest withoutMerges;
  withoutMerges.inclusionType = QRBSourceControlHistoryWithoutMerges;
  EXPECT_EQ(history(withoutMerges).size(), 5u);
}

TEST_F(GitHistoryOfRepository, readsTheSameUnderAUsersOwnSettings) {
  repository.write("folder/file", "x");
  repository.commit("one");
  auto plain = history({});
  for (const char* setting : {"log.showSignature=true", "log.showRoot=false", "log.follow=true", "log.date=relative",
                              "color.ui=always", "diff.renames=false", "diff.relative=true", "log.decorate=full",
                              "log.abbrevCommit=true", "format.pretty=oneline", "diff.noprefix=true",
                              "core.quotePath=true", "i18n.logOutputEncoding=latin1", "log.diffMerges=on"}) {
    std::string text = setting;
    std::string name = text.substr(0, text.find('='));
    repository.git({"config", name, text.substr(text.find('=') + 1)});
    EXPECT_EQ(history({}), plain) << setting;
    repository.git({"config", "--unset", name});
  }
}

}  // namespace
