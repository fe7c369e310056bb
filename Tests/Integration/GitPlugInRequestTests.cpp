#include <unistd.h>

#include <filesystem>

#include "GitPlugInTesting.h"

namespace qrb::test {
namespace {

using testing::HasSubstr;
using Code = QRBSourceControlErrorCode;

bool has(const Error& error, Code code) {
  return error.domain() == String(QRBSourceControlErrorDomain) && error.code() == static_cast<std::int64_t>(code);
}

TEST_F(GitPlugInTest, announcesItself) {
  std::promise<QRBSourceControlSystemPtr> promise;
  manager()->sourceControlSystemsWithCompletionBlock([&](const auto& systems) {
    QRBSourceControlSystemPtr git;
    for (const auto& announced : *systems) {
      if (announced->plugInIdentifier() == String("org.qrb.Orlix.sourcecontrol.Git")) git = announced;
    }
    promise.set_value(git);
  });
  QRBSourceControlSystemPtr git = promise.get_future().get();
  ASSERT_TRUE(git);
  EXPECT_EQ(git->name(), String("Git"));
  EXPECT_EQ(git->workingCopyFolderIdentifier(), String(".git"));
  EXPECT_TRUE(git->hasLocalRepository() && git->supportsMultipleRemoteRepositories());
  EXPECT_FALSE(git->supportsPathLocation() || git->repositoryURLIncludesSubpath() ||
               git->requiresLocationsForBranchesAndTags());
  EXPECT_EQ(git->supportedAuthenticationTypes(), 7u);
}

TEST_F(GitPlugInTest, remoteStatusIsEmptyWithoutUpstreamAndAbsentWhenNotAskedFor) {
  GitRepository repository;
  for (bool hasCommits : {false, true}) {
    if (hasCommits) repository.commit("one");
    auto [local, remote, error] = statusOf(repository.root(), true);
    ASSERT_TRUE(remote) << error.description();
    EXPECT_TRUE(remote->empty());
  }
  EXPECT_FALSE(std::get<1>(statusOf(repository.root())));
}

TEST_F(GitPlugInTest, identifierIsTheSameInEveryCloneThatKnowsIt) {
  GitRepository origin;
  EXPECT_FALSE(std::get<0>(identifierOf(origin.root()))) << "no commits, so nothing to be known by";
  std::string first = origin.commit("one");
  origin.commit("two");
  GitRepository clone = GitRepository::cloneOf(origin.root());
  clone.commit("three");
  GitRepository shallow = GitRepository::cloneOf("file://" + origin.root(), {"--depth=1"});
  EXPECT_EQ(std::get<0>(identifierOf(origin.root())), String(first));
  EXPECT_EQ(std::get<0>(identifierOf(clone.root())), String(first));
  auto [identifier, error] = identifierOf(shallow.root());
  EXPECT_FALSE(error) << error.description();
  EXPECT_FALSE(identifier);
}

TEST_F(GitPlugInTest, listsRemoteBranchesByRemote) {
  GitRepository origin;
  std::string one = origin.commit("one");
  origin.run({"branch", "a/b"});
  GitRepository clone = GitRepository::cloneOf(origin.root());
  clone.run({"remote", "add", "team/x", origin.root()});
  clone.run({"fetch", "-q", "team/x"});
  clone.run({"remote", "add", "unused", origin.root()});
  Reply<std::vector<QRBSourceControlBranchPtr>, QRBSourceControlRemoteBranchesPtr> reply;
  manager()->listRemoteBranchesOfRepository(repositoryAt(clone.root()), nullptr, reply.completion());
  auto [branches, byRemote, error] = reply.wait();
  ASSERT_TRUE(byRemote) << error.description();
  EXPECT_EQ(branches.size(), 4u);
  ASSERT_EQ(byRemote->size(), 3u);
  EXPECT_TRUE(byRemote->find("unused")->empty());
  ASSERT_EQ(byRemote->find("team/x")->size(), 2u);
  const auto& branch = byRemote->find("team/x")->front();
  EXPECT_EQ(branch->name(), String("a/b"));
  EXPECT_EQ(branch->remoteName(), String("team/x"));
  EXPECT_TRUE(branch->isRemoteBranch());
  EXPECT_EQ(branch->revision()->identifier(), String(one));
}

TEST_F(GitPlugInTest, headOfABareRepositoryIsFound) {
  GitRepository repository;
  std::string one = repository.commit("one");
  std::string bare = repository.beside("bare.git");
  repository.run({"clone", "-q", "--bare", repository.root(), bare});
  Reply<QRBSourceControlRevisionPtr> reply;
  manager()->headRevisionOfRepository(repositoryAt(bare), reply.completion());
  auto [revision, error] = reply.wait();
  ASSERT_TRUE(revision) << error.description();
  EXPECT_EQ(revision->identifier(), String(one));
  EXPECT_TRUE(has(std::get<2>(statusOf(bare)), Code::workingCopyNotFound));
}

TEST_F(GitPlugInTest, whatIsNoRootOfAWorkingCopyIsRefusedWithGitsOwnWords) {
  GitRepository repository;
  repository.write("folder/file", "");
  repository.write("broken/.git", "gitdir: nowhere\n");
  std::filesystem::create_directory(repository.beside("plain"));
  for (const std::string& path : {repository.pathOf("folder"), repository.pathOf("broken"), repository.beside("plain"),
                                  repository.beside("missing"), repository.pathOf("folder/file")}) {
    auto [local, remote, error] = statusOf(path);
    EXPECT_TRUE(has(error, Code::workingCopyNotFound)) << path << ": " << error.description();
    EXPECT_FALSE(underlyingMessage(error).empty()) << path;
    EXPECT_FALSE(local) << path;
  }
}

TEST_F(GitPlugInTest, aGitThatWasKilledIsToldAsSuchWithWhatItHadWritten) {
  GitRepository repository;
  std::string path = ::getenv("PATH");
  const struct {
    const char* signal;
    const char* description;
  } deaths[] = {{"SEGV", "signal 11 (SIGSEGV"}, {"KILL", "signal 9 (SIGKILL"}};
  for (const auto& death : deaths) {
    // What it says besides has a meaning of its own when git ends by itself.
    repository.write("../bin/git", "#!/bin/sh\necho 'fatal: not a git repository: here' >&2\nkill -" +
                                       std::string(death.signal) + " $$\n");
    std::filesystem::permissions(repository.beside("bin/git"), std::filesystem::perms::owner_all);
    ::setenv("PATH", (repository.beside("bin") + ":" + path).c_str(), 1);
    auto [local, remote, error] = statusOf(repository.root());
    ::setenv("PATH", path.c_str(), 1);
    EXPECT_THAT(error.localizedDescription(), HasSubstr(death.description)) << error.description();
    EXPECT_THAT(underlyingMessage(error), HasSubstr(death.description));
    EXPECT_THAT(underlyingMessage(error), HasSubstr("fatal: not a git repository: here"));
  }
}

TEST_F(GitPlugInTest, aRepositoryOfSomebodyElseGetsAWordOnTrust) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  GitRepository repository;
  ASSERT_EQ(::chown(repository.root().c_str(), 12345, 12345), 0);
  ASSERT_EQ(::chown(repository.pathOf(".git").c_str(), 12345, 12345), 0);
  auto [local, remote, error] = statusOf(repository.root());
  EXPECT_TRUE(has(error, Code::authenticationPermissionDenied)) << error.description();
  EXPECT_THAT(underlyingMessage(error), HasSubstr("safe.directory"));
  EXPECT_THAT(underlyingMessage(error), HasSubstr("belongs to another user"));
}

}  // namespace
}  // namespace qrb::test
