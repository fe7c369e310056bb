#include "GitRepositoryTrust.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <ostream>
#include <string>

#include "GitRepository.h"
#include "GitTestRepository.h"
#include "GitUserFilters.h"

namespace qrb::test {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

std::string evil = "\n[filter \"evil\"]\n\tclean = touch mark\n";

/// A repository in each of the forms that git knows, to be looked at in `folder`; its own files are in `store`.
struct Place {
  std::string folder;
  std::string store;
};

class GitRepositoryTrustTest : public testing::Test {
 protected:
  void SetUp() override {
    _repository.write("file", "1");
    _repository.commit("one");
    _repository.run({"worktree", "add", "-q", pathOf("linked")});
    _repository.run({"clone", "-q", "--bare", ".", pathOf("bare")});
    GitRepository inner;
    inner.commit("inner");
    _repository.run({"-c", "protocol.file.allow=always", "submodule", "--quiet", "add", inner.root(), "sub"});
  }
  std::string pathOf(const std::string& name) const { return _repository.pathOf(name); }
  Place plain() const { return {_repository.root(), pathOf(".git")}; }
  Place linked() const { return {pathOf("linked"), pathOf(".git/worktrees/linked")}; }
  Place submodule() const { return {pathOf("sub"), pathOf(".git/modules/sub")}; }
  Place bare() const { return {pathOf("bare"), pathOf("bare")}; }

  GitRepository _repository;
};

void write(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

TEST_F(GitRepositoryTrustTest, plainOnesAreKnownByTheirFilesAlone) {
  for (const Place& place : {plain(), linked(), submodule(), bare()}) {
    GitRepositoryTrust trust = gitTrust(place.folder);
    EXPECT_TRUE(trust.isPlain) << place.folder;
    EXPECT_FALSE(trust.mayNamePrograms) << place.folder;
    // Those of submodules do say where their files are.
    EXPECT_EQ(trust.mayMoveWorkingCopy, place.folder == submodule().folder) << place.folder;
    EXPECT_EQ(trust.mayHoldSubmodules, place.folder == plain().folder) << place.folder;
    EXPECT_TRUE(trust.obstacle.empty()) << trust.obstacle;
  }
  EXPECT_EQ(gitTrust(linked().folder).commonFolder, fs::canonical(plain().store));
}

TEST_F(GitRepositoryTrustTest, whatTheirConfigurationNamesIsSeenInEachForm) {
  for (const Place& place : {plain(), linked(), submodule(), bare()}) {
    write(place.store + "/config.worktree", evil);
    EXPECT_TRUE(gitTrust(place.folder).mayNamePrograms) << place.folder;
    EXPECT_TRUE(gitTrust(place.folder).isPlain) << place.folder;
  }
}

/// Each makes something of a plain repository that git may read in another way than it looks.
TEST_F(GitRepositoryTrustTest, whatIsNotPlainCountsAsHostile) {
  std::string ends(9000, '\n');
  using Change = std::function<void(const Place&)>;
  auto file = [](const char* name, const std::string& text) {
    return [=](const Place& place) { write(place.store + "/" + name, text); };
  };
  auto folder = [](const char* name) {
    return [=](const Place& place) {
      fs::remove_all(place.store + "/" + name);
      fs::create_directory(place.store + "/" + name);
    };
  };
  auto linkTo = [](const char* name, const char* target) {
    return [=](const Place& place) {
      fs::remove_all(place.store + "/" + name);
      fs::create_symlink(target, place.store + "/" + name);
    };
  };
  const std::pair<const char*, Change> changes[] = {
      {"HEAD and line feeds", file("HEAD", "ref: refs/heads/main" + ends)},
      {"HEAD in upper case", file("HEAD", std::string(40, 'A') + "\n")},
      {"HEAD with more behind", file("HEAD", std::string(40, 'a') + " more\n")},
      {"HEAD with zero bytes", file("HEAD", "ref: refs/heads/main\0"s)},
      {"HEAD without refs", file("HEAD", "ref: main\n")},
      {"HEAD as a link", linkTo("HEAD", "refs/heads/main")},
      {"HEAD missing", [](const Place& place) { fs::remove(place.store + "/HEAD"); }},
      {"commondir and line feeds", file("commondir", "." + ends)},
      {"commondir empty", file("commondir", "")},
      {"commondir to nowhere", file("commondir", "nowhere\n")},
      {"commondir as a link to nowhere", linkTo("commondir", "nowhere")},
      {"commondir as a folder", folder("commondir")},
      {"config too long", file("config.worktree", std::string(gitTrustedSize + 1, '\n'))},
      {"config with zero bytes", file("config.worktree", "[core]\0"s)},
      {"config as a folder", folder("config.worktree")},
      {"config as a link to a device", linkTo("config.worktree", "/dev/zero")},
  };
  for (const Place& place : {plain(), linked(), submodule(), bare()}) {
    for (const auto& [name, change] : changes) {
      std::string kept = pathOf("../kept-" + std::to_string(::getpid()));
      fs::copy(place.store, kept, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
      change(place);
      GitRepositoryTrust trust = gitTrust(place.folder);
      EXPECT_FALSE(trust.isPlain) << name << " in " << place.folder;
      EXPECT_TRUE(trust.mayNamePrograms && trust.mayMoveWorkingCopy && trust.mayHoldSubmodules) << name;
      fs::remove_all(place.store);
      fs::rename(kept, place.store);
    }
  }
}

TEST_F(GitRepositoryTrustTest, aWayToTheRepositoryThatIsNotPlainCountsAsHostile) {
  std::string gitFile = pathOf("place/.git");
  fs::create_directories(pathOf("elsewhere/deep"));
  fs::create_directory(pathOf("place"));
  fs::create_directory_symlink(pathOf("elsewhere/deep"), pathOf("place/x"));
  // Through the link it is in "elsewhere", and by its letters in "place".
  fs::copy(plain().store, pathOf("elsewhere/hidden"), fs::copy_options::recursive);
  write(pathOf("elsewhere/hidden/config"), "[core]\n\tbare = false" + evil);
  fs::copy(bare().store, pathOf("place/hidden"), fs::copy_options::recursive);
  write(gitFile, "gitdir: x/../hidden\n");
  EXPECT_TRUE(gitTrust(pathOf("place")).mayNamePrograms);
  for (const std::string& text :
       {"gitdir: ../.git" + std::string(9000, '\n'), "gitdir: ../.git\r\n"s, "gitdir: "s, "GITDIR: ../.git\n"s,
        "gitdir: ../.git\nmore\n"s, "gitdir: ../.git\0\n"s, "gitdir: nowhere\n"s}) {
    write(gitFile, text);
    EXPECT_FALSE(gitTrust(pathOf("place")).isPlain) << text;
  }
  // Git passes over a folder that is no repository, and finds the bare one that it is in.
  fs::create_directory(pathOf("bare/.git"));
  EXPECT_FALSE(gitTrust(bare().folder).isPlain);
  fs::remove_all(plain().store + "/refs");
  write(plain().store + "/refs", "");
  fs::permissions(plain().store + "/refs", fs::perms(0755));
  EXPECT_FALSE(gitTrust(plain().folder).isPlain);
  EXPECT_FALSE(gitTrust(pathOf("missing")).isPlain);
}

TEST_F(GitRepositoryTrustTest, pipesAndDevicesInTheWayAreNamed) {
  for (const char* name : {"HEAD", "config", "config.worktree", "commondir", "index", "packed-refs"}) {
    std::string path = plain().store + "/" + name;
    std::string kept = pathOf("../kept-" + std::to_string(::getpid()));
    std::error_code error;
    fs::rename(path, kept, error);
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    EXPECT_EQ(gitTrust(plain().folder).obstacle, fs::canonical(plain().store) / name);
    fs::remove(path);
    if (!error) fs::rename(kept, path);
  }
}

/// Blame reads it byte by byte.
TEST_F(GitRepositoryTrustTest, filesOfAFewLinesThatHaveNoEndAreNamed) {
  for (const char* name : {"MERGE_HEAD", "commondir", "HEAD"}) {
    std::string path = plain().store + "/" + name;
    write(path, "x");
    fs::resize_file(path, std::uint64_t{2} << 30);
    GitRepositoryTrust trust = gitTrust(plain().folder);
    EXPECT_EQ(trust.obstacle, fs::canonical(plain().store) / name);
    EXPECT_NE(trust.obstacleFault.find("longer"), std::string::npos) << trust.obstacleFault;
    if (std::string(name) != "HEAD") fs::remove(path);
  }
}

// Links that a sandbox would keep git from following.
TEST_F(GitRepositoryTrustTest, linksToWhatHasNoEndAreNamed) {
  for (const auto& [name, target] : {std::pair("MERGE_HEAD", "/dev/zero"), std::pair("refs/replace", "/proc")}) {
    std::string path = plain().store + "/" + name;
    fs::create_symlink(target, path);
    EXPECT_EQ(gitTrust(plain().folder).obstacle, fs::canonical(plain().store) / name);
    fs::remove(path);
  }
}

TEST(GitRepositoryTrust, configurationsThatMayNameProgramsAreKnownByTheirWords) {
  EXPECT_FALSE(gitMayNamePrograms("[core]\n\tbare = false\n[remote \"origin\"]\n\turl = x\n"));
  for (const char* text : {"[Filter \"x\"]", "[include]", "[INCLUDEIF \"x\"]", "promisor = true", "partialClone = x"}) {
    EXPECT_TRUE(gitMayNamePrograms(text)) << text;
  }
}

TEST(GitRepositoryTrust, noSubmoduleOfTheStagingAreaIsMissedHoweverMuchStandsBeforeIt) {
  GitRepository inner;
  inner.commit("inner");
  GitRepository repository;
  repository.write("file", "text");
  repository.commit("without");
  EXPECT_FALSE(gitTrust(repository.root()).mayHoldSubmodules);
  repository.run({"submodule", "--quiet", "add", inner.root(), "sub"});
  EXPECT_TRUE(gitTrust(repository.root()).mayHoldSubmodules);
  // At every place relative to the pieces that the file is read in, which are powers of two.
  for (std::size_t size : {std::size_t{0}, std::size_t{1} << 18, std::size_t{1} << 19}) {
    for (std::size_t before = size; before < size + 8; ++before) {
      std::string index(before, '\xe0');
      index.append("\0\0\xe0\0", 4);
      repository.write(".git/index", index.substr(0, index.size() - 1));
      EXPECT_FALSE(gitTrust(repository.root()).mayHoldSubmodules) << before;
      repository.write(".git/index", index.substr(4) + index.substr(index.size() - 4) + "rest");
      EXPECT_TRUE(gitTrust(repository.root()).mayHoldSubmodules) << before;
    }
  }
}

}  // namespace
}  // namespace qrb::test

void PrintTo(const GitUserFilter& filter, std::ostream* stream) {
  *stream << filter.name << ": " << filter.command;
}

namespace {

struct Text {
  std::string text;
  /// It can be read without git.
  bool isPlain;
};

const Text texts[] = {
    {"", true},
    {"[user]\n\tname = N\n[core]\n\teditor = \"vi \\\"x\\\"\"\n", true},
    {"[filter \"lfs\"]\n\tclean = git-lfs clean -- %f\n\tsmudge = git-lfs smudge -- %f\n\tprocess = git-lfs "
     "filter-process\n\trequired = true\n",
     true},
    {"[FILTER \"Mixed Case\"]\r\n  CLEAN=cat\r\n  # clean = no\n\n[core]\n  clean = no\n", true},
    {"[filter \"a\"]\nclean =\n[other]\n[filter \"b\"]\n\tsmudge = b -x = y \n[filter \"a\"]\n\tclean = again\n", true},
    {"[filter \"a.b\"]\n\tclean = x\n\tcleanx = y\n", true},
    {"[alias]\n\tfilter = log\n", true},
    {"[filter \"a\"]\n\tclean\n", false},
    {"[filter \"a\"] clean = x\n", false},
    {"[filter.a]\n\tclean = x\n", false},
    {"[filter \"a\\\"b\"]\n\tclean = x\n", false},
    {"[filter \"a\"]\n\tclean = \"x y\"\n", false},
    {"[filter \"a\"]\n\tclean = x # y\n", false},
    {"[filter \"a\"]\n\tclean = x \\\n\ty\n", false},
    {"[user]\n\tname = \\\n[filter \"a\"]\n[filter \"b\"]\n\tclean = x\n", false},
    {"[include]\n\tpath = other\n", false},
};

// What is not seen would be forbidden to run, and what is seen without being there would be allowed to.
TEST(GitUserFiltersTest, WhatIsReadWithoutGitIsWhatGitReads) {
  GitTestRepository repository;
  for (const Text& row : texts) {
    SCOPED_TRACE(row.text);
    repository.write("configuration", row.text);
    GitCommand command = gitFiltersCommand();
    command.arguments.insert(std::ranges::find(command.arguments, "config") + 1, {"--file", "configuration"});
    auto read = gitPlainFilters(row.text);
    ASSERT_EQ(read.has_value(), row.isPlain);
    if (!read) continue;
    EXPECT_THAT(*read, testing::ContainerEq(gitUserFilters(repository.run(command).output)));
  }
}

}  // namespace
