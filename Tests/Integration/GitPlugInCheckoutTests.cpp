#include "GitWorkTesting.h"

// Merging and switching, seen with git itself.
namespace qrb::test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using Status = std::map<std::string, Words>;

class GitPlugInCheckoutTest : public GitWorkTest {
 protected:
  static QRBSourceControlBranchPtr branch(const String& name) {
    return QRBSourceControlBranch::initWithBranchName(name, false);
  }
  static QRBSourceControlBranchPtr remoteBranch(const String& name, const String& remote = "origin") {
    return QRBSourceControlBranch::initWithBranchNameRemoteName(name, false, remote);
  }
  static QRBSourceControlRevisionLocationPtr at(const std::string& name) {
    return QRBSourceControlRevisionLocation::initWithRevision(revision(name));
  }
  std::string commitOf(const std::string& name) { return _repository.run({"rev-parse", name + "^{commit}"}); }
  std::string currentBranch() { return _repository.tryRun({"symbolic-ref", "-q", "HEAD"}).output; }
  std::string subject() { return _repository.run({"log", "-1", "--format=%s"}); }

  /// Switches, which must succeed, and gives the location that the plug-in answers.
  QRBSourceControlRevisionLocationPtr switched(const QRBSourceControlRevisionLocationPtr& location) {
    auto [now, error] = switchTo(location);
    EXPECT_FALSE(error) << error.description() << underlyingMessage(error);
    if (!now) throw std::runtime_error("no location");
    EXPECT_EQ(now->revision()->identifier().view(), _repository.head());
    return now;
  }
};

TEST_F(GitPlugInCheckoutTest, aBranchIsMergedForwardOrByACommit) {
  _repository.write("a", "1");
  _repository.commit("one");
  _repository.run({"checkout", "-q", "-b", "side"});
  _repository.write("b", "1");
  std::string two = _repository.commit("two");
  _repository.run({"checkout", "-q", "main"});
  EXPECT_FALSE(merge(branch("side")));
  EXPECT_EQ(_repository.head(), two) << "nothing happened here since, so there is nothing to merge";
  EXPECT_FALSE(merge(branch("side"))) << "merged already";
  _repository.run({"checkout", "-q", "side"});
  _repository.write("c", "1");
  std::string three = _repository.commit("three");
  _repository.run({"checkout", "-q", "main"});
  _repository.write("d", "1");
  _repository.commit("four");
  // A tag of that name must not be merged in its place.
  _repository.run({"tag", "side", "main"});
  EXPECT_FALSE(merge(branch("side")));
  EXPECT_EQ(commitOf("HEAD^2"), three);
  EXPECT_THAT(subject(), HasSubstr("side"));
  EXPECT_EQ(read("c") + read("d"), "11");
  EXPECT_EQ(status(), Status());
}

TEST_F(GitPlugInCheckoutTest, aConflictIsAnErrorAndStaysToBeResolved) {
  makeConflictingBranches();
  Error error = merge(branch("side"));
  EXPECT_TRUE(has(error, Code::repositoryMidOperation)) << error.description();
  EXPECT_THAT(underlyingMessage(error), HasSubstr("Merge conflict in both"));
  EXPECT_EQ(status(), (Status{{"both", {"conflicted", "both-modified"}}, {"from side", {"staged-added"}}}));
  EXPECT_TRUE(has(merge(branch("side")), Code::repositoryMidOperation)) << "it has to be ended first";
  EXPECT_TRUE(has(std::get<1>(switchTo(branch("side"))), Code::repositoryMidOperation));
  _repository.write("both", "resolved\n");
  EXPECT_FALSE(resolve({"both"}));
  EXPECT_FALSE(std::get<1>(commit({}, {})));
  EXPECT_EQ(subject(), "Merge branch 'side'");
}

TEST_F(GitPlugInCheckoutTest, mergesThatCannotBeginChangeNothing) {
  makeConflictingBranches();
  _repository.run({"checkout", "-q", "--orphan", "unrelated"});
  _repository.commit("unrelated");
  _repository.run({"checkout", "-q", "main"});
  auto expectRefused = [&](const QRBSourceControlBranchPtr& from, Code code) {
    std::string head = _repository.head();
    Status before = status();
    Error error = merge(from);
    EXPECT_TRUE(has(error, code)) << from->description() << ": " << error.description() << underlyingMessage(error);
    EXPECT_EQ(_repository.head(), head);
    EXPECT_EQ(status(), before);
  };
  expectRefused(branch("missing"), Code::branchNotFound);
  expectRefused(remoteBranch("main"), Code::branchNotFound);
  expectRefused(branch("--abort"), Code::branchNotFound);
  expectRefused(branch("side main"), Code::branchNotFound);
  expectRefused(branch("side~1"), Code::branchNotFound);
  expectRefused(branch("unrelated"), Code::revisionNotFound);
  _repository.write("both", "not committed\n");
  expectRefused(branch("side"), Code::repositoryMidOperation);
  EXPECT_EQ(read("both"), "not committed\n");
  EXPECT_FALSE(discardAll());
  _repository.write("from side", "untracked and in the way\n");
  expectRefused(branch("side"), Code::repositoryMidOperation);
  EXPECT_EQ(read("from side"), "untracked and in the way\n");
  fs::remove(_repository.pathOf("from side"));
  for (const char* key : {"user.name", "user.email"}) _repository.run({"config", "--unset", key});
  expectRefused(branch("side"), Code::systemUnusable);
}

TEST_F(GitPlugInCheckoutTest, remoteBranchesAreMergedAsLastFetched) {
  _repository.write("a", "1");
  _repository.commit("one");
  GitRepository clone = GitRepository::cloneOf(_repository.root());
  clone.run({"config", "user.name", "x"});
  clone.run({"config", "user.email", "x"});
  clone.write("b", "1");
  clone.commit("two");
  _repository.write("c", "1");
  _repository.commit("three");
  clone.run({"fetch", "-q"});
  Error error = perform([&](auto done) { workingCopyAt(clone.root())->mergeBranch(remoteBranch("main"), done); });
  EXPECT_FALSE(error) << error.description();
  EXPECT_EQ(clone.run({"log", "-1", "--format=%s"}), "Merge remote-tracking branch 'origin/main'");
}

TEST_F(GitPlugInCheckoutTest, switchesToWhateverALocationIs) {
  _repository.write("a", "1");
  std::string one = _repository.commit("one");
  _repository.run({"tag", "-a", "-m", "t", "v1"});
  _repository.run({"branch", "feature/x"});
  // A tag and a file of the branch's name must not confuse it.
  _repository.run({"tag", "feature/x"});
  _repository.write("feature/x", "2");
  std::string two = _repository.commit("two");

  auto now = switched(branch("feature/x"));
  EXPECT_TRUE(now->isEqual(branch("feature/x")));
  EXPECT_EQ(currentBranch(), "refs/heads/feature/x\n");
  EXPECT_EQ(read("feature/x"), "(gone)");

  now = switched(QRBSourceControlTag::initWithTagName("v1"));
  EXPECT_TRUE(now->isEqual(QRBSourceControlTag::initWithTagName("v1")));
  EXPECT_EQ(_repository.head(), one);
  EXPECT_EQ(currentBranch(), "");

  now = switched(at(two.substr(0, 12)));
  EXPECT_TRUE(now->isEqual(at(two)));
  EXPECT_EQ(currentBranch(), "");

  now = switched(QRBSourceControlBranch::initWithNewBranchName("fresh"));
  EXPECT_TRUE(now->isEqual(branch("fresh"))) << "it is no new one any more";
  EXPECT_EQ(_repository.head(), two);

  now = switched(QRBSourceControlBranch::initWithNewBranchName("older")->locationWithRevision(revision(one)));
  EXPECT_EQ(_repository.head(), one);
  EXPECT_EQ(currentBranch(), "refs/heads/older\n");
  EXPECT_EQ(_repository.tryRun({"config", "branch.older.merge"}).output, "") << "it follows nothing";
}

TEST_F(GitPlugInCheckoutTest, aRemoteBranchGetsALocalOneThatFollowsIt) {
  _repository.write("a", "1");
  _repository.commit("one");
  _repository.run({"branch", "work"});
  GitRepository clone = GitRepository::cloneOf(_repository.root());
  auto switchClone = [&](const QRBSourceControlRevisionLocationPtr& location) {
    Reply<QRBSourceControlRevisionLocationPtr> reply;
    manager()->switchLocation(location, workingCopyAt(clone.root()), reply.completion());
    return reply.wait();
  };
  auto [now, error] = switchClone(remoteBranch("work"));
  ASSERT_TRUE(now) << error.description() << underlyingMessage(error);
  EXPECT_TRUE(now->isEqual(branch("work")));
  EXPECT_EQ(clone.run({"rev-parse", "--abbrev-ref", "work@{upstream}"}), "origin/work");
  // There is a local one now.
  ASSERT_FALSE(std::get<1>(switchClone(branch("main"))));
  EXPECT_FALSE(std::get<1>(switchClone(remoteBranch("work"))));
  EXPECT_EQ(clone.run({"symbolic-ref", "HEAD"}), "refs/heads/work");
  EXPECT_TRUE(has(std::get<1>(switchClone(remoteBranch("missing"))), Code::branchNotFound));
  // Only its name is the same.
  clone.run({"checkout", "-q", "-b", "aside"});
  clone.run({"branch", "-q", "--unset-upstream", "work"});
  EXPECT_TRUE(has(std::get<1>(switchClone(remoteBranch("work"))), Code::repositoryExists));
  EXPECT_EQ(clone.run({"symbolic-ref", "HEAD"}), "refs/heads/aside");
}

TEST_F(GitPlugInCheckoutTest, whatIsInTheWayStaysAndIsTold) {
  makeConflictingBranches();
  _repository.run({"tag", "t"});
  _repository.run({"worktree", "add", "-q", "-b", "elsewhere", _repository.beside("worktree")});
  auto expectRefused = [&](const QRBSourceControlRevisionLocationPtr& location, Code code, const std::string& words) {
    auto [now, error] = switchTo(location);
    EXPECT_FALSE(now);
    EXPECT_TRUE(has(error, code)) << location->description() << ": " << error.description();
    EXPECT_THAT(underlyingMessage(error), HasSubstr(words));
    EXPECT_EQ(currentBranch(), "refs/heads/main\n");
  };
  _repository.write("both", "not committed\n");
  expectRefused(branch("side"), Code::repositoryMidOperation, "both");
  EXPECT_EQ(read("both"), "not committed\n");
  ASSERT_FALSE(discardAll());
  _repository.write("from side", "untracked\n");
  expectRefused(branch("side"), Code::repositoryMidOperation, "from side");
  EXPECT_EQ(read("from side"), "untracked\n");
  expectRefused(branch("elsewhere"), Code::repositoryLocked, _repository.beside("worktree"));
  expectRefused(QRBSourceControlBranch::initWithNewBranchName("side"), Code::repositoryExists, "side");
  expectRefused(branch("missing"), Code::branchNotFound, "missing");
  expectRefused(branch("t"), Code::branchNotFound, "");
  expectRefused(branch("both"), Code::branchNotFound, "");
  expectRefused(branch("-"), Code::branchNotFound, "begins with");
  expectRefused(branch("--orphan=x"), Code::branchNotFound, "begins with");
  expectRefused(branch("@{-1}"), Code::branchNotFound, "cannot be used");
  expectRefused(QRBSourceControlTag::initWithTagName("missing"), Code::tagNotFound, "missing");
  expectRefused(at("missing"), Code::revisionNotFound, "missing");
  expectRefused(at("--discard-changes"), Code::revisionNotFound, "cannot be used");
  expectRefused(QRBSourceControlRevisionLocation::initWithRevision(nullptr), Code::locationNotFound, "");
}

TEST_F(GitPlugInCheckoutTest, aHookThatFailsAfterwardsDoesNotUndoTheSwitch) {
  _repository.write("a", "1");
  _repository.commit("one");
  _repository.run({"branch", "side"});
  _repository.write(".git/hooks/post-checkout", "#!/bin/sh\necho 'fatal: Authentication failed for x'; exit 1\n");
  fs::permissions(_repository.pathOf(".git/hooks/post-checkout"), fs::perms::owner_all);
  EXPECT_TRUE(switched(branch("side"))->isEqual(branch("side")));
}

TEST_F(GitPlugInCheckoutTest, worksBeforeTheFirstRevision) {
  EXPECT_TRUE(has(std::get<1>(switchTo(branch("missing"))), Code::branchNotFound));
  auto [now, error] = switchTo(QRBSourceControlBranch::initWithNewBranchName("first"));
  ASSERT_TRUE(now) << error.description() << underlyingMessage(error);
  EXPECT_TRUE(now->isEqual(branch("first")));
  EXPECT_FALSE(now->revision());
}

}  // namespace
}  // namespace qrb::test
