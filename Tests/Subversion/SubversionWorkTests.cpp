#include "SubversionTesting.h"

namespace qrb::test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

class SubversionWorkTest : public SubversionTest {
 protected:
  /// What a revision changed, as svn tells it, a letter and a path each.
  std::string changesOf(const String& revision) const {
    std::string log = _repository.svn({"log", "-q", "-v", "-r", revision.str(), _repository.rootURL()});
    std::string changes;
    for (const std::string& line : split(log, '\n')) {
      if (line.starts_with("   ")) changes += (changes.empty() ? "" : ", ") + line.substr(3);
    }
    return changes;
  }
};

TEST_F(SubversionWorkTest, aCommitHoldsExactlyWhatIsNamedAndWhatThatNeeds) {
  for (const char* name : {"kept.txt", "named.txt", "gone.txt", "missing.txt", "folder/inner.txt", "old/a", "old/b"}) {
    _repository.write(name, "1\n");
  }
  _repository.commit();
  struct Case {
    const char* what;
    std::function<void()> prepare;
    Files files;
    std::string changes;
  };
  const Case cases[] = {
      {"one of two modified files",
       [&] {
         _repository.write("kept.txt", "2\n");
         _repository.write("named.txt", "2\n");
       },
       {"named.txt"},
       "M /trunk/named.txt"},
      {"a new file in new folders, without their other files",
       [&] {
         _repository.write("new/deep/file.txt", "1\n");
         _repository.write("new/other.txt", "1\n");
       },
       {"new/deep/file.txt"},
       "A /trunk/new, A /trunk/new/deep, A /trunk/new/deep/file.txt"},
      {"what is missing is deleted",
       [&] { fs::remove(_repository.root() + "/missing.txt"); },
       {"missing.txt"},
       "D /trunk/missing.txt"},
      {"a deleted folder goes as a whole",
       [&] {
         _repository.svn({"remove", "old"});
       },
       {"old"},
       "D /trunk/old"},
      {"both halves of a move",
       [&] {
         _repository.svn({"move", "gone.txt", "moved.txt"});
       },
       {"moved.txt"},
       "D /trunk/gone.txt, A /trunk/moved.txt (from /trunk/gone.txt:7)"},
      {"a copied folder with a change in it, beside a new folder",
       [&] {
         _repository.svn({"copy", "folder", "copied"});
         _repository.write("copied/inner.txt", "2\n");
         _repository.write("fresh/file.txt", "1\n");
         _repository.write("fresh/ignored.txt", "1\n");
       },
       {"copied", "fresh/file.txt"},
       "A /trunk/copied (from /trunk/folder:8), M /trunk/copied/inner.txt, A /trunk/fresh, A /trunk/fresh/file.txt"},
      {"a deleted folder beside a new one",
       [&] {
         _repository.svn({"remove", "copied"});
         _repository.write("beside/file.txt", "1\n");
       },
       {"copied", "beside/file.txt"},
       "D /trunk/copied, A /trunk/beside, A /trunk/beside/file.txt"},
      {"everything in a folder, but for what a rule ignores",
       [&] {
         _repository.write("all/a.txt", "1\n");
         _repository.write("all/b.o", "1\n");
       },
       {"all"},
       "A /trunk/all, A /trunk/all/a.txt"}};
  for (const Case& each : cases) {
    SCOPED_TRACE(each.what);
    _repository.svn({"update"});
    each.prepare();
    auto [revision, error] = commit(each.files);
    ASSERT_TRUE(revision) << error.description() << underlyingMessage(error);
    std::string changes = changesOf(revision->identifier());
    std::vector<std::string> expected = split(each.changes, ',');
    EXPECT_EQ(std::multiset(expected.begin(), expected.end()).size(), split(changes, ',').size()) << changes;
    for (std::string part : expected) {
      part.erase(0, part.find_first_not_of(' '));
      // Which revision a copy was made from depends on what was committed before.
      EXPECT_THAT(changes, HasSubstr(part.substr(0, part.find(':')))) << changes;
    }
  }
  EXPECT_EQ(status()["kept.txt"], Words{"modified"});
}

TEST_F(SubversionWorkTest, aCommitThatFailsSaysWhyAndLeavesEverythingAsItWas) {
  _repository.write("file.txt", "1\n");
  _repository.commit();
  EXPECT_THAT(std::get<1>(commit({"file.txt"})).localizedDescription(), HasSubstr("nothing to commit"));
  _repository.write("untracked", "1\n");
  EXPECT_TRUE(has(std::get<1>(commit({"untracked", "nothing"})), Code::pathNotFound));
  EXPECT_EQ(status()["untracked"], Words{"untracked"});
  _repository.setHook("pre-commit", "echo 'not on a Friday' >&2\nexit 1\n");
  _repository.write("file.txt", "2\n");
  _repository.write("new/file.txt", "1\n");
  fs::create_directory(_repository.root() + "/empty");
  auto before = status();
  auto [refused, refusal] = commit({"file.txt", "new/file.txt"});
  EXPECT_FALSE(refused);
  EXPECT_TRUE(has(refusal, Code::remoteOperationRejected)) << refusal.description();
  EXPECT_THAT(underlyingMessage(refusal), HasSubstr("not on a Friday"));
  EXPECT_EQ(status(), before);
  fs::remove(_repository.pathOf("repository/hooks/pre-commit"));
  _repository.svn({"checkout", _repository.url("trunk"), _repository.pathOf("other")});
  std::ofstream(_repository.pathOf("other/file.txt")) << "theirs\n";
  _repository.svn({"commit", "-m", "theirs", _repository.pathOf("other")});
  auto [late, outOfDate] = commit({"file.txt"});
  EXPECT_THAT(outOfDate.localizedDescription(), HasSubstr("out of date")) << underlyingMessage(outOfDate);
  EXPECT_EQ(status(), before);
}

TEST_F(SubversionWorkTest, branchesAreMadeSwitchedToMergedAndRemoved) {
  _repository.write("file.txt", "1\n");
  _repository.commit();
  auto [made, error] = switchTo(QRBSourceControlBranch::initWithNewBranchName("feature/x"));
  ASSERT_TRUE(made) << error.description() << underlyingMessage(error);
  EXPECT_EQ(made->displayName(), "feature/x");
  EXPECT_EQ(_repository.svn({"info", "--show-item", "relative-url"}), "^/branches/feature/x");
  _repository.write("file.txt", "1\n2\n");
  ASSERT_TRUE(std::get<0>(commit({})));
  auto [back, backError] = switchTo(branch("trunk"));
  ASSERT_TRUE(back) << backError.description();
  EXPECT_EQ(_repository.read("file.txt"), "1\n");
  Error merged = merge("feature/x");
  EXPECT_FALSE(merged) << merged.description() << underlyingMessage(merged);
  EXPECT_EQ(_repository.read("file.txt"), "1\n2\n");
  ASSERT_TRUE(std::get<0>(commit({})));
  // What is merged is known, and is not merged twice.
  EXPECT_FALSE(update());
  EXPECT_FALSE(merge("feature/x"));
  EXPECT_EQ(_repository.read("file.txt"), "1\n2\n");
  EXPECT_FALSE(status().contains("file.txt"));
  auto [parent, parents, parentError] = [&] {
    Reply<QRBSourceControlBranchPtr, std::vector<QRBSourceControlBranchPtr>> reply;
    manager()->parentBranchesOfBranch(branch("feature/x"), repository(), nullptr, reply.completion());
    return reply.wait();
  }();
  ASSERT_TRUE(parent) << parentError.description();
  EXPECT_EQ(parent->name(), "trunk");
  auto [ancestor, ancestorError] = ask<QRBSourceControlRevisionPtr>([&](auto done) {
    manager()->ancestorRevisionInRepository(repository(), branch("trunk"), branch("feature/x"), nullptr, done);
  });
  ASSERT_TRUE(ancestor) << ancestorError.description();
  EXPECT_EQ(ancestor->identifier(), "2");
  Error removed =
      perform([&](auto done) { manager()->removeBranch(branch("feature/x"), repository(), nullptr, nullptr, done); });
  EXPECT_FALSE(removed) << removed.description();
  Error gone = merge("feature/x");
  EXPECT_TRUE(has(gone, Code::branchNotFound)) << gone.description() << underlyingMessage(gone);
}

TEST_F(SubversionWorkTest, conflictsAreToldLeftInPlaceAndResolved) {
  for (const char* name : {"text.txt", "deleted.txt"}) _repository.write(name, "1\n");
  _repository.commit();
  _repository.svn({"copy", "-m", "branch", _repository.url("trunk"), _repository.url("branches/b")});
  _repository.write("text.txt", "ours\n");
  _repository.svn({"remove", "deleted.txt"});
  _repository.commit();
  _repository.svn({"checkout", _repository.url("branches/b"), _repository.pathOf("b")});
  for (const char* name : {"b/text.txt", "b/deleted.txt"}) std::ofstream(_repository.pathOf(name)) << "theirs\n";
  _repository.svn({"commit", "-m", "theirs", _repository.pathOf("b")});
  Error error = merge("b");
  EXPECT_TRUE(has(error, Code::repositoryMidOperation)) << error.description() << underlyingMessage(error);
  auto conflicted = status();
  EXPECT_TRUE(conflicted["text.txt"].contains("both-modified")) << testing::PrintToString(conflicted);
  EXPECT_TRUE(conflicted["deleted.txt"].contains("tree-conflict")) << testing::PrintToString(conflicted);
  EXPECT_TRUE(has(std::get<1>(commit({})), Code::repositoryMidOperation));
  _repository.write("text.txt", "both\n");
  Error resolved = perform([&](auto done) { workingCopy()->markAsResolvedFiles({"text.txt", "deleted.txt"}, done); });
  EXPECT_FALSE(resolved) << resolved.description();
  auto [revision, commitError] = commit({});
  EXPECT_TRUE(revision) << commitError.description() << underlyingMessage(commitError);
}

TEST_F(SubversionWorkTest, filesAreMovedCopiedRemovedAndDiscardedWithoutLosingAnything) {
  for (const char* name : {"a", "b", "c", "folder/d"}) _repository.write(name, "1\n");
  _repository.commit();
  auto move = [&](const Files& from, const Files& to) {
    return perform([&](auto done) { workingCopy()->moveFiles(from, to, done); });
  };
  // The second destination is taken, so neither is moved.
  EXPECT_TRUE(has(move({"a", "b"}, {"x", "c"}), Code::repositoryExists));
  EXPECT_TRUE(status().empty());
  EXPECT_FALSE(move({"a", "b"}, {"new/x", "new/y"}));
  EXPECT_TRUE(status()["new/x"].contains("renamed"));
  Error discarded = perform([&](auto done) { workingCopy()->discardChangesInFiles({"new/x"}, done); });
  EXPECT_FALSE(discarded) << discarded.description() << underlyingMessage(discarded);
  EXPECT_EQ(_repository.read("a"), "1\n");
  EXPECT_FALSE(perform([&](auto done) { workingCopy()->discardAllChangesWithCompletionBlock(done); }));
  EXPECT_EQ(_repository.read("b"), "1\n");
  _repository.write("c", "changed\n");
  auto remove = [&](const Files& files) {
    return perform([&](auto done) { workingCopy()->removeFiles(files, done); });
  };
  EXPECT_TRUE(has(remove({"a", "c"}), Code::repositoryMidOperation));
  EXPECT_EQ(_repository.read("a"), "1\n");
  EXPECT_FALSE(remove({"a", "folder"}));
  EXPECT_TRUE(status()["folder"].contains("deleted")) << testing::PrintToString(status());
  fs::create_directory(_repository.pathOf("elsewhere"));
  std::ofstream(_repository.pathOf("elsewhere/file")) << "theirs\n";
  fs::create_directory_symlink(_repository.pathOf("elsewhere"), _repository.root() + "/link");
  EXPECT_TRUE(has(std::get<1>(commit({"link/file"})), Code::pathNotFound));
  for (const char* outside : {"link/file", "../elsewhere", "/etc/passwd", ".svn/wc.db", "folder/../../x"}) {
    EXPECT_TRUE(has(remove({outside}), Code::pathNotFound)) << outside;
  }
}

}  // namespace
}  // namespace qrb::test
