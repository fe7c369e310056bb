#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

#include "GitFailure.h"
#include "GitParserDrivers.h"
#include "GitTestRepository.h"
#include "QRBSourceControlHistoryTypes.h"

using testing::Contains;
using testing::Not;

namespace {

TEST(GitEnvironment, dropsWhatSpeaksOfAnotherRepositoryAndKeepsTheUsersOwn) {
  const std::vector<const char*> inherited{"GIT_DIR=/x",
                                           "GIT_INDEX_FILE=/x",
                                           "GIT_TRACE=1",
                                           "GIT_CONFIG_COUNT=1",
                                           "LANGUAGE=de",
                                           "LC_ALL=de_DE.UTF-8",
                                           "GIT_ASKPASS=/x",
                                           "SSH_ASKPASS=/x",
                                           "GIT_SSH_COMMAND=ssh -x",
                                           "GIT_AUTHOR_NAME=A",
                                           "HOME=/h",
                                           "GITHUB_TOKEN=t",
                                           "odd"};
  auto environment = gitEnvironment(inherited, GitAccess::read, GitOutput::blocks);
  for (const char* dropped : {"GIT_DIR=/x", "GIT_INDEX_FILE=/x", "GIT_TRACE=1", "GIT_CONFIG_COUNT=1", "LANGUAGE=de",
                              "LC_ALL=de_DE.UTF-8", "GIT_ASKPASS=/x", "SSH_ASKPASS=/x"}) {
    EXPECT_THAT(environment, Not(Contains(dropped)));
  }
  for (const char* kept : {"GIT_SSH_COMMAND=ssh -x", "GIT_AUTHOR_NAME=A", "HOME=/h", "GITHUB_TOKEN=t", "odd",
                           "LC_ALL=C.UTF-8", "GIT_TERMINAL_PROMPT=0", "GIT_OPTIONAL_LOCKS=0"}) {
    EXPECT_THAT(environment, Contains(kept));
  }
  EXPECT_THAT(gitEnvironment(inherited, GitAccess::write, GitOutput::prompt), Not(Contains("GIT_OPTIONAL_LOCKS=0")));
}

TEST(GitCommands, refuseNamesThatGitWouldReadAsSomethingElse) {
  for (const char* text : {"", "-x", "--all", "--output=/tmp/x", "^main", "a..b", "a...b", "HEAD:file", ":/text",
                           "main^@", "main^!", "main^-", "a\nb"}) {
    EXPECT_FALSE(gitIsPlainRevision(text)) << text;
    GitCommand resolve = gitResolveCommand(text);
    EXPECT_FALSE(resolve) << text;
    EXPECT_TRUE(resolve.arguments.empty()) << text;
    EXPECT_THAT(resolve.refusal, testing::HasSubstr(text));
    if (*text == '\0') continue;
    EXPECT_FALSE(gitHistoryCommand({text, "", 0, 0, "", 0, ""})) << text;
    EXPECT_FALSE(gitHistoryCommand({"", text, 0, 0, "", 0, ""})) << text;
    EXPECT_FALSE(gitHistoryCommand({"", "", 0, 0, text, QRBSourceControlHistorySearchRevision, ""})) << text;
  }
  for (const char* text : {"main", "HEAD~3", "v1.0^2", "feature/x", "HEAD@{1}", "\xff"}) {
    EXPECT_TRUE(gitIsPlainRevision(text)) << text;
  }
  EXPECT_FALSE(gitHistoryCommand({"", "", 0, 0, "", 0, std::string("a\0b", 3)}));
}

struct FailureCase {
  const char* text;
  GitFailureKind kind;
  const char* detail;
};

TEST(GitFailure, isToldFromGitsMessage) {
  const FailureCase cases[] = {
      {"fatal: Unable to create '/r/it's/.git/index.lock': File exists.\n\nAnother git process seems to be running in "
       "this repository, e.g.\nan editor opened by 'git commit'.",
       GitFailureKind::locked, "/r/it's/.git/index.lock"},
      {"error: cannot lock ref 'refs/heads/x': Unable to create '/r/.git/refs/heads/x.lock': File exists.",
       GitFailureKind::locked, "/r/.git/refs/heads/x.lock"},
      {"error: index uses abcd extension, which we do not understand\nfatal: index file corrupt",
       GitFailureKind::repositoryTooNew, ""},
      {"fatal: .git/index: index file open failed: Permission denied", GitFailureKind::permissionDenied, ""},
      {"fatal: repo version is 0, but v1-only extension found:\n\tfoo", GitFailureKind::configurationBroken, ""},
      {"fatal: bad object refs/heads/x", GitFailureKind::targetMissing, "refs/heads/x"},
      {"error: Could not read 97ae96b9d6625e6e293d250c76f3699c9ad3d698\nfatal: Failed to traverse parents",
       GitFailureKind::repositoryCorrupt, "97ae96b9d6625e6e293d250c76f3699c9ad3d698"},
      {"error: object file .git/objects/66/ec4d is empty", GitFailureKind::repositoryCorrupt, ""},
      {"fatal: detected dubious ownership in repository at '/r'\nTo add an exception for this directory, call:\n",
       GitFailureKind::dubiousOwnership, "/r"},
      {"fatal: pathspec 'Unable to create 'x.lock': File exists.' did not match any files", GitFailureKind::unknownPath,
       "Unable to create "},
      {"fatal: ambiguous argument 'not a git repository': unknown revision or path not in the working tree.",
       GitFailureKind::unknownRevision, "not a git repository"},
      {"error: insufficient permission for adding an object to repository database .git/objects",
       GitFailureKind::permissionDenied, ""},
      {"fatal: transport 'ext' not allowed", GitFailureKind::protocolNotAllowed, "ext"},
      {"error: cannot lock ref 'HEAD': is at 1234 but expected 5678", GitFailureKind::locked, ""},
      {"error: the following file has local modifications:\n    a\n(use --cached to keep the file, or -f to force "
       "removal)",
       GitFailureKind::localChanges, ""},
      {"fatal: 'x' is already checked out at '/r'", GitFailureKind::branchInUse, "x"},
      {"fatal: invalid reference: refs/heads/x", GitFailureKind::unknownRevision, ""},
      {"fatal: a branch is expected, got tag 't'", GitFailureKind::unknownRevision, "t"},
      {"fatal: destination exists, source=a, destination=b", GitFailureKind::fileExists, ""},
      {"fatal: no such ref: HEAD", GitFailureKind::unbornHead, ""},
      {"fatal: refusing to merge unrelated histories", GitFailureKind::noCommonAncestor, ""},
      {"Author identity unknown\n\n*** Please tell me who you are.", GitFailureKind::identityUnknown, ""},
      {"something of a hook's own", GitFailureKind::other, ""},
      {"", GitFailureKind::other, ""},
  };
  for (const FailureCase& entry : cases) {
    GitFailure failure = classifyGitFailure(128, entry.text);
    EXPECT_EQ(static_cast<int>(failure.kind), static_cast<int>(entry.kind)) << entry.text;
    EXPECT_EQ(failure.detail, entry.detail) << entry.text;
  }
  EXPECT_EQ(classifyGitFailure(127, "").kind, GitFailureKind::gitMissing);
  // A hook may have written this, unless git itself gave up.
  const char* words = "./check: Permission denied";
  EXPECT_EQ(classifyGitFailure(1, words, true).kind, GitFailureKind::other);
  EXPECT_EQ(classifyGitFailure(128, words, true).kind, GitFailureKind::permissionDenied);
  EXPECT_EQ(classifyGitFailure(1, " \n a\nb https://u:s3cr!t@h/ \n\n").message, "a\nb https://u@h/");
}

class GitFailureOfRepository : public testing::Test {
 protected:
  GitFailure failure(const GitTestResult& result) {
    EXPECT_NE(result.exitCode, 0);
    return classifyGitFailure(result.exitCode, result.errorOutput);
  }

  GitTestRepository repository;
};

TEST_F(GitFailureOfRepository, isToldApartByWhatIsWrong) {
  repository.write("file", "x");
  repository.commit("first");
  GitHistoryRequest unknown;
  unknown.from = "nowhere";
  GitFailure revision = failure(repository.run(gitHistoryCommand(unknown)));
  EXPECT_EQ(revision.kind, GitFailureKind::unknownRevision);
  EXPECT_EQ(revision.detail, "nowhere");
  EXPECT_EQ(failure(repository.run(gitResolveCommand("nowhere"))).kind, GitFailureKind::unknownRevision);
  EXPECT_EQ(failure(repository.run(gitResolveCommand(std::string(40, 'd')))).kind, GitFailureKind::unknownRevision);
  GitHistoryRequest search;
  search.searchString = "deadbeef";
  search.searchType = QRBSourceControlHistorySearchRevision;
  EXPECT_EQ(failure(repository.run(gitHistoryCommand(search))).kind, GitFailureKind::unknownRevision);
  EXPECT_EQ(failure(repository.run(gitRemoteStatusCommand())).kind, GitFailureKind::noUpstream);
  repository.git({"checkout", "-q", "--detach"});
  EXPECT_EQ(failure(repository.run(gitRemoteStatusCommand())).kind, GitFailureKind::noUpstream);

  repository.write(".git/index.lock", "");
  GitFailure locked = failure(repository.run({"add", "file"}));
  EXPECT_EQ(locked.kind, GitFailureKind::locked);
  EXPECT_EQ(locked.detail, (repository.root() / ".git/index.lock").string());
  std::filesystem::remove(repository.root() / ".git/index.lock");
  EXPECT_EQ(failure(repository.run({"add", "absent"})).kind, GitFailureKind::unknownPath);
  EXPECT_EQ(failure(repository.run({"add", "../outside"})).kind, GitFailureKind::pathOutside);

  for (const char* content : {"garbage that is no index at all, yet long enough to be read", "DIRC"}) {
    repository.write(".git/index", content);
    EXPECT_EQ(failure(repository.run(gitStatusCommand({}))).kind, GitFailureKind::indexUnreadable) << content;
  }
  std::filesystem::remove(repository.root() / ".git/index");
  repository.write(".git/config", "[core\n");
  EXPECT_EQ(failure(repository.run(gitStatusCommand({}))).kind, GitFailureKind::configurationBroken);
  repository.write(".git/config", "[core]\nrepositoryformatversion = 9\n");
  EXPECT_EQ(failure(repository.run(gitStatusCommand({}))).kind, GitFailureKind::repositoryTooNew);
  std::filesystem::remove_all(repository.root() / ".git");
  EXPECT_EQ(failure(repository.run(gitStatusCommand({}))).kind, GitFailureKind::notARepository);
}

}  // namespace
