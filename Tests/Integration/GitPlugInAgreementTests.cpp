#include <filesystem>
#include <functional>

#include "GitPlugInTesting.h"

// Awkward repositories, on each of which the plug-in has to say what git itself says.
namespace qrb::test {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

struct Case {
  const char* name;
  /// Makes the repository awkward and returns the root to ask about.
  std::string (*make)(GitRepository& repository);
};

std::string oddNames(GitRepository& repository) {
  for (const char* name : {"with space", "quote\"s'", "line\nfeed", "-dash", "--", "tab\there", "\xff\xfe not UTF-8",
                           "ü/ö", ":(glob)*", "trailing "}) {
    repository.write(name, "1");
  }
  repository.commit("odd names\n\nwith “quotes” and a second paragraph");
  repository.write("-dash", "2");
  repository.write("\xff\xfe not UTF-8", "2");
  repository.run({"mv", "--", "line\nfeed", "-renamed\nfeed"});
  repository.write("new\n\xfe", "");
  repository.write("-new/folder/file", "");
  return repository.root();
}

std::string conflicts(GitRepository& repository) {
  for (const char* name : {"both", "ours", "theirs", "same"}) repository.write(name, "base\n");
  repository.commit("base");
  repository.run({"checkout", "-q", "-b", "side"});
  repository.write("both", "side\n");
  repository.write("ours", "side\n");
  repository.write("added", "side\n");
  fs::remove(repository.pathOf("theirs"));
  repository.commit("side");
  repository.run({"checkout", "-q", "main"});
  repository.write("both", "main\n");
  repository.write("theirs", "main\n");
  repository.write("added", "main\n");
  fs::remove(repository.pathOf("ours"));
  repository.commit("main");
  EXPECT_NE(repository.tryRun({"merge", "side"}).status, 0);
  repository.write("untracked", "");
  return repository.root();
}

std::string merged(GitRepository& repository) {
  repository.write("a", "1");
  repository.commit("one");
  repository.run({"checkout", "-q", "-b", "side"});
  repository.write("b", "1");
  repository.commit("two");
  repository.run({"checkout", "-q", "main"});
  repository.write("c", "1");
  repository.commit("three");
  repository.run({"merge", "-q", "--no-ff", "-m", "merge", "side"});
  repository.commitStaged("");
  return repository.root();
}

std::string renames(GitRepository& repository) {
  std::string text;
  for (int line = 0; line < 50; ++line) text += "line " + std::to_string(line) + "\n";
  repository.write("old", text);
  repository.write("kept", text + "x");
  repository.write("type", "file");
  repository.commit("one");
  repository.run({"mv", "old", "new"});
  repository.write("new", text + "changed\n");
  repository.commit("renamed with a change");
  repository.run({"mv", "new", "newer"});
  repository.write("newer", text + "changed again\n");
  repository.run({"mv", "kept", "folder"});
  repository.write("kept", "another file under the name of one that was moved");
  fs::remove(repository.pathOf("type"));
  fs::create_symlink("newer", repository.pathOf("type"));
  return repository.root();
}

std::string submodule(GitRepository& repository) {
  std::string inner = repository.beside("inner");
  repository.run({"init", "-q", "-b", "main", inner});
  repository.run({"-C", inner, "commit", "-q", "--allow-empty", "-m", "inner"});
  repository.run({"submodule", "--quiet", "add", inner, "sub"});
  repository.commit("with submodule");
  repository.run({"-C", repository.pathOf("sub"), "commit", "-q", "--allow-empty", "-m", "more"});
  repository.write("sub/untracked", "");
  return repository.root();
}

const Case cases[] = {
    {"empty", [](GitRepository& repository) { return repository.root(); }},
    {"noCommitsButFiles",
     [](GitRepository& repository) {
       repository.write("staged", "1");
       repository.run({"add", "staged"});
       repository.write("untracked", "");
       return repository.root();
     }},
    {"detached",
     [](GitRepository& repository) {
       repository.write("a", "1");
       repository.commit("one");
       repository.commit("two");
       repository.run({"checkout", "-q", "HEAD^"});
       repository.write("a", "2");
       return repository.root();
     }},
    {"stagedAndMore",
     [](GitRepository& repository) {
       repository.write("a", "1");
       repository.write("gone", "1");
       repository.write(".gitignore", "*.o\nout/\n");
       repository.commit("one");
       repository.write("a", "2");
       repository.run({"add", "a"});
       repository.write("a", "3");
       repository.run({"rm", "-q", "--cached", "gone"});
       repository.write("x.o", "");
       repository.write("out/deep/file", "");
       return repository.root();
     }},
    {"oddNames", oddNames},
    {"conflicts", conflicts},
    {"merged", merged},
    {"renames", renames},
    {"submodule", submodule},
    {"insideSubmodule", [](GitRepository& repository) { return submodule(repository) + "/sub"; }},
    {"worktree",
     [](GitRepository& repository) {
       repository.write("a", "1");
       repository.commit("one");
       std::string root = repository.beside("tree");
       repository.run({"worktree", "add", "-q", "-b", "other/branch", root});
       repository.run({"-C", root, "commit", "-q", "--allow-empty", "-m", "in the tree"});
       repository.run({"-C", root, "rm", "-q", "a"});
       return root;
     }},
    {"shallow",
     [](GitRepository& repository) {
       repository.write("a", "1");
       repository.commit("one");
       repository.write("a", "2");
       repository.commit("two");
       std::string root = repository.beside("clone");
       repository.run({"clone", "-q", "--depth=1", "file://" + repository.root(), root});
       return root;
     }},
};

class GitAgreement : public GitPlugInTest, public testing::WithParamInterface<Case> {
 protected:
  void SetUp() override { _root = GetParam().make(_repository); }

  std::string git(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"-C", _root});
    ProgramResult result = _repository.tryRun(arguments);
    return result.status == 0 ? result.output : std::string();
  }

  GitRepository _repository;
  std::string _root;
};

std::string wordOf(char letter) {
  switch (letter) {
    case 'M':
      return "modified";
    case 'A':
      return "added";
    case 'D':
      return "deleted";
    case 'R':
      return "renamed";
    case 'C':
      return "copied";
    case 'T':
      return "type-changed";
    default:
      return "";
  }
}

/// The words whose meaning is in the two letters of git's short form, which is another one than the plug-in reads.
Words plainWords(const Words& words) {
  Words result;
  for (const std::string& word : words) {
    std::string kind = word.starts_with("staged-") ? word.substr(7) : word;
    bool isPlain = kind == "modified" || kind == "added" || kind == "deleted" || kind == "renamed" ||
                   kind == "copied" || kind == "type-changed" || kind == "untracked" || kind == "ignored" ||
                   kind == "conflicted" || kind == "moved-away";
    if (isPlain) result.insert(word);
  }
  return result;
}

std::map<std::string, Words> readShortStatus(const std::vector<std::string>& records) {
  std::map<std::string, Words> result;
  for (std::size_t index = 0; index < records.size(); ++index) {
    const std::string& record = records[index];
    std::string letters = record.substr(0, 2);
    std::string path = record.substr(3);
    if (path.ends_with('/')) path.pop_back();
    Words& words = result[path];
    if (letters == "??" || letters == "!!") {
      words.insert(letters == "??" ? "untracked" : "ignored");
    } else if (letters == "DD" || letters == "AA" || letters.find('U') != std::string::npos) {
      words.insert("conflicted");
    } else {
      if (letters[0] != ' ') words.insert("staged-" + wordOf(letters[0]));
      if (letters[1] != ' ') words.insert(wordOf(letters[1]));
      if (letters.find('R') != std::string::npos) result[records[++index]].insert("moved-away");
    }
  }
  return result;
}

TEST_P(GitAgreement, statusIsGits) {
  std::map<std::string, Words> reported;
  for (const auto& [path, words] : statusWordsOf(_root)) reported[path] = plainWords(words);
  std::string output = git({"status", "--porcelain=v1", "-z", "--ignored=matching"});
  EXPECT_EQ(reported, readShortStatus(split(output, '\0')));
}

TEST_P(GitAgreement, historyIsGits) {
  auto [items, error] = historyOf(workingCopyAt(_root));
  ASSERT_FALSE(error) << error.description();
  std::string reported;
  for (const auto& item : items) {
    auto seconds = std::chrono::duration_cast<std::chrono::seconds>(item->date().time_since_epoch()).count();
    reported += item->revision()->identifier().str() + "|" + item->author()->name().str() + "|" +
                item->author()->emails().at(0).str() + "|" + std::to_string(seconds) + "|" + item->message().str() +
                "\0"s;
  }
  // The message in the way in which git shows it: without the line feed at its end.
  std::string expected;
  for (const std::string& record : split(git({"log", "-z", "--format=%H|%an|%ae|%at|%B"}), '\0')) {
    expected += record.substr(0, record.find_last_not_of('\n') + 1) + "\0"s;
  }
  EXPECT_EQ(reported, expected);
}

TEST_P(GitAgreement, pathsOfEachRevisionAreGits) {
  auto [items, error] = historyOf(workingCopyAt(_root));
  ASSERT_FALSE(error) << error.description();
  for (const auto& item : items) {
    std::string revision = item->revision()->identifier().str();
    ASSERT_TRUE(item->isComplete());
    std::map<std::string, Words> expected;
    std::map<std::string, std::string> expectedRenames;
    const auto fields =
        split(git({"diff-tree", "--root", "-r", "-M", "-z", "--no-commit-id", "--name-status", revision}), '\0');
    for (std::size_t index = 0; index + 1 < fields.size(); index += 2) {
      char letter = fields[index][0];
      if (letter == 'R') {
        expectedRenames[fields[index + 1]] = fields[index + 2];
        ++index;
      }
      expected[fields[index + 1]] = {wordOf(letter)};
    }
    EXPECT_EQ(wordsOf(*item->pathsWithStatus()), expected) << revision;
    std::map<std::string, std::string> renamed;
    if (item->fileRenames()) {
      for (const auto& [from, to] : *item->fileRenames()) renamed[from.str()] = to.str();
    }
    EXPECT_EQ(renamed, expectedRenames) << revision;
  }
}

TEST_P(GitAgreement, revisionAndLocationAreGits) {
  std::string head = split(git({"rev-parse", "-q", "--verify", "HEAD"}) + "\n", '\n').front();
  auto [revision, revisionError] = baseRevisionOf(_root);
  if (head.empty()) {
    EXPECT_EQ(revisionError.code(), static_cast<std::int64_t>(QRBSourceControlErrorCode::revisionNotFound));
    EXPECT_FALSE(revision);
  } else {
    ASSERT_TRUE(revision) << revisionError.description();
    EXPECT_EQ(revision->identifier().str(), head);
  }
  auto [location, locationError] = locationOf(_root);
  ASSERT_TRUE(location) << locationError.description();
  std::string branch = split(git({"branch", "--show-current"}) + "\n", '\n').front();
  auto reported = std::dynamic_pointer_cast<const QRBSourceControlBranch>(location);
  EXPECT_EQ(reported ? reported->name().str() : "", branch);
  EXPECT_EQ(location->revision() ? location->revision()->identifier().str() : "", head);
}

INSTANTIATE_TEST_SUITE_P(Awkward, GitAgreement, testing::ValuesIn(cases),
                         [](const auto& tested) { return tested.param.name; });

}  // namespace
}  // namespace qrb::test
