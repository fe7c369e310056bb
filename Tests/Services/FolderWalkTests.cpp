#include "FolderWalk.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <thread>

#include "TemporaryDirectory.h"

namespace qrb::test {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

class FolderWalkTest : public testing::Test {
 protected:
  std::string root() const { return _folder.string(); }
  std::string at(const std::string& path) const { return root() + "/" + path; }
  void folder(const std::string& path) const { fs::create_directories(at(path)); }
  void file(const std::string& path) const { std::ofstream(at(path)) << "gitdir: elsewhere\n"; }

  std::vector<std::string> found(const std::set<std::string>& names = {".git"}) const {
    return relative(findFoldersHolding(names, root()));
  }
  std::vector<std::string> relative(std::vector<std::string> paths) const {
    for (std::string& path : paths) path = path == root() ? "." : path.substr(root().size() + 1);
    return paths;
  }

 private:
  TemporaryDirectory _folder;
};

TEST_F(FolderWalkTest, FindsWorkingCopiesWithinWorkingCopiesSortedByPath) {
  folder("b/.git");
  folder("b/inner/deep/.git");
  folder("a/plain");
  folder("a b/.git");
  folder("a/.git");
  EXPECT_THAT(found(), ElementsAre("a", "a b", "b", "b/inner/deep"));
}

TEST_F(FolderWalkTest, AFileOrALinkOfTheNameCountsAsAFolderDoes) {
  folder("worktree");
  file("worktree/.git");
  folder("linked");
  fs::create_symlink("/nowhere", at("linked/.git"));
  EXPECT_THAT(found(), ElementsAre("linked", "worktree"));
}

TEST_F(FolderWalkTest, WhatIsInAMetadataFolderIsNotLookedAt) {
  folder(".git/modules/sub/.git");
  folder("svn/.svn/pristine/.git");
  EXPECT_THAT(found({".git", ".svn"}), ElementsAre(".", "svn"));
}

TEST_F(FolderWalkTest, NoLinkIsFollowedSoALoopEnds) {
  folder("tree/.git");
  fs::create_directory_symlink(root(), at("tree/up"));
  fs::create_directory_symlink(at("tree"), at("again"));
  EXPECT_THAT(found(), ElementsAre("tree"));
}

TEST_F(FolderWalkTest, ALinkNamedByTheCallerIsFollowed) {
  folder("tree/in/.git");
  fs::create_directory_symlink(at("tree"), at("again"));
  EXPECT_THAT(relative(findFoldersHolding({".git"}, at("again"))), ElementsAre("again/in"));
}

// Takes the rights of the superuser away, for whom nothing is unreadable.
class Unprivileged {
 public:
  Unprivileged() {
    if (_superuser) change(65534);
  }
  ~Unprivileged() {
    if (_superuser) change(0);
  }

 private:
  static void change(uid_t user) { EXPECT_EQ(::seteuid(user), 0); }

  const bool _superuser = ::geteuid() == 0;
};

TEST_F(FolderWalkTest, AFolderThatCannotBeReadHidesOnlyWhatIsInIt) {
  folder("a/.git");
  folder("locked/.git");
  folder("z/.git");
  fs::permissions(root(), static_cast<fs::perms>(0755));
  fs::permissions(at("locked"), fs::perms::none);
  Unprivileged unprivileged;
  EXPECT_THAT(found(), ElementsAre("a", "z"));
}

TEST_F(FolderWalkTest, FindsAllInATreeThatSeveralThreadsShare) {
  std::vector<std::string> expected;
  for (int a = 0; a < 8; ++a) {
    for (int b = 0; b < 8; ++b) {
      for (int c = 0; c < 8; ++c) {
        std::string path = "a" + std::to_string(a) + "/b" + std::to_string(b) + "/c" + std::to_string(c);
        folder(path + "/sub");
        if ((a + b + c) % 3 != 0) continue;
        folder(path + "/.git");
        expected.push_back(path);
      }
    }
  }
  std::sort(expected.begin(), expected.end());
  for (int round = 0; round < 20; ++round) ASSERT_EQ(found(), expected);
}

TEST_F(FolderWalkTest, ATreeDeeperThanTheDescriptorsThatAreKeptOpenIsWalkedToItsEnd) {
  std::string path;
  for (int depth = 0; depth < 300; ++depth) path += "d/";
  folder(path + ".git");
  // The way back up must still find the neighbours.
  folder("d/d/e/.git");
  EXPECT_THAT(found(), ElementsAre(path.substr(0, path.size() - 1), "d/d/e"));
}

TEST_F(FolderWalkTest, FoldersThatVanishMeanwhileDoNotDisturb) {
  folder("kept/.git");
  std::atomic<bool> done = false;
  std::thread churn([&] {
    while (!done) {
      folder("gone/one/two/three");
      fs::remove_all(at("gone"));
    }
  });
  for (int round = 0; round < 200; ++round) EXPECT_THAT(found(), ElementsAre("kept"));
  done = true;
  churn.join();
}

TEST_F(FolderWalkTest, UpwardsTheNearestComesFirstAndTheFolderItselfIsNotAsked) {
  folder("a/.git");
  folder("a/b/c/.git");
  folder("a/b/c/d/.git");
  EXPECT_THAT(relative(findFoldersAboveHolding({".git"}, at("a/b/c/d"))), ElementsAre("a/b/c", "a"));
  EXPECT_THAT(findFoldersAboveHolding({".git"}, "/"), IsEmpty());
}

}  // namespace
}  // namespace qrb::test
