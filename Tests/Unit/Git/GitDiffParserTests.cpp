#include "GitDiffParser.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "GitDiffCommands.h"
#include "GitTestRepository.h"

using testing::HasSubstr;

namespace {

struct ReadDiff {
  std::vector<GitDiffFile> files;
  std::optional<qrb::ParseError> error;
};

ReadDiff readDiff(const std::vector<std::string_view>& pieces) {
  GitDiffParser parser;
  for (std::string_view piece : pieces) parser.feed(piece);
  bool isWhole = parser.finish();
  EXPECT_EQ(isWhole, !parser.error());
  return {std::move(parser.files()), parser.error()};
}

std::string object(40, 'a');
const std::string noObject(40, '0');
const std::string change = ":100644 100644 " + object + " " + object + " ";

std::string with(std::string text) {
  for (char& byte : text) {
    if (byte == '|') byte = '\0';
  }
  return text;
}

TEST(GitDiffParser, readsTheSameHoweverTheOutputIsCut) {
  GitTestRepository repository;
  repository.write("text", "1\n2\n3\n");
  repository.write("becomes-link", "x\n");
  repository.write("moves", "a text that is long enough\nto be known again\n");
  repository.write("binary", std::string("\0\1", 2));
  std::string first = repository.commit("one");
  repository.write("text", "1\ndiff --git a/text b/text\n");
  repository.write("binary", std::string("\0\2", 2));
  repository.write("\xff\t\n", "new");
  std::filesystem::remove(repository.root() / "becomes-link");
  std::filesystem::create_symlink("text", repository.root() / "becomes-link");
  repository.git({"mv", "moves", "moved"});
  std::string second = repository.commit("two");
  auto command = gitDiffCommand({GitDiffSide::Kind::commit, first}, {GitDiffSide::Kind::commit, second});
  ASSERT_TRUE(command);
  std::string output = repository.run(*command).output;
  ReadDiff whole = readDiff({output});
  ASSERT_FALSE(whole.error) << whole.error->what;
  std::map<std::string, GitDiffFile> files;
  for (const GitDiffFile& file : whole.files) files[file.path] = file;
  ASSERT_EQ(files.size(), 5u);
  EXPECT_EQ(files["text"].deletions, 2u);
  EXPECT_THAT(files["text"].patch, HasSubstr("\n+diff --git a/text b/text\n")) << "a line of a file is no beginning";
  EXPECT_EQ(files["moved"].originalPath, "moves");
  EXPECT_EQ(files["moved"].similarity, 100);
  EXPECT_TRUE(files["binary"].isBinary);
  EXPECT_EQ(files["becomes-link"].letter, 'T');
  EXPECT_THAT(files["becomes-link"].patch, HasSubstr("new file mode 120000")) << "both halves belong to it";
  EXPECT_EQ(files["\xff\t\n"].additions, 1u);
  std::string_view bytes(output);
  for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
    ReadDiff cutOnce = readDiff({bytes.substr(0, cut), bytes.substr(cut)});
    ASSERT_EQ(cutOnce.files, whole.files) << "cut at " << cut;
    // What ends anywhere but at the end of a line of the last patch is told as such.
    if (cut == 0 || cut == bytes.size() || bytes[cut - 1] == '\n') continue;
    EXPECT_TRUE(readDiff({bytes.substr(0, cut)}).error) << cut;
  }
}

TEST(GitDiffParser, refusesWhatIsNotGits) {
  std::string patch = "diff --git a/f b/f\n";
  const std::string texts[] = {
      "x",
      "|",
      "|x\n",
      ":100644 100644 a b M|f|",
      ":10064x 100644 " + object + " " + object + " M|f|1\t1\tf||" + patch,
      change + "X|f|1\t1\tf||" + patch,
      change + "M||1\t1\tf||" + patch,
      change + "M|f||" + patch,
      change + "M|f|1\t1\tother||" + patch,
      change + "M|f|1\tx\tf||" + patch,
      change + "M|f|99999999999999999999\t1\tf||" + patch,
      change + "M|f|1\t1\t|f|f||" + patch,
      change + "M|f|1\t1\tf|1\t1\tf||" + patch,
      change + "M|f|1\t1\tf|" + change + "M|g||" + patch,
      change + "M|f|1\t1\tf|",
      change + "M|f|1\t1\tf||",
      change + "M|f|1\t1\tf||+x\n",
      change + "M|f|1\t1\tf||" + patch + "+unfinished",
      change + "M|f|1\t1\tf||" + patch + patch,
      change + "T|f|1\t1\tf||" + patch,
      change + "R100|f|g|1\t1\t|g|f||" + patch,
  };
  for (const std::string& text : texts) {
    std::string bytes = with(text);
    if (bytes == std::string(1, '\0')) {
      EXPECT_FALSE(readDiff({bytes}).error) << "no files and no patches";
      continue;
    }
    ReadDiff reading = readDiff({bytes});
    ASSERT_TRUE(reading.error) << text;
    EXPECT_LE(reading.error->offset, bytes.size()) << text;
  }
  EXPECT_TRUE(readDiff({}).files.empty());
}

TEST(GitDiffParser, keepsNoMoreOfPatchesThanItPromises) {
  std::string head = with(change + "M|f|1\t1\tf||diff --git a/f b/f\n");
  std::string line = "+" + std::string(1 << 20, 'x') + "\n";
  std::vector<std::string_view> pieces{head};
  for (std::size_t size = 0; size < GitDiffParser::maximumPatch; size += line.size()) pieces.push_back(line);
  ReadDiff reading = readDiff(pieces);
  ASSERT_EQ(reading.files.size(), 1u);
  EXPECT_TRUE(reading.files[0].isPatchLeftOut);
  EXPECT_TRUE(reading.files[0].patch.empty());
  EXPECT_FALSE(reading.error);
}

}  // namespace
