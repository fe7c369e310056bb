#include <filesystem>

#include "GitPlugInTesting.h"
#include "LongHistoryTesting.h"
#include "QRBSourceControlRemoteRepository.h"

namespace qrb::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Branches = std::vector<QRBSourceControlBranchPtr>;
using Code = QRBSourceControlErrorCode;

class GitBranches : public GitPlugInTest {
 protected:
  static auto revisionOf(const std::string& root, const QRBSourceControlRevisionLocationPtr& location) {
    Reply<QRBSourceControlRevisionPtr> reply;
    manager()->revisionOfLocation(location, repositoryAt(root), nullptr, reply.completion());
    return reply.wait();
  }
  static std::string hashOf(const std::string& root, const QRBSourceControlRevisionLocationPtr& location) {
    auto [found, error] = revisionOf(root, location);
    return found ? found->identifier().str() : error.description();
  }
  static auto parentsOf(const std::string& root, const QRBSourceControlBranchPtr& of) {
    Reply<QRBSourceControlBranchPtr, Branches> reply;
    manager()->parentBranchesOfBranch(of, repositoryAt(root), nullptr, reply.completion());
    return reply.wait();
  }
  /// The names of the candidates in order, which fails the test where the first is not the one answered.
  static std::vector<std::string> parentNamesOf(const std::string& root, const std::string& name) {
    auto [parent, all, error] = parentsOf(root, branch(name));
    EXPECT_FALSE(error) << name << ": " << error.description();
    EXPECT_EQ(parent, all.empty() ? nullptr : all.front()) << name;
    std::vector<std::string> names;
    for (const auto& one : all)
      names.push_back((one->remoteName() ? one->remoteName().str() + "/" : "") + one->name().str());
    return names;
  }
  static auto ancestorOf(const std::string& root, const std::string& one, const std::string& other) {
    Reply<QRBSourceControlRevisionPtr> reply;
    manager()->ancestorRevisionInRepository(repositoryAt(root), branch(one), branch(other), nullptr,
                                            reply.completion());
    return reply.wait();
  }
  static auto add(const std::string& root, const std::string& name, const QRBSourceControlBranchPtr& from) {
    Reply<QRBSourceControlBranchPtr> reply;
    manager()->addBranch(QRBSourceControlBranch::initWithNewBranchName(name), from, repositoryAt(root), nullptr,
                         reply.completion());
    return reply.wait();
  }
  static Error remove(const std::string& root, const QRBSourceControlBranchPtr& one) {
    Reply<> reply;
    manager()->removeBranch(one, repositoryAt(root), nullptr, nullptr, reply.completion());
    return std::get<0>(reply.wait());
  }
  static auto upstreamOf(const std::string& root, const std::string& name) {
    Reply<QRBSourceControlBranchPtr> reply;
    manager()->remoteBranchFromRepository(repositoryAt(root), branch(name), reply.completion());
    return reply.wait();
  }

  static QRBSourceControlBranchPtr branch(const std::string& name) {
    return QRBSourceControlBranch::initWithBranchName(name, false);
  }
  static QRBSourceControlBranchPtr remoteBranch(const std::string& name, const std::string& remote) {
    return QRBSourceControlBranch::initWithBranchNameRemoteName(name, false, remote);
  }
  static QRBSourceControlRevisionLocationPtr at(const std::string& text) {
    return QRBSourceControlRevisionLocation::initWithRevision(revision(text));
  }
  static bool has(const Error& error, Code code) {
    return error.domain() == String(QRBSourceControlErrorDomain) && error.code() == static_cast<std::int64_t>(code);
  }
};

TEST_F(GitBranches, everyLocationOfALongHistoryStandsForTheRevisionThatGitSays) {
  LongHistory history(120);
  GitRepository& repository = history.repository();
  const std::string& root = repository.root();
  for (const std::string& name :
       split(repository.run({"for-each-ref", "--format=%(refname:lstrip=2)", "refs/heads"}), '\n')) {
    EXPECT_EQ(hashOf(root, branch(name)), repository.run({"rev-parse", "refs/heads/" + name})) << name;
  }
  for (const char* name : {"annotated", "twice"}) {
    EXPECT_EQ(hashOf(root, QRBSourceControlTag::initWithTagName(name)), repository.run({"rev-parse", "main~6"}))
        << name;
  }
  for (const std::string& hash : split(repository.run({"log", "--format=%H", "-n8", "--skip=20"}), '\n')) {
    for (std::size_t length : {std::size_t{12}, std::size_t{20}, hash.size()}) {
      EXPECT_EQ(hashOf(root, at(hash.substr(0, length))), hash);
    }
  }
  EXPECT_EQ(hashOf(root, at("HEAD~4")), repository.run({"rev-parse", "HEAD~4"}));
  // Where a branch and a tag share a name, each stands for its own.
  repository.run({"tag", "loose", "main~50"});
  EXPECT_EQ(hashOf(root, QRBSourceControlTag::initWithTagName("loose")), repository.run({"rev-parse", "main~50"}));
  EXPECT_NE(hashOf(root, branch("loose")), repository.run({"rev-parse", "main~50"}));
}

TEST_F(GitBranches, whatIsNotThereIsToldByItsKindAndName) {
  GitRepository repository;
  repository.write("file", "1");
  std::string one = repository.commit("one");
  repository.run({"tag", "of-a-file", "HEAD:file"});
  const struct {
    QRBSourceControlRevisionLocationPtr location;
    Code code;
    const char* name;
  } rows[] = {
      {branch("nothing"), Code::branchNotFound, "branch \"nothing\""},
      {remoteBranch("main", "origin"), Code::branchNotFound, "branch \"main\""},
      {QRBSourceControlTag::initWithTagName("nothing"), Code::tagNotFound, "tag \"nothing\""},
      {QRBSourceControlTag::initWithTagName("of-a-file"), Code::tagNotFound, "tag \"of-a-file\""},
      {at("1234567"), Code::revisionNotFound, "revision \"1234567\""},
      {at("file"), Code::revisionNotFound, "revision \"file\""},
      {at(std::string(40, 'e')), Code::revisionNotFound, "revision \"eeee"},
      {branch("main")->locationWithRevision(revision("1234567")), Code::revisionNotFound, "revision \"1234567\""},
      {QRBSourceControlPathLocation::initWithRelativePath("trunk/"), Code::pathNotFound, "path \"trunk/\""},
      {nullptr, Code::locationNotFound, "location"},
  };
  for (const auto& row : rows) {
    auto [found, error] = revisionOf(repository.root(), row.location);
    EXPECT_TRUE(has(error, row.code)) << row.name << ": " << error.description();
    EXPECT_THAT(error.localizedDescription(), HasSubstr(row.name));
    EXPECT_FALSE(underlyingMessage(error).empty()) << row.name;
  }
  GitRepository empty;
  auto [found, error] = revisionOf(empty.root(), at("HEAD"));
  EXPECT_TRUE(has(error, Code::revisionNotFound)) << error.description();
}

TEST_F(GitBranches, commonAncestorsAreThoseThatGitFinds) {
  LongHistory history(80);
  GitRepository& repository = history.repository();
  std::vector<std::string> names{"main", "loose", "side/10", "side/20", "side/70", "side/80"};
  for (const std::string& one : names) {
    for (const std::string& other : names) {
      auto [found, error] = ancestorOf(repository.root(), one, other);
      ASSERT_TRUE(found) << error.description();
      EXPECT_EQ(found->identifier(), String(repository.run({"merge-base", one, other}))) << one << " " << other;
    }
  }
  repository.run({"checkout", "-q", "--orphan", "alone"});
  repository.commit("another beginning");
  auto [none, noneError] = ancestorOf(repository.root(), "main", "alone");
  EXPECT_TRUE(has(noneError, Code::revisionNotFound)) << noneError.description();
  EXPECT_THAT(underlyingMessage(noneError), HasSubstr("in common"));
  auto [missing, missingError] = ancestorOf(repository.root(), "main", "missing");
  EXPECT_TRUE(has(missingError, Code::branchNotFound)) << missingError.description();
  EXPECT_THAT(missingError.localizedDescription(), HasSubstr("\"missing\""));
}

TEST_F(GitBranches, parentsAreFoundByWhereABranchBegins) {
  GitRepository repository;
  repository.commit("one");
  repository.run({"checkout", "-q", "-b", "release"});
  repository.commit("release");
  repository.run({"checkout", "-q", "-b", "hotfix"});
  repository.commit("hotfix");
  repository.run({"checkout", "-q", "main"});
  repository.commit("two");
  repository.run({"branch", "fresh"});
  repository.run({"checkout", "-q", "-b", "merged"});
  repository.commit("merged");
  repository.run({"checkout", "-q", "main"});
  repository.run({"merge", "-q", "--no-ff", "-m", "merge", "merged"});
  // Notes of how branches were made would tell at once.
  std::filesystem::remove_all(repository.pathOf(".git/logs"));
  const std::string& root = repository.root();
  EXPECT_THAT(parentNamesOf(root, "main"), IsEmpty());
  EXPECT_EQ(parentNamesOf(root, "fresh").front(), "main");
  EXPECT_EQ(parentNamesOf(root, "merged").front(), "main");
  EXPECT_EQ(parentNamesOf(root, "hotfix").front(), "release");
  // All of it is in hotfix, which was made from it.
  EXPECT_THAT(parentNamesOf(root, "release"), ElementsAre("main", "fresh", "merged"));
  auto [parent, all, error] = parentsOf(root, branch("nothing"));
  EXPECT_TRUE(has(error, Code::branchNotFound)) << error.description();
}

TEST_F(GitBranches, parentsAreTakenFromWhatGitNotedAndFromWhatABranchFollows) {
  GitRepository repository;
  repository.commit("one");
  for (const char* name : {"a", "b", "c"}) repository.run({"branch", name});
  repository.run({"branch", "noted", "b"});
  repository.run({"branch", "follows"});
  repository.run({"branch", "-q", "--set-upstream-to=c", "follows"});
  EXPECT_THAT(parentNamesOf(repository.root(), "noted"), ElementsAre("b", "main", "a", "c", "follows"));
  std::string made = std::get<0>(add(repository.root(), "made", branch("a")))->name().str();
  EXPECT_EQ(parentNamesOf(repository.root(), made).front(), "a");
  std::filesystem::remove_all(repository.pathOf(".git/logs"));
  EXPECT_EQ(parentNamesOf(repository.root(), "follows").front(), "c");
  // Copies of the branch itself on remotes are no parents of it; the remotes' main branches are.
  GitRepository clone = GitRepository::cloneOf(repository.root());
  clone.run({"checkout", "-q", "--no-track", "-b", "noted", "origin/noted"});
  clone.commit("more");
  clone.run({"branch", "-q", "-D", "main"});
  std::filesystem::remove_all(clone.pathOf(".git/logs"));
  EXPECT_THAT(parentNamesOf(clone.root(), "noted"),
              ElementsAre("origin/main", "origin/a", "origin/b", "origin/c", "origin/follows", "origin/made"));
}

TEST_F(GitBranches, aBranchIsRemovedUnlessAWorkingCopyHasIt) {
  GitRepository origin;
  origin.commit("one");
  origin.run({"branch", "gone"});
  GitRepository clone = GitRepository::cloneOf(origin.root());
  clone.run({"checkout", "-q", "-b", "unmerged"});
  clone.commit("only here");
  clone.run({"checkout", "-q", "main"});
  clone.run({"worktree", "add", "-q", "-b", "elsewhere", clone.beside("tree")});
  EXPECT_FALSE(remove(clone.root(), branch("unmerged")));
  EXPECT_FALSE(remove(clone.root(), remoteBranch("gone", "origin")));
  for (const char* name : {"main", "elsewhere"}) {
    Error error = remove(clone.root(), branch(name));
    EXPECT_TRUE(has(error, Code::repositoryLocked)) << error.description();
    EXPECT_THAT(error.localizedDescription(), HasSubstr("“" + std::string(name) + "”"));
  }
  for (const auto& missing : {branch("unmerged"), remoteBranch("gone", "origin")}) {
    Error error = remove(clone.root(), missing);
    EXPECT_TRUE(has(error, Code::branchNotFound)) << error.description();
    EXPECT_THAT(error.localizedDescription(), HasSubstr(missing->name().str()));
  }
  EXPECT_EQ(clone.run({"for-each-ref", "--format=%(refname)"}),
            "refs/heads/elsewhere\nrefs/heads/main\nrefs/remotes/origin/HEAD\nrefs/remotes/origin/main");
  EXPECT_EQ(origin.run({"branch", "--list", "gone"}), "  gone") << "the remote itself is not touched";
}

TEST_F(GitBranches, aBranchIsMadeAndRemovedOnARemote) {
  GitRepository origin({"--bare"});
  GitRepository local;
  std::string one = local.commit("one");
  std::string two = local.commit("two");
  local.run({"remote", "add", "team/x", "../short:project"});
  local.run({"config", "url." + origin.root() + ".insteadOf", "../short:project"});
  auto made = [&](const std::string& name, const QRBSourceControlBranchPtr& from) {
    Reply<QRBSourceControlBranchPtr> reply;
    manager()->addBranch(QRBSourceControlBranch::initWithNewBranchName(name, "team/x"), from,
                         repositoryAt(local.root()), nullptr, reply.completion());
    return reply.wait();
  };
  auto pinned = branch("main")->locationWithRevision(revision(one));
  auto [there, error] = made("a/b", std::dynamic_pointer_cast<const QRBSourceControlBranch>(pinned));
  ASSERT_TRUE(there) << error.description() << underlyingMessage(error);
  EXPECT_TRUE(there->isEqual(remoteBranch("a/b", "team/x"))) << there->description();
  EXPECT_EQ(there->revision()->identifier(), String(one));
  EXPECT_EQ(origin.run({"for-each-ref", "--format=%(refname) %(objectname)"}), "refs/heads/a/b " + one);
  EXPECT_EQ(local.run({"rev-parse", "refs/remotes/team/x/a/b"}), one) << "known here as well";
  // Neither moved on nor taken for made, whatever it is at.
  for (const auto& from :
       {QRBSourceControlBranchPtr(), std::dynamic_pointer_cast<const QRBSourceControlBranch>(pinned)}) {
    auto [again, exists] = made("a/b", from);
    EXPECT_TRUE(has(exists, Code::repositoryExists)) << exists.description();
    EXPECT_THAT(exists.localizedDescription(), HasSubstr("“a/b”"));
  }
  EXPECT_EQ(origin.run({"rev-parse", "a/b"}), one);
  const auto remoteRepository =
      QRBSourceControlRemoteRepository::initUnsavedWithURL(URL::fileURL(origin.root(), true), system());
  auto removed = [&](const std::string& name) {
    Reply<> reply;
    manager()->removeBranch(branch(name), repositoryAt(local.root()), remoteRepository, nullptr, reply.completion());
    return std::get<0>(reply.wait());
  };
  EXPECT_FALSE(removed("a/b"));
  EXPECT_EQ(origin.run({"for-each-ref"}), "");
  EXPECT_EQ(local.run({"for-each-ref", "--format=%(refname)"}), "refs/heads/main") << "and main is still here";
  Error missing = removed("main");
  EXPECT_TRUE(has(missing, Code::branchNotFound)) << missing.description();
  EXPECT_THAT(missing.localizedDescription(), HasSubstr("\"main\""));
}

TEST_F(GitBranches, whatARemoteDoesNotTakeIsToldInItsWords) {
  GitRepository origin({"--bare"});
  GitRepository local;
  local.commit("one");
  local.run({"remote", "add", "origin", origin.root()});
  local.run({"push", "-q", "origin", "main:kept"});
  origin.write("hooks/pre-receive", "#!/bin/sh\necho no branches today >&2\nexit 1\n");
  std::filesystem::permissions(origin.pathOf("hooks/pre-receive"), std::filesystem::perms::all);
  auto add = [&](const std::string& remote) {
    Reply<QRBSourceControlBranchPtr> reply;
    manager()->addBranch(QRBSourceControlBranch::initWithNewBranchName("new", remote), nullptr,
                         repositoryAt(local.root()), nullptr, reply.completion());
    return std::get<1>(reply.wait());
  };
  Error added = add("origin");
  EXPECT_TRUE(has(added, Code::remoteOperationRejected)) << added.description();
  EXPECT_THAT(underlyingMessage(added), HasSubstr("no branches today"));
  Reply<> reply;
  manager()->removeBranch(branch("kept"), repositoryAt(local.root()),
                          QRBSourceControlRemoteRepository::initUnsavedWithURL(URL::fileURL(origin.root()), system()),
                          nullptr, reply.completion());
  Error removed = std::get<0>(reply.wait());
  EXPECT_TRUE(has(removed, Code::remoteOperationRejected)) << removed.description();
  EXPECT_THAT(underlyingMessage(removed), HasSubstr("no branches today"));
  EXPECT_TRUE(has(add("nowhere"), Code::remoteRepositoryNotFound));
  std::filesystem::remove_all(origin.root());
  EXPECT_TRUE(has(add("origin"), Code::remoteRepositoryNotFound));
  EXPECT_EQ(local.run({"for-each-ref", "--format=%(refname)"}), "refs/heads/main\nrefs/remotes/origin/kept");
}

TEST_F(GitBranches, theRemoteBranchIsTheOneThatGitWouldPullFrom) {
  GitRepository origin;
  std::string one = origin.commit("one");
  origin.run({"branch", "a/b"});
  GitRepository clone = GitRepository::cloneOf(origin.root(), {"--origin=team/x"});
  clone.run({"checkout", "-q", "-b", "other-name", "team/x/a/b"});
  clone.run({"branch", "-q", "--track", "follows-local", "main"});
  clone.run({"branch", "-q", "--no-track", "follows-none"});
  clone.run({"branch", "-q", "gone", "--track", "team/x/main"});
  clone.run({"config", "branch.gone.merge", "refs/heads/was-removed"});
  auto [upstream, error] = upstreamOf(clone.root(), "other-name");
  ASSERT_TRUE(upstream) << error.description();
  EXPECT_EQ(upstream->name(), String("a/b"));
  EXPECT_EQ(upstream->remoteName(), String("team/x"));
  EXPECT_EQ(upstream->revision()->identifier(), String(one));
  auto [gone, goneError] = upstreamOf(clone.root(), "gone");
  ASSERT_TRUE(gone) << goneError.description();
  EXPECT_EQ(gone->name(), String("was-removed"));
  EXPECT_FALSE(gone->revision());
  for (const char* name : {"follows-local", "follows-none"}) {
    auto [none, noError] = upstreamOf(clone.root(), name);
    EXPECT_FALSE(none || noError) << name << ": " << noError.description();
  }
  EXPECT_TRUE(has(std::get<1>(upstreamOf(clone.root(), "nothing")), Code::branchNotFound));
}

}  // namespace
}  // namespace qrb::test
