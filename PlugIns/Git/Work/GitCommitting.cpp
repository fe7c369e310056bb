#include "GitCommitting.h"

#include "GitCommitCommands.h"
#include "GitFilePaths.h"
#include "GitHookOutput.h"
#include "GitStaging.h"
#include "GitStatusParser.h"
#include "GitTidyingJob.h"
#include "GitWorkingCopyProbe.h"
#include "QRBSourceControlStatusValues.h"

namespace {

std::string_view lastLine(std::string_view text) {
  while (text.ends_with('\n')) text.remove_suffix(1);
  std::size_t before = text.rfind('\n');
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
  auto collect = [&](std::string_view bytes) {
    // The summary comes first, and after it a line for each new file.
    if (output.size() < enough) output.append(bytes);
    return true;
  };
  GitOutcome outcome = tool.run(gitCommitCommand(request), collect, gitHookOutput());
  if (outcome) {
    std::string_view name = gitReadCommit(output);
    hash = name;
    if (name.empty()) return GitOutcome::unreadable("no name of a commit", 0);
    std::string fullName;
    outcome = tool.run(gitResolveCommand(name), fullName);
    if (outcome) hash = fullName;
    return outcome;
  }
  // Hooks cannot write to standard output; what git prints there without a commit is why there is none.
  if (outcome.failedWith(GitFailureKind::other) && outcome.exitCode == 1 && !output.empty()) {
    outcome.failure.kind = GitFailureKind::nothingToCommit;
    outcome.failure.message = lastLine(output);
  }
  removeMagic(outcome.failure.message);
  removeMagic(outcome.failure.detail);
  return outcome;
}

struct Place {
  const GitTool& tool;
  GitWorkingCopyLock& lock;
  const std::string& root;
};

/// Stages files and commits, and gives the staging area back what it had where there is no commit.
GitOutcome runStaged(const Place& place, const GitPathList& paths, GitCommitRequest request, std::string& hash) {
  GitStaging staging(place.tool, place.root, paths);
  GitOutcome outcome = staging.prepare();
  if (!outcome) return outcome;
  auto standing =
      place.lock.guard().add(gitTidyingJob("staging", place.root, place.lock.since(), {}, staging.remembered()));
  outcome = staging.stage();
  if (outcome && !request.paths.empty()) outcome = staging.removeVanished(request.paths);
  if (outcome) outcome = run(place.tool, request, hash);
  if (outcome.kind == GitOutcome::Kind::failed && hash.empty()) staging.restore();
  return outcome;
}

GitOutcome commitWhole(const Place& place, const std::string& message, std::string& hash) {
  GitCommitRequest request{message, {}};
  GitOutcome comparison = place.tool.run(gitStagedCommand());
  bool isSomethingStaged = !comparison && comparison.exitCode == 1;
  // Before the first commit what is not staged is not tracked either. A merge may well change nothing against HEAD.
  if (isSomethingStaged || comparison.failedWith(GitFailureKind::unbornHead) ||
      (comparison && gitIsMerging(place.root))) {
    return run(place.tool, request, hash);
  }
  if (!comparison) return comparison;
  std::string output;
  GitOutcome outcome = place.tool.run(gitUnstagedCommand(false), output);
  return outcome ? runStaged(place, gitReadPaths(output), request, hash) : outcome;
}

GitOutcome unfinishedMerge(const std::string& path, const char* why) {
  return GitOutcome::failed(
      {GitFailureKind::midOperation, path, "A merge is committed as a whole, and “" + path + "” " + why + "."});
}

/// Git refuses to commit a part of a merge; but the files may be all of it.
GitOutcome commitMerge(const Place& place, const GitPathList& paths, const std::string& message, std::string& hash) {
  GitStatusOptions options;
  options.untracked = GitUntracked::none;
  options.ignored = false;
  GitPathSet names(paths);
  GitOutcome missing;
  GitStatusParser parser;
  GitOutcome outcome = place.tool.parse(gitStatusCommand(options), parser, [&](const GitStatusRecord& record) {
    std::string path(record.path);
    if (!missing) return;
    if ((record.status & QRBSourceControlStatusConflicted) != 0) {
      missing = unfinishedMerge(path, "is still in conflict");
    } else if (!names.covers(path) && (record.status & QRBSourceControlStatusStagedMask) != 0) {
      missing = unfinishedMerge(path, "is part of it and not among the files to commit");
    }
  });
  if (!outcome) return outcome;
  return missing ? runStaged(place, paths, {message, {}}, hash) : missing;
}

}  // namespace

GitOutcome gitCommit(const GitTool& tool, GitWorkingCopyLock& lock, const std::string& root,
                     const std::vector<qrb::String>& files, const std::string& message, std::string& hash) {
  if (message.find('\0') != std::string::npos) {
    return GitOutcome::failed({GitFailureKind::other, {}, "The message holds a zero byte, which no commit can keep."});
  }
  Place place{tool, lock, root};
  if (files.empty()) return commitWhole(place, message, hash);
  GitPathList paths;
  GitOutcome outcome = gitResolvePaths(root, files, paths);
  if (!outcome) return outcome;
  if (gitIsMerging(root)) return commitMerge(place, paths, message, hash);
  return runStaged(place, paths, {message, paths}, hash);
}
