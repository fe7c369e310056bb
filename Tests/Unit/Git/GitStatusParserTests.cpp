#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "GitParserDrivers.h"
#include "GitTestRepository.h"
#include "QRBSourceControlStatusValues.h"

using namespace std::string_literals;

namespace {

std::string hash(40, 'a');
const std::string modes = "100644 100644 100644 ";

std::string changed(const std::string& letters, const std::string& submodule, const std::string& path) {
  return "1 " + letters + " " + submodule + " " + modes + hash + " " + hash + " " + path + "\0"s;
}

std::string unmerged(const std::string& letters, const std::string& path) {
  return "u " + letters + " N... " + modes + "100644 " + hash + " " + hash + " " + hash + " " + path + "\0"s;
}

TEST(GitStatusParser, readsEveryKindOfLine) {
  const struct {
    std::string bytes;
    ReadStatus expected;
  } cases[] = {
      {changed("M.", "N...", "a"), {QRBSourceControlStatusStagedModified, "a", ""}},
      {changed(".M", "N...", "a b"), {QRBSourceControlStatusModified, "a b", ""}},
      {changed("AM", "N...", "a"), {QRBSourceControlStatusStagedAdded | QRBSourceControlStatusModified, "a", ""}},
      {changed("DA", "N...", "a"), {QRBSourceControlStatusStagedDeleted | QRBSourceControlStatusAdded, "a", ""}},
      {changed("TT", "N...", "a"),
       {QRBSourceControlStatusStagedTypeChanged | QRBSourceControlStatusTypeChanged, "a", ""}},
      {changed(".M", "SC.U", "sub"),
       {QRBSourceControlStatusModified | QRBSourceControlStatusSubmodule | QRBSourceControlStatusSubmoduleNewCommits |
            QRBSourceControlStatusSubmoduleUntrackedContent,
        "sub", ""}},
      {changed(".M", "S.M.", "sub"),
       {QRBSourceControlStatusModified | QRBSourceControlStatusSubmodule |
            QRBSourceControlStatusSubmoduleModifiedContent,
        "sub", ""}},
      {"2 R. N... " + modes + hash + " " + hash + " R87 new\nname\0old 1 M. name\0"s,
       {QRBSourceControlStatusStagedRenamed, "new\nname", "old 1 M. name", 87}},
      {"2 .C N... " + modes + hash + " " + hash + " C100 copy\0file\0"s,
       {QRBSourceControlStatusCopied, "copy", "file", 100}},
      {unmerged("UU", "x"), {QRBSourceControlStatusConflicted | QRBSourceControlStatusConflictBothModified, "x", ""}},
      {unmerged("AA", "x"), {QRBSourceControlStatusConflicted | QRBSourceControlStatusConflictBothAdded, "x", ""}},
      {unmerged("DD", "x"), {QRBSourceControlStatusConflicted | QRBSourceControlStatusConflictBothDeleted, "x", ""}},
      {unmerged("AU", "x"), {QRBSourceControlStatusConflicted | QRBSourceControlStatusConflictAddedByUs, "x", ""}},
      {unmerged("UA", "x"), {QRBSourceControlStatusConflicted | QRBSourceControlStatusConflictAddedByThem, "x", ""}},
      {unmerged("DU", "x"), {QRBSourceControlStatusConflicted | QRBSourceControlStatusConflictDeletedByUs, "x", ""}},
      {unmerged("UD", "x"), {QRBSourceControlStatusConflicted | QRBSourceControlStatusConflictDeletedByThem, "x", ""}},
      {"? \xff\xfe\0"s, {QRBSourceControlStatusUntracked, "\xff\xfe", ""}},
      {"? folder/\0"s, {QRBSourceControlStatusUntracked | QRBSourceControlStatusDirectory, "folder", ""}},
      {"! -x/\0"s, {QRBSourceControlStatusIgnored | QRBSourceControlStatusDirectory, "-x", ""}},
      {"# branch.ab +1 -2\0"s, {0, "branch.ab", "+1 -2"}},
      {"1 M. N... " + modes + std::string(64, 'b') + " " + std::string(64, 'b') + " long hashes\0"s,
       {QRBSourceControlStatusStagedModified, "long hashes", ""}},
  };
  for (const auto& [bytes, expected] : cases) {
    auto reading = readStatus({bytes});
    EXPECT_FALSE(reading.error) << testing::PrintToString(bytes) << (reading.error ? reading.error->what : "");
    ASSERT_EQ(reading.values.size(), 1u) << testing::PrintToString(bytes);
    EXPECT_EQ(reading.values[0], expected) << testing::PrintToString(bytes);
  }
}

TEST(GitStatusParser, saysWhereMalformedOutputBegins) {
  std::string good = changed("M.", "N...", "a");
  const std::string bad[] = {
      "\0"s,
      "1\0"s,
      "x y\0"s,
      "1 M.\0"s,
      changed("Z.", "N...", "a"),
      changed("M.", "Nxyz", "a"),
      changed("M.", "SX..", "a"),
      changed("M.", "N...", ""),
      unmerged("MM", "a"),
      "1 M. N... " + modes + "abc " + hash + " a\0"s,
      "1 M. N... 100644 100644 " + hash + " " + hash + " a\0"s,
      "2 R. N... " + modes + hash + " " + hash + " R101 a\0b\0"s,
      "2 R. N... " + modes + hash + " " + hash + " a\0b\0"s,
      "2 R. N... " + modes + hash + " " + hash + " R100 a\0\0"s,
      "? \0"s,
      "?\0"s,
      "#\0"s,
      "1 M. N... " + modes,
      "2 R. N... " + modes + hash + " " + hash + " R100 a\0b"s,
      "2 R. N... " + modes + hash + " " + hash + " R100 a\0"s,
  };
  for (const std::string& bytes : bad) {
    std::string stream = good + bytes;
    auto reading = readStatus({stream});
    EXPECT_EQ(reading.values.size(), 1u) << testing::PrintToString(bytes);
    ASSERT_TRUE(reading.error) << testing::PrintToString(bytes);
    EXPECT_EQ(reading.error->offset, good.size()) << testing::PrintToString(bytes);
    EXPECT_FALSE(reading.error->what.empty());
  }
}

TEST(GitStatusParser, readsTheSameHoweverTheStreamIsCut) {
  std::string stream = changed("M.", "N...", "a") + "2 R. N... " + modes + hash + " " + hash + " R87 new\0old\0"s +
                       unmerged("UU", "conflict") + "? untracked/\0! ignored\0"s;
  auto whole = readStatus({stream});
  ASSERT_EQ(whole.values.size(), 5u);
  ASSERT_FALSE(whole.error);
  std::string_view view = stream;
  for (std::size_t cut = 0; cut <= view.size(); ++cut) {
    auto halves = readStatus({view.substr(0, cut), view.substr(cut)});
    EXPECT_EQ(halves.values, whole.values) << "cut at " << cut;
    EXPECT_FALSE(halves.error) << "cut at " << cut;
  }
  for (std::size_t size : {1u, 2u, 3u, 7u, 100u}) {
    std::vector<std::string_view> pieces;
    for (std::size_t begin = 0; begin < view.size(); begin += size) pieces.push_back(view.substr(begin, size));
    EXPECT_EQ(readStatus(pieces).values, whole.values) << "pieces of " << size;
  }
}

}  // namespace
