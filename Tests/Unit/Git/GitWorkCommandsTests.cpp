#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "GitCheckoutCommands.h"
#include "GitCommitCommands.h"
#include "GitContentCommands.h"
#include "GitFileCommands.h"
#include "GitFilePaths.h"
#include "GitPrograms.h"
#include "GitTestRepository.h"

using namespace std::string_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;
using testing::Pair;

namespace {

namespace fs = std::filesystem;

TEST(GitFilePaths, areToldFromTheRootHoweverTheyAreNamed) {
  GitTestRepository repository;
  std::string root = repository.root().string();
  fs::create_directory_symlink(root, root + "-link");
  repository.write("folder/file", "");
  const struct {
    std::string root;
    std::string file;
    std::string path;
  } cases[] = {
      {root, "a", "a"},
      {root, "./a//b/./c/", "a/b/c"},
      {root, "a/../b", "b"},
      {root, ".", "."},
      {root, "a/..", "."},
      {root, "..a/...", "..a/..."},
      {root, "-a", "-a"},
      {root, "a\nb\xff", "a\nb\xff"},
      {root, ".gitignore", ".gitignore"},
      {root, "x.git/y", "x.git/y"},
      {root, root, "."},
      {root, root + "/", "."},
      {root, root + "/a/../b", "b"},
      {root + "/", root + "/a", "a"},
      {root + "-link", root + "/folder/file", "folder/file"},
      {root + "-link", root + "/not/there", "not/there"},
      {root, root + "-link/folder/file", "folder/file"},
      {"/", "/etc/passwd", "etc/passwd"},
  };
  for (const auto& each : cases) {
    std::string path;
    EXPECT_TRUE(gitResolvePath(each.root, each.file, path)) << each.file;
    EXPECT_EQ(path, each.path) << each.file;
  }
  const std::string refused[] = {""s,
                                 "a\0b"s,
                                 "..",
                                 "a/../..",
                                 "../" + repository.root().filename().string(),
                                 "/",
                                 root + "x",
                                 root + "/..",
                                 root + "/../x",
                                 "/etc/passwd",
                                 ".git",
                                 "a/.git/b",
                                 ".GIT",
                                 root + "/.git/config",
                                 "/.."};
  for (const std::string& file : refused) {
    std::string path;
    GitOutcome outcome = gitResolvePath(root, file, path);
    EXPECT_FALSE(outcome) << file;
    EXPECT_THAT(outcome.failure.message, testing::HasSubstr("“")) << file;
  }
  fs::remove(root + "-link");
}

TEST(GitPathSet, findsFilesByThemselvesAndByTheirFolders) {
  std::vector<std::string> paths = {"a", "folder", "folder/deep/file"};
  GitPathSet set(paths);
  auto found = [](const GitPathSet& in, std::string_view path) {
    std::vector<std::size_t> places;
    in.find(path, [&](std::size_t place) { places.push_back(place); });
    return places;
  };
  EXPECT_THAT(found(set, "a"), ElementsAre(0));
  EXPECT_THAT(found(set, "a/b"), ElementsAre(0));
  EXPECT_THAT(found(set, "ab"), ElementsAre());
  EXPECT_THAT(found(set, "folder/deep/file"), ElementsAre(2, 1));
  EXPECT_THAT(found(set, "folder/deep/file2"), ElementsAre(1));
  EXPECT_THAT(found(set, "folders"), ElementsAre());
  std::vector<std::string> all = {"x", "."};
  EXPECT_THAT(found(GitPathSet(all), "x/y"), ElementsAre(0, 1));
  EXPECT_THAT(found(GitPathSet(all), "z"), ElementsAre(1));
}

TEST(GitWorkCommands, whatRunsHooksSetsNothingForTheGitOfTheHooks) {
  for (const GitCommand& command :
       {gitCommitCommand({"x", {"y"}}), gitMergeCommand("x"), gitSwitchToBranchCommand("x")}) {
    EXPECT_TRUE(command.runsHooks);
    EXPECT_EQ(command.access, GitAccess::write);
    EXPECT_THAT(command.arguments, Not(Contains("--literal-pathspecs")));
  }
}

TEST(GitPrograms, ofTheRepositoryGiveWayToThoseOfTheUser) {
  auto setting = [](const char* scope, const char* key, const char* value) {
    return scope + "\0"s + key + "\n" + value + "\0"s;
  };
  const std::string listing =
      setting("global", "filter.both.clean", "mine") + setting("local", "filter.both.clean", "theirs") +
      setting("global", "filter.mine.clean", "mine") + setting("worktree", "filter.a=b.process", "theirs") +
      setting("local", "filter.a=b.required", "true") + setting("local", "filter.alone.required\0local\0x", "") +
      setting("system", "credential.helper", "one") + setting("local", "credential.helper", "theirs") +
      setting("global", "credential.helper", "two") + setting("local", "core.sshcommand", "theirs");
  GitNeutralization found = gitNeutralizePrograms(listing);
  EXPECT_THAT(found.settings, Contains(Pair("filter.both.clean", "mine")));
  EXPECT_THAT(found.settings, Contains(Pair("filter.a=b.process", "")));
  EXPECT_THAT(found.settings, Contains(Pair("filter.a=b.required", "false")));
  EXPECT_THAT(found.settings, Contains(Pair("core.sshcommand", "ssh")));
  EXPECT_THAT(found.settings, Not(Contains(Pair("filter.mine.clean", testing::_))));
  std::vector<std::string> helpers;
  for (const auto& [key, value] : found.settings) {
    if (key == "credential.helper") helpers.push_back(value);
  }
  EXPECT_THAT(helpers, ElementsAre("", "one", "two"));
  EXPECT_TRUE(found.variables.empty());
  EXPECT_THAT(gitNeutralizePrograms(setting("local", "core.gitproxy", "x")).variables,
              ElementsAre(Pair("GIT_PROXY_COMMAND", "")));
  EXPECT_TRUE(gitNeutralizePrograms(setting("global", "core.gitproxy", "x")).variables.empty());
}

}  // namespace
