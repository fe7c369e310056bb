#include "GitCommitting.h"

#include "GitCommitCommands.h"
#include "GitFileCommands.h"
#include "GitFilePaths.h"
#include "GitHookOutput.h"
#include "GitStatusParser.h"
#include "QRBSourceControlStatusValues.h"

namespace {

constexpr std::uint64_t staged = QRBSourceControlStatusStagedAdded | QRBSourceControlStatusStagedModified |
                                 QRBSourceControlStatusStagedDeleted | QRBSourceControlStatusStagedRenamed |
                                 QRBSourceControlStatusStagedCopied | QRBSourceControlStatusStagedTypeChanged;

std::string_view lastLine(std::string_view text) {
  while (text.ends_with('\n')) text.remove_suffix(1);
  const std::size_t before = text.rfind('\n');
  return before == std::string_view::npos ? text : text.substr(before + 1);
}

/// What git has been told besides a path is no part of it.
void removeMagic(std::string& text) {
  constexpr std::string_view magic = gitLiteralPath;
  for (std::size_t place = 0; (place = text.find(magic, place)) != std::string::npos;) text.erase(place, magic.size());
}

/// A name in `hash` says that there is a commit, whatever failed after it.
GitOutcome run(const GitTool& tool, const GitCommitRequest& request, std::string& hash) {
  constexpr std::size_t enough = 64 * 1024;
  std::string output;
  const auto collect = [&](std::string_view bytes) {
    // The summary comes first, and after it a line for each new file.
    if (output.size() < enough) output.append(bytes);
    return true;
  };
  GitOutcome outcome = tool.run(gitCommitCommand(request), collect, gitHookOutput);
  if (outcome) {
    const std::string_view name = gitReadCommit(output);
    hash = name;
    if (name.empty()) return GitOutcome::unreadable("no name of a commit", 0);
    std::string fullName;
    outcome = tool.run(gitResolveCommand(name), fullName);
    if (outcome) hash = fullName;
    return outcome;
  }
  // Hooks cannot write to standard output; what git prints there without a commit is why there is none.
  if (outcome.failedWith(GitFailureKind::Other) && outcome.exitCode == 1 && !output.empty()) {
    outcome.failure.kind = GitFailureKind::NothingToCommit;
    outcome.failure.message = lastLine(output);
  }
  removeMagic(outcome.failure.message);
  removeMagic(outcome.failure.detail);
  return outcome;
}

GitOutcome commitWhole(const GitTool& tool, const std::string& message, std::string& hash) {
  GitCommitRequest request{message, {}, false};
  const GitOutcome stagedOutcome = tool.run(gitStagedCommand());
  const bool isFirst = stagedOutcome.failedWith(GitFailureKind::UnbornHead);
  if (!stagedOutcome && stagedOutcome.exitCode != 1 && !isFirst) return stagedOutcome;
  if (stagedOutcome) {
    // A merge may well change nothing against HEAD.
    std::string merged;
    request.isOfAllTracked = !tool.run(gitResolveCommand("MERGE_HEAD"), merged);
  }
  return run(tool, request, hash);
}

/// The files below the paths that git does not know yet.
GitOutcome findUntracked(const GitTool& tool, const GitPathList& paths, GitPathList& untracked) {
  constexpr std::size_t mostBytes = 64 * 1024;
  for (std::size_t begin = 0; begin < paths.size();) {
    GitPathList part;
    for (std::size_t bytes = 0; begin < paths.size() && bytes < mostBytes; ++begin) {
      part.push_back(paths[begin]);
      bytes += part.back().size();
    }
    std::string output;
    GitOutcome outcome = tool.run(gitUntrackedCommand(part), output);
    if (!outcome) return outcome;
    for (std::string_view rest = output; !rest.empty();) {
      const std::size_t end = std::min(rest.find('\0'), rest.size());
      // A folder is a repository of its own.
      if (!rest.substr(0, end).ends_with('/')) untracked.emplace_back(rest.substr(0, end));
      rest.remove_prefix(std::min(end + 1, rest.size()));
    }
  }
  return {};
}

GitOutcome unfinished(const GitOutcome& partial, const std::string& path, const char* why) {
  GitOutcome outcome = partial;
  outcome.failure.detail = path;
  outcome.failure.message.append("\n“").append(path).append("” ").append(why).append(".");
  return outcome;
}

/// What git refuses to commit as a part may be the whole after all. `partial` is how it was refused.
GitOutcome commitWholeMerge(const GitTool& tool, const GitPathList& paths, const std::string& message,
                            const GitOutcome& partial, std::string& hash) {
  GitStatusOptions options;
  options.untracked = GitUntracked::None;
  options.ignored = false;
  const GitPathSet names(paths);
  GitPathList changed;
  GitOutcome missing;
  GitStatusParser parser;
  GitOutcome outcome = tool.parse(gitStatusCommand(options), parser, [&](const GitStatusRecord& record) {
    const std::string path(record.path);
    if (!missing) return;
    if ((record.status & QRBSourceControlStatusConflicted) != 0) {
      missing = unfinished(partial, path, "is still in conflict");
    } else if (names.covers(path)) {
      changed.push_back(path);
    } else if ((record.status & staged) != 0) {
      missing = unfinished(partial, path, "is part of it and not among the files to commit");
    }
  });
  if (!outcome) return outcome;
  if (!missing) return missing;
  if (!changed.empty()) outcome = tool.run(gitAddCommand(changed));
  return outcome ? run(tool, {message, {}, false}, hash) : outcome;
}

}  // namespace

GitOutcome gitCommit(const GitTool& tool, const std::string& root, const std::vector<qrb::String>& files,
                     const std::string& message, std::string& hash) {
  if (files.empty()) return commitWhole(tool, message, hash);
  GitPathList paths;
  GitPathList untracked;
  GitOutcome outcome = gitResolvePaths(root, files, paths);
  if (outcome) outcome = findUntracked(tool, paths, untracked);
  // Only what git knows of can be part of a commit.
  if (outcome && !untracked.empty()) outcome = tool.run(gitIntendToAddCommand(untracked));
  if (!outcome) return outcome;
  outcome = run(tool, {message, paths, false}, hash);
  if (outcome.failedWith(GitFailureKind::MidOperation)) {
    outcome = commitWholeMerge(tool, paths, message, outcome, hash);
  }
  const bool hasFailed = outcome.kind == GitOutcome::Kind::Failed && hash.empty();
  if (hasFailed && !untracked.empty()) tool.run(gitForgetCommand(untracked));
  return outcome;
}
