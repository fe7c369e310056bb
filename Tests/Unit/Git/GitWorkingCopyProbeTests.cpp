#include <gtest/gtest.h>

#include <filesystem>

#include "GitRepository.h"
#include "GitWorkingCopyProbe.h"

namespace {

using qrb::test::GitRepository;

std::string found(const std::string& path) {
  auto place = gitProbeWorkingCopy(path);
  return place ? place->root + " of " + place->repository : "nothing";
}

std::string place(const std::string& root, const std::string& repository) {
  return root + " of " + repository;
}

TEST(GitWorkingCopyProbe, findsAWorkingCopyByItsFolderAndByItsGitFolder) {
  GitRepository repository;
  std::string expected = place(repository.root(), repository.root());
  for (const char* ending : {"", "/", "/.git", "/.git/", "/./"}) EXPECT_EQ(found(repository.root() + ending), expected);
  repository.commit("one");
  repository.run({"checkout", "-q", "--detach"});
  repository.run({"pack-refs", "--all"});
  EXPECT_EQ(found(repository.root()), expected) << "detached, and its refs packed";
}

TEST(GitWorkingCopyProbe, findsTheRepositoryOfWorktreesAndSubmodules) {
  GitRepository inner;
  inner.commit("inner");
  GitRepository repository;
  repository.run({"submodule", "--quiet", "add", inner.root(), "sub"});
  repository.commit("with submodule");
  repository.run({"worktree", "add", "-q", repository.beside("tree")});
  EXPECT_EQ(found(repository.beside("tree")), place(repository.beside("tree"), repository.root()));
  EXPECT_EQ(found(repository.pathOf("sub/.git")), place(repository.pathOf("sub"), repository.pathOf("sub")));
  std::string bare = repository.beside("bare.git");
  repository.run({"clone", "-q", "--bare", repository.root(), bare});
  repository.run({"-C", bare, "worktree", "add", "-q", "-b", "new", repository.beside("of-bare")});
  EXPECT_EQ(found(repository.beside("of-bare")), place(repository.beside("of-bare"), bare));
  EXPECT_EQ(found(bare), "nothing") << "a bare repository is no working copy";
}

TEST(GitWorkingCopyProbe, findsNothingInWhatOnlyLooksLikeAWorkingCopy) {
  GitRepository repository;
  repository.write("folder/file", "");
  repository.write("text/.git", "no repository here\n");
  repository.write("astray/.git", "gitdir: ../nowhere\n");
  repository.write("long/.git", "gitdir: " + std::string(20000, 'x'));
  std::filesystem::create_directories(repository.pathOf("bare/.git/objects"));
  std::filesystem::create_directory(repository.pathOf("bare/.git/refs"));
  for (const char* path : {"folder", "folder/file", "text", "astray", "long", "bare", "missing"}) {
    EXPECT_EQ(found(repository.pathOf(path)), "nothing") << path;
  }
  EXPECT_EQ(found(""), "nothing");
}

}  // namespace
