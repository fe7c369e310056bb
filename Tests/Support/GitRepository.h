#pragma once

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "RunProgram.h"
#include "TemporaryDirectory.h"

namespace qrb::test {

/// A real Git repository for one test, made by the git found in PATH. Neither the user's configuration nor the
/// system's reaches it. Author, committer and dates are fixed: the n-th commit made is n minutes after `kFirstDate`, so
/// that the same calls make the same revisions. Paths are bytes relative to the root of the working copy and need not
/// be UTF-8. Every function throws std::runtime_error, with git's own words, when what it asks of git fails.
class GitRepository {
 public:
  static constexpr int64_t kFirstDate = 1'700'000'000;  ///< seconds since 1970, in UTC
  static constexpr std::string_view kAuthorName = "Ada Tester";
  static constexpr std::string_view kAuthorEmail = "ada@example.org";

  /// An empty repository on the branch `main`. Further arguments of `git init` may be given, such as "--bare".
  explicit GitRepository(const std::vector<std::string>& initArguments = {}) : GitRepository(NotMade()) {
    std::filesystem::create_directory(_root);
    std::vector<std::string> arguments = {"init", "--quiet", "--initial-branch=main"};
    arguments.insert(arguments.end(), initArguments.begin(), initArguments.end());
    run(arguments);
  }

  /// A clone of another repository, or of any URL; with further arguments of `git clone`, such as "--depth=1".
  static GitRepository cloneOf(const std::string& url, const std::vector<std::string>& cloneArguments = {}) {
    GitRepository clone{NotMade()};
    std::vector<std::string> arguments = {"git", "-c", "protocol.file.allow=always", "clone", "--quiet"};
    arguments.insert(arguments.end(), cloneArguments.begin(), cloneArguments.end());
    arguments.insert(arguments.end(), {"--", url, clone.root()});
    ProgramResult result = runProgram(arguments, clone.environment(), clone._folder.string());
    clone.require(arguments, result);
    return clone;
  }

  /// The root of the working copy (of the repository itself if bare), absolute, without a slash at the end.
  const std::string& root() const { return _root; }
  /// A path beside the repository, removed with it: room for worktrees, remotes, files. Nothing is made.
  std::string beside(std::string_view name) const { return _folder.string() + "/" + std::string(name); }
  /// The absolute path of an entry of the working copy.
  std::string pathOf(std::string_view path) const { return _root + "/" + std::string(path); }

  /// Runs git in the root and returns what it printed, on standard output and error, without a newline at the end.
  std::string run(const std::vector<std::string>& arguments) {
    ProgramResult result = tryRun(arguments);
    require(arguments, result);
    std::string output = result.output;
    if (output.ends_with('\n')) {
      output.pop_back();
    }
    return output;
  }

  /// The same for calls that may fail, such as a merge that ends in conflict; the output is as printed.
  ProgramResult tryRun(const std::vector<std::string>& arguments) const {
    // Submodules made from folders need the protocol that git refuses by default.
    std::vector<std::string> command = {"git", "-c", "protocol.file.allow=always"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return runProgram(command, environment(), _root);
  }

  /// Writes a file as the bytes given, making the folders above it; an existing one is replaced.
  void write(std::string_view path, std::string_view bytes) const {
    std::filesystem::path file(pathOf(path));
    std::filesystem::create_directories(file.parent_path());
    std::ofstream stream(file, std::ios::binary | std::ios::trunc);
    stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!stream.flush()) {
      throw std::runtime_error("cannot write " + file.string());
    }
  }

  /// Commits the whole working copy as it is, even when nothing changed, and returns the revision's name.
  std::string commit(const std::string& message) {
    run({"add", "--all"});
    return commitStaged(message);
  }

  /// Commits what is staged, and returns the revision's name.
  std::string commitStaged(const std::string& message) {
    ++_commits;
    run({"commit", "--quiet", "--allow-empty", "--allow-empty-message", "--message", message});
    return head();
  }

  std::string head() { return run({"rev-parse", "HEAD"}); }

  /// A variable for the git calls that follow, replacing one of the same name (author, dates, …).
  void setEnvironment(const std::string& name, const std::string& value) { _overrides.push_back(name + "=" + value); }

  /// The environment that git runs in, as NAME=value, for tests that start git or a tool over it themselves.
  std::vector<std::string> environment() const {
    const char* path = std::getenv("PATH");
    std::string date = "@" + std::to_string(kFirstDate + 60 * _commits) + " +0000";
    // What comes first counts: getenv takes the first of a name.
    std::vector<std::string> result(_overrides.rbegin(), _overrides.rend());
    std::vector<std::string> fixed = {
        std::string("PATH=") + (path ? path : "/usr/bin:/bin"),
        "HOME=" + _folder.string(),
        "GIT_CONFIG_NOSYSTEM=1",
        "GIT_CONFIG_GLOBAL=/dev/null",
        "GIT_CEILING_DIRECTORIES=" + _folder.string(),
        "GIT_TERMINAL_PROMPT=0",
        "GIT_EDITOR=true",
        "LC_ALL=C.UTF-8",
        "TZ=UTC",
        "GIT_AUTHOR_NAME=" + std::string(kAuthorName),
        "GIT_AUTHOR_EMAIL=" + std::string(kAuthorEmail),
        "GIT_COMMITTER_NAME=" + std::string(kAuthorName),
        "GIT_COMMITTER_EMAIL=" + std::string(kAuthorEmail),
        "GIT_AUTHOR_DATE=" + date,
        "GIT_COMMITTER_DATE=" + date,
    };
    result.insert(result.end(), fixed.begin(), fixed.end());
    return result;
  }

 private:
  struct NotMade {};
  explicit GitRepository(NotMade) : _root(_folder.string() + "/repository") {}

  void require(const std::vector<std::string>& arguments, const ProgramResult& result) const {
    if (result.status != 0) {
      std::string words;
      for (const std::string& argument : arguments) {
        words += argument + " ";
      }
      throw std::runtime_error(words + "ended with " + std::to_string(result.status) + ": " + result.output);
    }
  }

  TemporaryDirectory _folder;
  std::string _root;
  int64_t _commits = 0;
  std::vector<std::string> _overrides;
};

}  // namespace qrb::test
