#include <filesystem>

#include "GitPlugInTesting.h"
#include "LongHistoryTesting.h"

namespace qrb::test {
namespace {

using testing::HasSubstr;
using Code = QRBSourceControlErrorCode;

class GitDiff : public GitPlugInTest {
 protected:
  static auto diffOf(const std::string& root, const QRBSourceControlRevisionLocationPtr& from,
                     const QRBSourceControlRevisionLocationPtr& against) {
    Reply<Dictionary> reply;
    manager()->diffRepository(repositoryAt(root), from, against, nullptr, reply.completion());
    return reply.wait();
  }
  /// The files of a comparison by path, which fails the test where there is an error.
  static std::map<std::string, Dictionary> filesOf(const std::string& root,
                                                   const QRBSourceControlRevisionLocationPtr& from,
                                                   const QRBSourceControlRevisionLocationPtr& against) {
    auto [diff, error] = diffOf(root, from, against);
    EXPECT_FALSE(error) << error.description();
    std::map<std::string, Dictionary> files;
    if (error) return files;
    for (const Dictionary& file : diff["files"].elements()) files[file["path"].string()] = file;
    return files;
  }
  static QRBSourceControlRevisionLocationPtr at(const QRBSourceControlRevisionPtr& revision) {
    return QRBSourceControlRevisionLocation::initWithRevision(revision);
  }
  static QRBSourceControlRevisionLocationPtr at(const std::string& text) { return at(revision(text)); }
  static QRBSourceControlRevisionLocationPtr workingCopy() {
    return at(QRBSourceControlRevision::sharedUnversionedRevision());
  }
  /// Everything that a comparison says, put together again in the forms that git itself prints.
  struct Texts {
    std::string raw;
    std::string counts;
    std::string patch;
    bool operator==(const Texts&) const = default;
  };
  static Texts textsOf(const Dictionary& diff) {
    auto text = [](const Dictionary& file, const char* key, const char* fallback) {
      return file.contains(key) ? file[key].string() : fallback;
    };
    std::map<std::string, std::string> letters{{"modified", "M"}, {"added", "A"},  {"deleted", "D"},
                                               {"renamed", "R"},  {"copied", "C"}, {"type-changed", "T"}};
    std::string zeros(40, '0');
    Texts texts;
    for (const Dictionary& file : diff["files"].elements()) {
      std::string path = file["path"].string();
      std::string original = text(file, "originalPath", "");
      std::string similarity = original.empty() ? "" : std::to_string(file["similarity"].integer());
      std::string paths = original.empty() ? path : original + '\0' + path;
      texts.raw += ":" + text(file, "oldMode", "000000") + " " + text(file, "newMode", "000000") + " " +
                   text(file, "oldObject", zeros.c_str()) + " " + text(file, "newObject", zeros.c_str()) + " " +
                   letters.at(file["change"].string()) +
                   (similarity.empty() ? "" : std::string(3 - similarity.size(), '0') + similarity) + '\0' + paths +
                   '\0';
      bool isBinary = file["isBinary"].boolean();
      texts.counts += (isBinary ? "-" : std::to_string(file["additions"].integer())) + "\t" +
                      (isBinary ? "-" : std::to_string(file["deletions"].integer())) + "\t" +
                      (original.empty() ? "" : std::string(1, '\0')) + paths + '\0';
      texts.patch += text(file, "patch", "left out");
    }
    return texts;
  }
  static Texts textsOfGit(GitRepository& repository, const std::string& from, const std::string& against) {
    auto diff = [&](std::vector<std::string> options) {
      options.insert(options.begin(), {"-c", "core.quotePath=false", "diff", "-M"});
      options.insert(options.end(), {from, against, "--"});
      return repository.tryRun(options).output;
    };
    return {diff({"--raw", "--no-abbrev", "-z"}), diff({"--numstat", "-z"}), diff({"--patch", "--full-index"})};
  }
};

TEST_F(GitDiff, aLongHistoryComparesAsGitComparesIt) {
  LongHistory history(60);
  GitRepository& repository = history.repository();
  const struct {
    const char* from;
    const char* against;
  } rows[] = {{"main~60", "main"},    {"main", "main~60"},    {"main~5", "main~4"},   {"side/10", "side/60"},
              {"main~20", "side/40"}, {"main~31", "main~30"}, {"main~24", "main~23"}, {"main~48", "main~47"},
              {"main~1", "main"},     {"main", "main"},       {"annotated", "loose"}};
  for (const auto& row : rows) {
    auto [diff, error] = diffOf(repository.root(), at(row.from), at(row.against));
    ASSERT_FALSE(error) << row.from << ": " << error.description();
    EXPECT_EQ(textsOf(diff), textsOfGit(repository, row.from, row.against)) << row.from << " against " << row.against;
    EXPECT_EQ(diff["from"], repository.run({"rev-parse", std::string(row.from) + "^{commit}"}));
    EXPECT_EQ(diff["against"], repository.run({"rev-parse", std::string(row.against) + "^{commit}"}));
  }
}

TEST_F(GitDiff, theSettingsOfAUserDoNotChangeWhatIsRead) {
  LongHistory history(40);
  GitRepository& repository = history.repository();
  auto before = std::get<0>(diffOf(repository.root(), at("main~30"), at("main")));
  for (const auto& [name, value] : std::map<std::string, std::string>{{"diff.noprefix", "true"},
                                                                      {"diff.mnemonicPrefix", "true"},
                                                                      {"color.ui", "always"},
                                                                      {"diff.submodule", "log"},
                                                                      {"diff.external", "touch pwned"},
                                                                      {"diff.relative", "true"},
                                                                      {"diff.renames", "copies"},
                                                                      {"diff.wsErrorHighlight", "all"},
                                                                      {"diff.colorMoved", "zebra"},
                                                                      {"diff.autoRefreshIndex", "false"},
                                                                      {"diff.text.textconv", "touch pwned; cat"}}) {
    repository.run({"config", name, value});
  }
  repository.write(".git/info/attributes", "* diff=text\n");
  EXPECT_EQ(std::get<0>(diffOf(repository.root(), at("main~30"), at("main"))), before);
  EXPECT_FALSE(std::filesystem::exists(repository.pathOf("pwned")));
}

TEST_F(GitDiff, uncommittedChangesCompareBothWays) {
  GitRepository repository;
  repository.write("changed", "1\n");
  repository.write("deleted", "1\n");
  repository.write("touched", "1\n");
  repository.commit("one");
  repository.write("changed", "1\n2\n");
  repository.write("staged", "another\n");
  repository.run({"add", "staged"});
  repository.write("untracked", "1\n");
  std::filesystem::remove(repository.pathOf("deleted"));
  std::filesystem::last_write_time(repository.pathOf("touched"),
                                   std::filesystem::file_time_type::clock::now() - std::chrono::hours(1));
  auto base = at(QRBSourceControlRevision::sharedBaseRevision());
  auto files = filesOf(repository.root(), base, workingCopy());
  ASSERT_EQ(files.size(), 3u);
  EXPECT_EQ(files.at("changed")["additions"], 1);
  EXPECT_EQ(files.at("deleted")["change"], "deleted");
  EXPECT_EQ(files.at("staged")["change"], "added");
  auto reversed = filesOf(repository.root(), workingCopy(), base);
  ASSERT_EQ(reversed.size(), 3u);
  EXPECT_EQ(reversed.at("changed")["deletions"], 1);
  EXPECT_EQ(reversed.at("deleted")["change"], "added");
  EXPECT_THAT(reversed.at("changed")["patch"].string(), HasSubstr("diff --git a/changed b/changed\n"));
}

TEST_F(GitDiff, anEnormousPatchIsLeftOutAndSaysSo) {
  GitRepository repository;
  repository.write("small", "1\n");
  repository.commit("one");
  std::string large;
  while (large.size() < (std::size_t{9} << 20)) large += "a line of some length " + std::to_string(large.size()) + "\n";
  repository.write("large", large);
  repository.write("small", "2\n");
  repository.commit("two");
  auto files = filesOf(repository.root(), at("HEAD^"), at("HEAD"));
  EXPECT_TRUE(files.at("large")["isPatchLeftOut"].boolean());
  EXPECT_FALSE(files.at("large").contains("patch"));
  EXPECT_EQ(files.at("large")["additions"].unsignedInteger(),
            static_cast<std::size_t>(std::count(large.begin(), large.end(), '\n')));
  EXPECT_THAT(files.at("small")["patch"].string(), HasSubstr("+2\n"));
}

}  // namespace
}  // namespace qrb::test
