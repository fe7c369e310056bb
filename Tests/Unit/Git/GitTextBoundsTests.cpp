#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "GitBlameParser.h"
#include "GitParserDrivers.h"

using namespace std::string_literals;

namespace {

constexpr std::size_t bound = qrb::listedTextBounds.each;
const std::string commitHash(40, 'a');

std::string commit(const std::string& name, const std::string& message, const std::string& path) {
  return commitHash + "\0\0"s + "1700000000\0"s + name + "\0a@example.org\0"s + message + "\0\nM\0"s + path + "\0"s;
}

std::vector<std::string_view> cut(std::string_view bytes, std::size_t size) {
  std::vector<std::string_view> pieces;
  for (; bytes.size() > size; bytes.remove_prefix(size)) pieces.push_back(bytes.substr(0, size));
  pieces.push_back(bytes);
  return pieces;
}

TEST(GitTextBounds, shortenWhateverIsTooLongAtACharacterHoweverTheStreamIsCut) {
  std::string beginning(bound - 1, 'x');
  std::string log = commit(beginning + "ä", "m", "p") + commit("n", beginning + "€" + std::string(997, 'y'), "p") +
                    commit("n", "m", beginning + "\xff\xff\xff") + commit(beginning + "y", "m", "p");
  std::string refs = "refs/heads/" + beginning + "\0"s + commitHash + "\0 \0refs/heads/b\0\0\nrefs/heads/b\0"s +
                     commitHash + "\0*\0\0\0\n"s;
  std::string run = commitHash + " 1 1 1\n";
  std::string blame = run + "summary " + beginning + beginning + "\nfilename f\n" + run + "filename f\n";
  for (std::size_t size : {log.size(), bound, bound - 1, std::size_t{4099}, std::size_t{262144}}) {
    auto commits = readLog(cut(log, size)).values;
    ASSERT_EQ(commits.size(), 4u) << size;
    EXPECT_TRUE(commits[0].name == beginning + "… [2 bytes more]") << size;
    EXPECT_TRUE(commits[1].message == beginning + "… [1000 bytes more]") << size;
    EXPECT_TRUE(commits[2].changes.at(0).path == beginning + "… [3 bytes more]") << size;
    EXPECT_TRUE(commits[3].name == beginning + "y") << size;
    auto branches = readBranches(cut(refs, size)).values;
    ASSERT_EQ(branches.size(), 2u) << size;
    EXPECT_TRUE(branches[0].name == beginning.substr(11) + "x… [10 bytes more]") << size;
    EXPECT_EQ(branches[1].name, "b") << size;
    GitBlameParser parser;
    int runs = 0;
    for (std::string_view piece : cut(blame, size)) parser.feed(piece, [&](const GitBlameRecord&) { ++runs; });
    EXPECT_TRUE(parser.finish()) << size;
    EXPECT_EQ(runs, 2) << size;
  }
}

TEST(GitTextBounds, holdForManyLongTextsTogether) {
  std::string log = commit("n", std::string(bound, 'x'), "p");
  std::vector<std::string_view> pieces(200, log);
  std::size_t total = 0;
  for (const ReadCommit& read : readLog(pieces).values) total += read.message.size();
  EXPECT_GE(total, qrb::listedTextBounds.together);
  EXPECT_LE(total, qrb::listedTextBounds.together + pieces.size() * (qrb::TextAllowance::shortText + 100));
}

}  // namespace
