#include "GitDiscarding.h"

#include <algorithm>
#include <filesystem>
#include <unordered_set>

#include "GitFileCommands.h"
#include "GitFilePaths.h"
#include "GitIndexParser.h"
#include "GitStatusParser.h"
#include "QRBSourceControlStatusValues.h"

namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t added = QRBSourceControlStatusStagedAdded | QRBSourceControlStatusAdded;
constexpr std::uint64_t renamed = QRBSourceControlStatusStagedRenamed | QRBSourceControlStatusRenamed;
/// Conflicts about files that HEAD has not: what lies on disk came from the other side.
constexpr std::uint64_t fromElsewhere = QRBSourceControlStatusConflictAddedByThem |
                                        QRBSourceControlStatusConflictDeletedByUs |
                                        QRBSourceControlStatusConflictBothDeleted;

GitCommand trackedChangesCommand() {
  GitStatusOptions options;
  options.untracked = GitUntracked::none;
  options.ignored = false;
  return gitStatusCommand(options);
}

/// What has to be done to paths so that they are as HEAD has them.
struct Plan {
  GitPathList restored;
  /// Leave the staging area.
  GitPathList forgotten;
  /// Those among them that leave the disk too.
  GitPathList removed;

  void add(const GitStatusRecord& record) {
    std::string path(record.path);
    if ((record.status & renamed) != 0) {
      restored.emplace_back(record.originalPath);
      forgotten.push_back(path);
      removed.push_back(path);
    } else if ((record.status & fromElsewhere) != 0) {
      forgotten.push_back(path);
      removed.push_back(path);
    } else if ((record.status & added) != 0) {
      forgotten.push_back(path);
    } else {
      restored.push_back(path);
    }
  }
};

GitOutcome carryOut(const GitTool& tool, const std::string& root, const Plan& plan) {
  GitOutcome outcome;
  if (!plan.forgotten.empty()) outcome = tool.run(gitForgetCommand(plan.forgotten));
  for (const std::string& path : plan.removed) {
    std::error_code ignored;  // What is gone already, or a folder now, is not the file that was meant.
    if (outcome && !qrb::isBeyondLink(root, path)) fs::remove(qrb::pathOnDisk(root, path), ignored);
  }
  if (outcome && !plan.restored.empty()) outcome = tool.run(gitRestoreCommand(plan.restored));
  return outcome;
}

/// Fails for the first name that belongs to nothing tracked.
GitOutcome checkTracked(const GitTool& tool, const GitPathList& paths, std::vector<bool>& known) {
  GitPathSet names(paths);
  GitIndexParser parser;
  GitOutcome outcome = tool.parse(gitIndexCommand(), parser, [&](const GitIndexRecord& record) {
    names.find(record.path, [&](std::size_t place) { known[place] = true; });
  });
  if (!outcome) return outcome;
  auto unknown = std::ranges::find(known, false);
  if (unknown == known.end()) return outcome;
  const std::string& name = paths[static_cast<std::size_t>(unknown - known.begin())];
  return name == "." ? outcome : gitUnknownPath(name);
}

/// A file that was moved comes back to its old path, where another one may be that nobody has named.
GitOutcome checkFree(const std::string& root, const GitPathSet& names, const GitPathList& originals) {
  for (const std::string& path : originals) {
    std::error_code error;
    if (names.covers(path) || !fs::exists(fs::symlink_status(qrb::pathOnDisk(root, path), error))) continue;
    return GitOutcome::failed({GitFailureKind::localChanges, path,
                               "“" + path + "”, from where a file was moved, is in use again and would be lost."});
  }
  return {};
}

/// A merge stages what the other side added as if the user had; that side has it, so it need not be kept.
GitOutcome leaveOutMerged(const GitTool& tool, GitPathList& paths) {
  std::string output;
  GitOutcome outcome = tool.run(gitTreePathsCommand("MERGE_HEAD"), output);
  // No merge is under way.
  if (outcome.failedWith(GitFailureKind::unknownRevision)) return {};
  if (!outcome) return outcome;
  std::unordered_set<std::string_view> merged;
  for (std::string_view rest = output; !rest.empty();) {
    std::size_t end = std::min(rest.find('\0'), rest.size());
    merged.insert(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  std::erase_if(paths, [&](const std::string& path) { return merged.contains(path); });
  return outcome;
}

}  // namespace

GitOutcome gitDiscardChanges(const GitTool& tool, const std::string& root, const std::vector<qrb::String>& files) {
  GitPathList paths;
  GitOutcome outcome = gitResolvePaths(root, files, paths);
  if (!outcome || paths.empty()) return outcome;
  GitPathSet names(paths);
  std::vector<bool> known(paths.size());
  Plan plan;
  GitPathList originals;
  GitStatusParser parser;
  outcome = tool.parse(trackedChangesCommand(), parser, [&](const GitStatusRecord& record) {
    bool isNamed = false;
    auto note = [&](std::size_t place) { isNamed = known[place] = true; };
    names.find(record.path, note);
    bool isTarget = isNamed;
    names.find(record.originalPath, note);
    if (!isNamed) return;
    plan.add(record);
    if (isTarget && !record.originalPath.empty()) originals.emplace_back(record.originalPath);
  });
  if (outcome) outcome = checkFree(root, names, originals);
  if (outcome && std::ranges::find(known, false) != known.end()) outcome = checkTracked(tool, paths, known);
  return outcome ? carryOut(tool, root, plan) : outcome;
}

GitOutcome gitDiscardAllChanges(const GitTool& tool) {
  GitPathList kept;
  GitStatusParser parser;
  GitOutcome outcome = tool.parse(trackedChangesCommand(), parser, [&](const GitStatusRecord& record) {
    if ((record.status & added) != 0) kept.emplace_back(record.path);
  });
  if (outcome && !kept.empty()) outcome = leaveOutMerged(tool, kept);
  if (outcome && !kept.empty()) outcome = tool.run(gitForgetCommand(kept));
  return outcome ? tool.run(gitResetCommand()) : outcome;
}
