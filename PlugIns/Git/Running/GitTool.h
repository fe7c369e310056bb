#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "GitCommands.h"
#include "GitFailure.h"
#include "GitPrograms.h"
#include "GitProtections.h"
#include "GitRepositoryTrust.h"
#include "GitSandbox.h"
#include "ToolRunner.h"

/// How a git command ended.
struct GitOutcome {
  enum class Kind : unsigned char {
    succeeded,
    /// The reader of the output had enough, which is no failure.
    stopped,
    failed,
    /// The host is gone, so nobody waits for an answer.
    cancelled,
  };
  Kind kind = Kind::succeeded;
  /// Set where git ended by itself.
  int exitCode = 0;
  /// Meaningful when failed.
  GitFailure failure;

  explicit operator bool() const { return kind == Kind::succeeded || kind == Kind::stopped; }
  bool failedWith(GitFailureKind why) const { return kind == Kind::failed && failure.kind == why; }
  static GitOutcome failed(GitFailure failure);
  /// The failure of a reader that met output which is not git's.
  static GitOutcome unreadable(const std::string& what, std::uint64_t offset);
};

/// Runs git in one folder, one command at a time, on the calling thread.
class GitTool {
 public:
  using Output = qrb::ToolRunner::Output;

  /// In the folder itself and never in a repository further up: what is no root of a working copy and no repository is
  /// told as such. `hostConnection` is as for ToolRunner.
  GitTool(std::string folder, int hostConnection, GitProtections protections = {});

  /// The request only looks: with the first command this process enters a sandbox for good, and commands that write
  /// fail from then on. To be called on the thread that runs the commands.
  void setLooking(GitLooking looking) { _looking = std::move(looking); }
  /// The request changes the folder and its repository and nothing else: where no programs of anybody's run with it,
  /// this process enters a sandbox that leaves it just that. As above.
  void setChanging() { _isChanging = true; }

  /// For how long a writing command is tried again that finds a lock file of another process; 5 seconds at first.
  void setLockPatience(std::chrono::milliseconds patience) { _lockPatience = patience; }

  /// For all commands from now on: a setting ("name=value", as for -c) that wins over every file, a variable, and what
  /// is to be served while a command runs (see ToolRunner::setSideChannel).
  void addSetting(std::string setting) { _settings.push_back(std::move(setting)); }
  void addVariable(std::string name, std::string value) { _variables.emplace_back(std::move(name), std::move(value)); }
  /// What keeps all commands from now on from heeding the repository, in place of what is found of it for those that
  /// read. Names and values may hold anything.
  void setNeutralization(GitNeutralization neutralization) { _neutralization = std::move(neutralization); }
  void setSideChannel(int descriptor, std::function<void()> onReadable) {
    _runner.setSideChannel(descriptor, std::move(onReadable));
  }

  /// Commands that only read run no hooks, and no programs that the repository's own configuration names (see
  /// GitPrograms.h); commands that write refuse a repository whose working copy is not the folder. What the repository
  /// names is known from its files where these are plain, else git is asked, which runs nothing; where it cannot say,
  /// no command runs.
  ///
  /// Runs the command; `onOutput` gets its output as it comes, `onError` what goes to standard error. A writing command
  /// that finds a lock file before it has printed anything is run again, for lockPatience at most, while the other
  /// process may be about to end.
  GitOutcome run(const GitCommand& command, const Output& onOutput = {}, const Output& onError = {}) const;
  /// Runs a command that prints little, and returns that without the line feed at the end.
  GitOutcome run(const GitCommand& command, std::string& output) const;
  /// Runs the command through a parser with feed(bytes, sink), finish() and error().
  template <class Parser, class Sink>
  GitOutcome parse(const GitCommand& command, Parser& parser, Sink&& sink) const {
    GitOutcome outcome = run(command, [&](std::string_view bytes) { return parser.feed(bytes, sink); });
    if (outcome && (parser.error() || !parser.finish())) {
      return GitOutcome::unreadable(parser.error()->what, parser.error()->offset);
    }
    return outcome;
  }

  /// Prints what names programs in all configurations, as gitProgramSettingsCommand(); none is no failure. Runs nothing
  /// that a repository names.
  GitOutcome findPrograms(std::string& listing) const;

 private:
  qrb::ToolCommand prepare(const GitCommand& command) const;
  GitOutcome runPrepared(const GitCommand& command, const qrb::ToolCommand& tool, const Output& onOutput,
                         const Output& onError) const;
  const GitRepositoryTrust& trust() const;
  /// What keeps git from heeding the repository.
  GitOutcome neutralize(const GitCommand& command, GitNeutralization& result) const;
  GitOutcome neutralizeSubmodules(const std::string& folder, int depth, GitNeutralization& result) const;
  /// The failure that the working copy is not the folder.
  GitOutcome refuseElsewhere() const;
  GitOutcome findElsewhere() const;
  GitOutcome enterSandbox(const GitNeutralization& neutralization) const;

  const std::string _folder;
  const int _hostConnection;
  std::vector<std::string> _settings;
  std::vector<std::pair<std::string, std::string>> _variables;
  std::optional<GitNeutralization> _neutralization;
  std::chrono::milliseconds _lockPatience{5000};
  qrb::ToolRunner _runner;
  const GitProtections _protections;
  std::optional<GitLooking> _looking;
  bool _isChanging = false;
  mutable std::optional<GitRepositoryTrust> _trust;
  mutable std::optional<GitNeutralization> _found;
  mutable std::optional<GitOutcome> _elsewhere;
};
