#include <sys/stat.h>
#include <unistd.h>

#include "GitWorkTesting.h"

// What the plug-in does to files, seen with git itself and on disk.
namespace qrb::test {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;
using testing::HasSubstr;
using Status = std::map<std::string, Words>;

class GitPlugInFilesTest : public GitWorkTest {
 protected:
  GitPlugInFilesTest() {
    for (const char* path : {"a", "b", "folder/c", "folder/d", "folder/deep/e"}) _repository.write(path, path + "\n"s);
    _repository.write(".gitignore", "*.o\n");
    _repository.commit("one");
  }

  Error makeFolder(const String& path, bool withParents, const Dictionary& attributes = Dictionary::object()) {
    return perform([&](auto done) { workingCopy()->createDirectory(path, withParents, attributes, done); });
  }
};

TEST_F(GitPlugInFilesTest, aListOfAnyLengthIsOneRequest) {
  Files files;
  for (int number = 0; number < 3000; ++number) {
    // Together far more than a command line holds.
    files.push_back("many/" + std::string(200, 'x') + std::to_string(number));
    _repository.write(files.back().view(), "1");
  }
  ASSERT_FALSE(add(files));
  EXPECT_EQ(status().size(), files.size());
  EXPECT_FALSE(std::get<1>(commit(files)));
  EXPECT_EQ(status().size(), 0u);
}

TEST_F(GitPlugInFilesTest, whatCannotBeAddedIsNamedAndNothingElseIsAdded) {
  _repository.write("good", "1");
  _repository.write("made.o", "1");
  fs::create_directory_symlink(fs::temp_directory_path(), _repository.pathOf("link"));
  const struct {
    String file;
    Code code;
    const char* words;
  } cases[] = {
      {"missing", Code::pathNotFound, "missing"},
      {"", Code::pathNotFound, "no path"},
      {"zero\0byte"s, Code::pathNotFound, "zero byte"},
      {"../outside", Code::pathNotFound, "outside"},
      {"folder/../../outside", Code::pathNotFound, "outside"},
      {"/etc/passwd", Code::pathNotFound, "outside"},
      {_repository.root() + "-beside/file", Code::pathNotFound, "outside"},
      {".git/config", Code::pathNotFound, "repository itself"},
      {"folder/.GIT/config", Code::pathNotFound, "repository itself"},
      {"link/file", Code::pathNotFound, "symbolic link"},
  };
  for (const auto& each : cases) {
    Error error = add({"good", each.file});
    EXPECT_TRUE(has(error, each.code)) << each.file.view() << ": " << error.description();
    EXPECT_THAT(underlyingMessage(error), HasSubstr(each.words));
    EXPECT_EQ(_repository.run({"diff", "--cached", "--name-only"}), "") << each.file.view();
  }
  Error error = add({"made.o"});
  EXPECT_TRUE(has(error, Code::systemUnusable)) << error.description();
  EXPECT_THAT(underlyingMessage(error), HasSubstr("ignored"));
}

TEST_F(GitPlugInFilesTest, aRootBehindALinkIsTheSameWorkingCopy) {
  std::string link = _repository.beside("link");
  fs::create_directory_symlink(_repository.root(), link);
  _repository.write("new", "1");
  _repository.write("more", "1");
  auto addThere = [&](const std::string& file, const std::string& root) {
    return perform([&](auto done) { workingCopyAt(root)->addFiles({file}, done); });
  };
  EXPECT_FALSE(addThere(_repository.pathOf("new"), link));
  EXPECT_FALSE(addThere(link + "/more", _repository.root()));
  EXPECT_EQ(_repository.run({"diff", "--cached", "--name-only"}), "more\nnew");
}

TEST_F(GitPlugInFilesTest, removesFilesAndFoldersButNoWorkThatIsNowhereElse) {
  _repository.write("a", "changed");
  _repository.write("staged", "new");
  _repository.run({"add", "staged"});
  for (const char* file : {"a", "staged"}) {
    Error error = remove({"folder", file});
    EXPECT_TRUE(has(error, Code::repositoryMidOperation)) << error.description();
    EXPECT_THAT(underlyingMessage(error), HasSubstr(file));
    EXPECT_EQ(read("folder/c"), "folder/c\n");
  }
  EXPECT_TRUE(has(remove({"b", "missing"}), Code::pathNotFound));
  EXPECT_EQ(read("b"), "b\n");
  EXPECT_EQ(remove({"folder", "b"}), Error());
  EXPECT_EQ(read("folder/c") + read("b"), "(gone)(gone)");
  EXPECT_EQ(_repository.run({"ls-files"}), ".gitignore\na\nstaged");
}

TEST_F(GitPlugInFilesTest, copiesKeepWhatIsOnDiskAndAreStaged) {
  _repository.write("folder/c", "changed");
  _repository.write("folder/untracked", "1");
  fs::permissions(_repository.pathOf("folder/d"), fs::perms::owner_exec, fs::perm_options::add);
  fs::create_symlink("nowhere", _repository.pathOf("link"));
  ASSERT_FALSE(add({"link"}));
  Error error = copy({"folder", "a", "link"}, {"x/copy", "-a", "x/link"});
  EXPECT_FALSE(error) << error.description();
  EXPECT_EQ(read("x/copy/c"), "changed");
  EXPECT_EQ(read("x/copy/deep/e"), "folder/deep/e\n");
  EXPECT_EQ(::access(_repository.pathOf("x/copy/d").c_str(), X_OK), 0);
  EXPECT_EQ(fs::read_symlink(_repository.pathOf("x/link")), "nowhere");
  EXPECT_EQ(_repository.run({"diff", "--cached", "--no-renames", "--name-only"}),
            "-a\nlink\nx/copy/c\nx/copy/d\nx/copy/deep/e\nx/link");
}

TEST_F(GitPlugInFilesTest, movesTakeWhatIsStagedAndWhatIsNotWithThem) {
  _repository.write("a", "staged");
  ASSERT_FALSE(add({"a"}));
  _repository.write("a", "staged and more");
  Error error = move({"a", "folder/deep"}, {"x/y/a", "deep"});
  EXPECT_FALSE(error) << error.description();
  EXPECT_EQ(read("x/y/a"), "staged and more");
  EXPECT_EQ(_repository.run({"show", ":x/y/a"}), "staged");
  EXPECT_EQ(read("deep/e"), "folder/deep/e\n");
  EXPECT_EQ(read("a") + read("folder/deep/e"), "(gone)(gone)");
}

TEST_F(GitPlugInFilesTest, copiesAndMovesThatCannotBeDoneDoNothing) {
  _repository.write("untracked", "1");
  fs::create_directory(_repository.pathOf("empty"));
  fs::create_directory_symlink(fs::temp_directory_path(), _repository.pathOf("link"));
  const struct {
    Files from;
    Files to;
    Code code;
  } cases[] = {
      {{"a", "b"}, {"new/x"}, Code::pathNotFound},
      {{"a", "untracked"}, {"new/x", "y"}, Code::pathNotFound},
      {{"a", "missing"}, {"new/x", "y"}, Code::pathNotFound},
      {{"a", "b"}, {"new/x", "folder"}, Code::repositoryExists},
      {{"a", "b"}, {"new/x", "empty"}, Code::repositoryExists},
      {{"a", "b"}, {"new/x", "untracked"}, Code::repositoryExists},
      {{"a", "b"}, {"new/x", "./new/x"}, Code::repositoryExists},
      {{"a", "b"}, {"new/x", "../x"}, Code::pathNotFound},
      {{"a", "b"}, {"new/x", "link/x"}, Code::pathNotFound},
      {{"a", "b"}, {"new/x", ".git/hooks/post-commit"}, Code::pathNotFound},
      {{"a", "../a"}, {"new/x", "y"}, Code::pathNotFound},
      {{"a", "."}, {"new/x", "y"}, Code::pathNotFound},
      {{"a", "folder"}, {"new/x", "folder/deep/er"}, Code::systemUnusable},
      {{"a", "b"}, {"new/x", "folder/c/x"}, Code::repositoryExists},
  };
  Status before = status();
  for (const auto& each : cases) {
    for (bool moves : {false, true}) {
      Error error = moves ? move(each.from, each.to) : copy(each.from, each.to);
      EXPECT_TRUE(has(error, each.code)) << each.to.back().view() << error.description();
      EXPECT_EQ(status(), before) << each.to.back().view();
      EXPECT_FALSE(fs::exists(_repository.pathOf("new"))) << each.to.back().view();
      EXPECT_EQ(read("a"), "a\n");
    }
  }
  EXPECT_TRUE(has(copy({"a"}, {"made.o"}), Code::systemUnusable)) << "ignored, so it could not be staged";
  EXPECT_EQ(read("made.o"), "(gone)");
}

TEST_F(GitPlugInFilesTest, makesFoldersOnDiskAndNowhereElse) {
  EXPECT_FALSE(makeFolder("one", false));
  EXPECT_TRUE(has(makeFolder("one", false), Code::repositoryExists));
  EXPECT_FALSE(makeFolder("one", true));
  EXPECT_TRUE(has(makeFolder("two/three", false), Code::pathNotFound));
  EXPECT_FALSE(makeFolder("two/three", true, {{"posixPermissions", 0700}}));
  struct stat info {};
  ASSERT_EQ(::stat(_repository.pathOf("two/three").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0700u);
  fs::create_directory_symlink(fs::temp_directory_path(), _repository.pathOf("link"));
  for (const char* path : {"../x", "/tmp/x", "link/x", ".git/x", ""}) {
    EXPECT_TRUE(has(makeFolder(path, true), Code::pathNotFound)) << path;
  }
  EXPECT_TRUE(makeFolder("a/b", true)) << "a is a file";
  EXPECT_EQ(status(), (Status{{"link", {"untracked"}}}));
}

TEST_F(GitPlugInFilesTest, discardingDeletesNoFileThatIsNowhereElse) {
  for (bool all : {false, true}) {
    _repository.write("new", "new");
    _repository.write("untracked", "untracked");
    ASSERT_FALSE(add({"new"}));
    EXPECT_FALSE(all ? discardAll() : discard({"."}));
    EXPECT_EQ(status(), (Status{{"new", {"untracked"}}, {"untracked", {"untracked"}}}));
    EXPECT_EQ(read("new"), "new");
  }
}

TEST_F(GitPlugInFilesTest, discardingAMoveTakesItBackWhicheverNameIsGiven) {
  for (const char* name : {"moved", "a"}) {
    ASSERT_FALSE(move({"a"}, {"moved"}));
    EXPECT_FALSE(discard({name}));
    EXPECT_EQ(status(), Status()) << name;
    EXPECT_EQ(read("a") + read("moved"), "a\n(gone)");
  }
  ASSERT_FALSE(move({"a"}, {"moved"}));
  _repository.write("a", "another file");
  EXPECT_TRUE(has(discard({"moved"}), Code::repositoryMidOperation)) << "the other file would be lost";
  EXPECT_EQ(read("a"), "another file");
}

TEST_F(GitPlugInFilesTest, discardingWithAnUnknownNameDiscardsNothing) {
  _repository.write("a", "changed");
  _repository.write("untracked", "1");
  for (const char* name : {"missing", "untracked", "../x"}) {
    EXPECT_TRUE(has(discard({"a", name}), Code::pathNotFound)) << name;
    EXPECT_EQ(read("a"), "changed");
  }
}

TEST_F(GitPlugInFilesTest, worksBeforeTheFirstRevision) {
  _repository.run({"checkout", "-q", "--orphan", "fresh"});
  _repository.run({"rm", "-rqf", "."});
  _repository.write("x", "1");
  ASSERT_FALSE(add({"x"}));
  EXPECT_FALSE(move({"x"}, {"y"}));
  EXPECT_FALSE(discard({"y"}));
  EXPECT_EQ(status(), (Status{{"y", {"untracked"}}}));
  ASSERT_FALSE(add({"y"}));
  EXPECT_FALSE(discardAll());
  EXPECT_EQ(read("y"), "1");
}

TEST_F(GitPlugInFilesTest, conflictsAreMarkedAsResolvedAndNothingElseIsStaged) {
  makeConflictingBranches();
  EXPECT_NE(_repository.tryRun({"merge", "side"}).status, 0);
  _repository.write("other", "not part of the merge");
  _repository.write("both", "resolved");
  EXPECT_TRUE(has(resolve({"both", "missing"}), Code::pathNotFound));
  EXPECT_FALSE(resolve({"other"}));
  EXPECT_EQ(status()["other"], (Words{"modified"}));
  EXPECT_FALSE(resolve({"."}));
  EXPECT_EQ(status(),
            (Status{{"both", {"staged-modified"}}, {"from side", {"staged-added"}}, {"other", {"modified"}}}));
}

TEST_F(GitPlugInFilesTest, discardingAConflictTakesOurSideAndDiscardingAllEndsTheMerge) {
  makeConflictingBranches();
  EXPECT_NE(_repository.tryRun({"merge", "side"}).status, 0);
  EXPECT_FALSE(discard({"both"}));
  EXPECT_EQ(read("both"), "main\n");
  EXPECT_TRUE(fs::exists(_repository.pathOf(".git/MERGE_HEAD")));
  _repository.write("mine", "added by hand");
  ASSERT_FALSE(add({"mine"}));
  EXPECT_FALSE(discardAll());
  EXPECT_FALSE(fs::exists(_repository.pathOf(".git/MERGE_HEAD")));
  EXPECT_EQ(status(), (Status{{"mine", {"untracked"}}})) << "what came from the other side goes, what is ours stays";
}

TEST_F(GitPlugInFilesTest, whatMayNotBeWrittenIsTold) {
  if (::geteuid() == 0) GTEST_SKIP() << "root may write everywhere";
  fs::permissions(_repository.pathOf("folder"), fs::perms::owner_write, fs::perm_options::remove);
  Error error = copy({"a"}, {"folder/x"});
  EXPECT_TRUE(has(error, Code::authenticationPermissionDenied)) << error.description();
}

}  // namespace
}  // namespace qrb::test
