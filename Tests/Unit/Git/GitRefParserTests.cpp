#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "GitParserDrivers.h"
#include "GitTestRepository.h"

using namespace std::string_literals;
using testing::ElementsAre;

namespace {

std::string commitHash(40, 'c');

TEST(GitRefParser, readsTheSameHoweverTheStreamIsCut) {
  std::string bytes = "refs/heads/a/b\0"s + commitHash + "\0*\0refs/remotes/o/b\0\0\n"s + "refs/remotes/o/HEAD\0"s +
                      commitHash + "\0 \0\0refs/remotes/o/b\0\n"s + "refs/remotes/o/b\0"s + commitHash + "\0 \0\0\0\n"s;
  auto whole = readBranches({bytes});
  EXPECT_FALSE(whole.error);
  EXPECT_THAT(whole.values, ElementsAre(ReadBranch{"refs/heads/a/b", "a/b", commitHash, "refs/remotes/o/b", true},
                                        ReadBranch{"refs/remotes/o/b", "o/b", commitHash, "", false}));
  std::string_view view = bytes;
  for (std::size_t cut = 0; cut <= view.size(); ++cut) {
    auto halves = readBranches({view.substr(0, cut), view.substr(cut)});
    EXPECT_EQ(halves.values, whole.values) << cut;
    EXPECT_FALSE(halves.error) << cut;
  }
}

TEST(GitRefParser, refusesWhatIsNoBranch) {
  const std::string bad[] = {"\n"s,
                             "refs/heads/a\n"s,
                             "refs/heads/a\0"s + commitHash + "\0?\0\0\0\n"s,
                             "refs/heads/a\0abc\0*\0\0\0\n"s,
                             "\0"s + commitHash + "\0*\0\0\0\n"s,
                             "refs/heads/a\0"s + commitHash + "\0*\0\0\0more\n"s,
                             "refs/heads/a\0"s + commitHash + "\0*\0\0\0"s};
  for (const std::string& bytes : bad) {
    auto reading = readBranches({bytes});
    EXPECT_TRUE(reading.error) << testing::PrintToString(bytes);
    EXPECT_TRUE(reading.values.empty()) << testing::PrintToString(bytes);
  }
}

}  // namespace
