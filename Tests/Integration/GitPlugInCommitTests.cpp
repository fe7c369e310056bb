
#include <unistd.h>

#include "GitWorkTesting.h"
#include "Log.h"

// Commits made by the plug-in, seen with git itself.
namespace qrb::test {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using Status = std::map<std::string, Words>;

class GitPlugInCommitTest : public GitWorkTest {
 protected:
  GitPlugInCommitTest() {
    for (const char* path : {"a", "b", "c", "folder/d", "folder/e"}) _repository.write(path, "one\n");
    _repository.commit("one");
  }

  /// The paths that the last commit changed, without regard to renames.
  std::vector<std::string> committed() {
    return split(_repository.run({"show", "--no-renames", "--format=", "--name-only", "-z", "HEAD"}), '\0');
  }
  void makeHook(const std::string& name, const std::string& script) {
    _repository.write(".git/hooks/" + name, "#!/bin/sh\n" + script + "\n");
    fs::permissions(_repository.pathOf(".git/hooks/" + name), fs::perms::owner_all);
  }
  /// Commits, which must succeed, and checks the answer.
  void commitWell(const Files& files, const String& message = "message") {
    std::string before = _repository.tryRun({"rev-parse", "--verify", "-q", "HEAD"}).output;
    auto [revision, error] = commit(files, message);
    ASSERT_TRUE(revision) << error.description() << underlyingMessage(error);
    EXPECT_EQ(revision->identifier().view(), _repository.head());
    EXPECT_NE(revision->identifier().str() + "\n", before);
  }
  /// Commits, which must fail and leave everything as it is.
  void expectRefused(const Files& files, Code code, const std::string& words, const String& message = "message") {
    Status before = status();
    auto state = [&] { return _repository.tryRun({"rev-parse", "HEAD"}).output + _repository.run({"ls-files", "-s"}); };
    std::string stateBefore = state();
    auto [revision, error] = commit(files, message);
    EXPECT_FALSE(revision);
    EXPECT_TRUE(has(error, code)) << error.description() << underlyingMessage(error);
    EXPECT_THAT(underlyingMessage(error), HasSubstr(words));
    EXPECT_EQ(status(), before);
    EXPECT_EQ(state(), stateBefore);
  }
};

TEST_F(GitPlugInCommitTest, commitsExactlyTheFilesNamedWhateverElseIsStaged) {
  _repository.write("a", "staged\n");
  _repository.write("b", "staged\n");
  _repository.write("staged new", "1");
  ASSERT_FALSE(add({"a", "b", "staged new"}));
  _repository.write("b", "staged and more\n");
  _repository.write("c", "changed\n");
  _repository.write("folder/d", "changed\n");
  _repository.write("-new", "new");
  _repository.write("new/in a new folder", "new");
  _repository.write("untracked", "");
  fs::remove(_repository.pathOf("folder/e"));
  commitWell({"b", "folder", "-new", String(_repository.pathOf("new"))});
  EXPECT_THAT(committed(), ElementsAre("-new", "b", "folder/d", "folder/e", "new/in a new folder"));
  EXPECT_EQ(_repository.run({"show", "HEAD:b"}), "staged and more");
  EXPECT_EQ(status(), (Status{{"a", {"staged-modified"}},
                              {"staged new", {"staged-added"}},
                              {"c", {"modified"}},
                              {"untracked", {"untracked"}}}));
}

TEST_F(GitPlugInCommitTest, bothHalvesOfAMoveMakeARename) {
  ASSERT_FALSE(move({"a"}, {"moved"}));
  ASSERT_FALSE(remove({"b"}));
  commitWell({"a", "moved"});
  EXPECT_THAT(committed(), ElementsAre("a", "moved"));
  EXPECT_EQ(status(), (Status{{"b", {"staged-deleted"}}}));
}

TEST_F(GitPlugInCommitTest, withoutFilesItIsWhatIsStagedElseAllThatIsTracked) {
  _repository.write("a", "staged\n");
  ASSERT_FALSE(add({"a"}));
  _repository.write("b", "changed\n");
  fs::remove(_repository.pathOf("c"));
  _repository.write("untracked", "");
  commitWell({});
  EXPECT_THAT(committed(), ElementsAre("a"));
  commitWell({});
  EXPECT_THAT(committed(), ElementsAre("b", "c"));
  expectRefused({}, Code::remoteOperationOutOfDate, "nothing added to commit");
  expectRefused({"a"}, Code::remoteOperationOutOfDate, "nothing added to commit");
}

TEST_F(GitPlugInCommitTest, messagesArriveAsTheyAre) {
  std::string message = "Überschrift\n\n# no comment: #123\n--\n“quotes”\n" + std::string(300'000, 'x');
  _repository.run({"config", "commit.cleanup", "strip"});
  _repository.run({"config", "i18n.commitEncoding", "ISO-8859-1"});
  _repository.write("a", "2");
  commitWell({"a"}, message + "\n\n\n");
  EXPECT_TRUE(_repository.run({"log", "-1", "--format=%B"}) == message + "\n");
}

TEST_F(GitPlugInCommitTest, whatCannotBeCommittedIsTold) {
  _repository.write("a", "changed\n");
  _repository.write(".git/info/exclude", "ignored\n");
  _repository.write("ignored", "");
  _repository.write("new", "");
  expectRefused({"a", "new", "missing"}, Code::pathNotFound, "missing");
  expectRefused({"a", "new", "ignored"}, Code::systemUnusable, "ignored");
  expectRefused({"a", "../outside"}, Code::pathNotFound, "outside");
  expectRefused({"a", ".git/config"}, Code::pathNotFound, "repository itself");
  expectRefused({"a", "new"}, Code::systemUnusable, "empty commit message", " \n");
}

TEST_F(GitPlugInCommitTest, aMissingIdentityIsToldWithWhatToDo) {
  for (const char* key : {"user.name", "user.email"}) _repository.run({"config", "--unset", key});
  _repository.write("a", "changed\n");
  _repository.write("new", "");
  expectRefused({"a", "new"}, Code::systemUnusable, "git config --global user.email");
  expectRefused({}, Code::systemUnusable, "git config --global user.email");
}

TEST_F(GitPlugInCommitTest, worksOnABranchWithoutCommits) {
  for (bool namesFiles : {true, false}) {
    _repository.run({"checkout", "-q", "--orphan", namesFiles ? "first" : "second"});
    _repository.run({"rm", "-rqf", "--cached", "."});
    commitWell(namesFiles ? Files{"a", "folder"} : (add({"a", "folder"}), Files{}));
    EXPECT_THAT(split(_repository.run({"ls-tree", "-r", "--name-only", "HEAD"}), '\n'),
                ElementsAre("a", "folder/d", "folder/e"));
  }
}

TEST_F(GitPlugInCommitTest, oddNamesOfBranchesDoNotHideTheRevision) {
  for (const char* name : {"abcd]", "x]y", "ü/0123456]"}) {
    _repository.run({"checkout", "-q", "-b", name});
    _repository.write("a", name);
    commitWell({"a"}, "0123456] subject");
  }
  _repository.run({"checkout", "-q", "--detach"});
  _repository.write("a", "detached");
  commitWell({"a"});
}

TEST_F(GitPlugInCommitTest, hooksRunAndSeePatternsAsPatterns) {
  makeHook("pre-commit", "git diff --cached --name-only -- '*' > .git/seen; echo out; echo err >&2");
  makeHook("commit-msg", "echo trailer >> \"$1\"");
  makeHook("post-commit", "git rev-parse HEAD > .git/after; exit 3");
  _repository.write("a", "changed\n");
  _repository.write("b", "changed\n");
  commitWell({"a"}, "subject");
  EXPECT_EQ(read(".git/seen"), "a\n");
  EXPECT_EQ(read(".git/after"), _repository.head() + "\n");
  EXPECT_THAT(_repository.run({"log", "-1", "--format=%B"}), HasSubstr("trailer"));
}

TEST_F(GitPlugInCommitTest, aHookThatRefusesIsQuotedAndNotMistakenForGit) {
  _repository.write("a", "changed\n");
  _repository.write("new", "");
  makeHook("pre-commit",
           "echo 'checking'; echo 'fatal: Authentication failed for x'; echo './lint: Permission denied' >&2; "
           "echo \"fatal: Unable to create '.git/index.lock': File exists.\" >&2; exit 1");
  expectRefused({"a", "new"}, Code::systemUnusable, "checking\n");
  expectRefused({"a", "new"}, Code::systemUnusable, "./lint: Permission denied");
  expectRefused({}, Code::systemUnusable, "./lint: Permission denied");
}

TEST_F(GitPlugInCommitTest, aMergeIsCommittedAsAWhole) {
  makeConflictingBranches();
  EXPECT_NE(_repository.tryRun({"merge", "side"}).status, 0);
  _repository.write("c", "no part of the merge\n");
  expectRefused({"both", "from side"}, Code::repositoryMidOperation, "both");
  expectRefused({}, Code::repositoryMidOperation, "unmerged");
  _repository.write("both", "resolved\n");
  ASSERT_FALSE(resolve({"both"}));
  expectRefused({"both"}, Code::repositoryMidOperation, "“from side”");
  _repository.write("both", "resolved, and changed since\n");
  _repository.write("new", "");
  commitWell({"both", "from side", "new"}, "merged");
  EXPECT_EQ(_repository.run({"log", "-1", "--format=%s %p"}).find("merged "), 0u);
  EXPECT_EQ(split(_repository.run({"log", "-1", "--format=%P"}), ' ').size(), 2u);
  EXPECT_EQ(_repository.run({"show", "HEAD:both"}), "resolved, and changed since");
  EXPECT_EQ(_repository.run({"show", "HEAD:new"}), "");
  EXPECT_EQ(status(), (Status{{"c", {"modified"}}}));
}

TEST_F(GitPlugInCommitTest, aMergeThatChangesNothingIsCommittedAloneAndUnderItsOwnMessage) {
  makeConflictingBranches();
  EXPECT_EQ(_repository.tryRun({"merge", "-s", "ours", "--no-commit", "side"}).status, 0);
  _repository.write("c", "no part of the merge\n");
  commitWell({}, {});
  EXPECT_EQ(_repository.run({"log", "-1", "--format=%s"}), "Merge branch 'side'");
  EXPECT_EQ(status(), (Status{{"c", {"modified"}}}));
}

TEST_F(GitPlugInCommitTest, aMergeWithoutAMessageOfItsOwnGetsGitsWithoutItsComments) {
  makeConflictingBranches();
  EXPECT_NE(_repository.tryRun({"merge", "side"}).status, 0);
  _repository.write("both", "resolved\n");
  ASSERT_FALSE(resolve({"both"}));
  commitWell({}, "");
  EXPECT_EQ(_repository.run({"log", "-1", "--format=%B"}), "Merge branch 'side'\n");
}

TEST_F(GitPlugInCommitTest, messagesInOtherEncodingsAndWithZerosLoseNothingUnsaid) {
  _repository.write("a", "2");
  commitWell({"a"}, "caf\xe9\n");
  EXPECT_EQ(_repository.run({"log", "-1", "--format=%s"}), "café") << "taken for Latin-1";
  _repository.write("a", "3");
  _repository.write("new", "");
  expectRefused({"a", "new"}, Code::systemUnusable, "zero byte", String(std::string_view("a\0b", 3)));
}

TEST_F(GitPlugInCommitTest, filesOfAStoppedRebaseAreCommittedAsTheyAreNamed) {
  makeConflictingBranches();
  EXPECT_NE(_repository.tryRun({"rebase", "side"}).status, 0);
  _repository.write("c", "no part of it\n");
  expectRefused({"both"}, Code::repositoryMidOperation, "both");
  _repository.write("both", "resolved\n");
  ASSERT_FALSE(resolve({"both"}));
  commitWell({"both"}, "rebased");
  EXPECT_THAT(committed(), ElementsAre("both"));
  EXPECT_EQ(status(), (Status{{"c", {"modified"}}}));
}

TEST_F(GitPlugInCommitTest, whatHasVanishedIsCommittedAsGoneAndWhatNeverWasIsTold) {
  fs::remove_all(_repository.pathOf("folder"));
  fs::remove(_repository.pathOf("a"));
  _repository.write("b", "changed\n");
  expectRefused({"b", "never"}, Code::pathNotFound, "never");
  commitWell({"a", "folder/d", "b"});
  EXPECT_THAT(committed(), ElementsAre("a", "b", "folder/d"));
  commitWell({"folder"});
  EXPECT_THAT(committed(), ElementsAre("folder/e"));
}

/// What was staged as new and is gone since, so that neither a revision nor the disk has it.
struct Vanished {
  const char* what;
  Files staged;
  Files gone;
  Files named;
  /// With another file that changed, the commit holds that and these.
  std::vector<std::string> alsoGone;
};

TEST_F(GitPlugInCommitTest, whatWasStagedAsNewAndIsGoneIsNoPartOfACommit) {
  std::vector<Vanished> cases = {
      {"a file", {"new"}, {"new"}, {"new"}, {}},
      {"a folder", {"made/x", "made/in it/y"}, {"made"}, {"made"}, {}},
      {"all files of a folder that stays", {"made/x", "made/y"}, {"made/x", "made/y"}, {"made"}, {}},
      {"a file of a folder, by its own name", {"made/x", "made/y"}, {"made/x"}, {"made/x"}, {}},
      {"a file with signs of patterns", {"-*"}, {"-*"}, {"-*"}, {}},
      {"beside a committed file that is gone", {"new"}, {"new", "b"}, {"new", "b"}, {"b"}},
  };
  for (const Vanished& vanished : cases) {
    SCOPED_TRACE(vanished.what);
    _repository.write("b", "back\n");
    _repository.run({"add", "b"});
    _repository.tryRun({"commit", "-q", "-m", "b"});
    for (const String& path : vanished.staged) _repository.write(path.str(), "new\n");
    ASSERT_FALSE(add(vanished.staged));
    for (const String& path : vanished.gone) fs::remove_all(_repository.pathOf(path.str()));
    if (vanished.alsoGone.empty()) expectRefused(vanished.named, Code::remoteOperationUpToDate, "");
    Files named = vanished.named;
    named.push_back("a");
    _repository.write("a", vanished.what);
    commitWell(named);
    std::vector<std::string> expected = vanished.alsoGone;
    expected.insert(expected.begin(), "a");
    EXPECT_EQ(committed(), expected);
    for (const String& path : vanished.gone) {
      EXPECT_EQ(_repository.run({"ls-files", "--", ":(literal)" + path.str()}), "") << "is staged no more";
    }
    _repository.run({"reset", "-q", "--hard"});
  }
}

TEST_F(GitPlugInCommitTest, aMoveWhoseNewSideIsGoneCommitsThatTheOldSideIsGone) {
  ASSERT_FALSE(move({"a"}, {"moved"}));
  fs::remove(_repository.pathOf("moved"));
  expectRefused({"moved"}, Code::remoteOperationUpToDate, "");
  commitWell({"a", "moved"});
  EXPECT_THAT(committed(), ElementsAre("a"));
  EXPECT_EQ(status(), Status());
}

TEST_F(GitPlugInCommitTest, onABranchWithoutCommitsWhatIsGoneIsNoPartOfTheFirst) {
  _repository.run({"checkout", "-q", "--orphan", "first"});
  _repository.run({"rm", "-rqf", "--cached", "."});
  ASSERT_FALSE(add({"a", "b"}));
  fs::remove(_repository.pathOf("a"));
  expectRefused({"a"}, Code::remoteOperationUpToDate, "");
  commitWell({"a", "b"});
  EXPECT_EQ(_repository.run({"ls-tree", "-r", "--name-only", "HEAD"}), "b");
}

TEST_F(GitPlugInCommitTest, manyAtOnceAllSucceedOneAfterTheOther) {
  constexpr int count = 12;
  std::vector<Reply<QRBSourceControlRevisionPtr>> replies(count);
  for (int number = 0; number < count; ++number) {
    std::string name = "file " + std::to_string(number);
    _repository.write(name, name);
    workingCopy()->commitFiles({name}, name, replies[static_cast<std::size_t>(number)].completion());
  }
  std::set<std::string> revisions;
  for (int number = 0; number < count; ++number) {
    auto [revision, error] = replies[static_cast<std::size_t>(number)].wait();
    ASSERT_TRUE(revision) << error.description() << underlyingMessage(error);
    revisions.insert(revision->identifier().str());
    EXPECT_EQ(_repository.run({"show", "--format=%s", "--name-only", revision->identifier().str()}),
              "file " + std::to_string(number) + "\n\nfile " + std::to_string(number));
  }
  EXPECT_EQ(revisions.size(), static_cast<std::size_t>(count));
  EXPECT_EQ(status(), Status());
}

}  // namespace
}  // namespace qrb::test
