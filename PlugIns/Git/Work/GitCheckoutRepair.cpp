#include "GitCheckoutRepair.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <utility>

#include "GitCheckoutCommands.h"
#include "GitCommitCommands.h"
#include "GitDiffCommands.h"
#include "GitFileCommands.h"
#include "GitFilePaths.h"
#include "GitStaging.h"
#include "GitTidyingJob.h"
#include "GitWorkingCopyProbe.h"

namespace {

namespace fs = std::filesystem;

class Repair {
 public:
  Repair(const std::string& root, const timespec& begin) : _root(root), _begin(begin), _tool(root, -1) {
    _tool.setChanging();
  }

  void takeBack(std::string target, bool isMerge) {
    std::string head;
    if (!_tool.run(gitResolveCommand("HEAD"), head) || head == target) return;
    if (isMerge) {
      if (gitIsMerging(_root)) {
        _tool.run(gitAbortMergeCommand());
        return;
      }
      std::string tree;
      // In a conflict it fails, but the tree is there all the same.
      _tool.run(gitMergedTreeCommand(target), tree);
      tree.resize(std::min(tree.find('\n'), tree.size()));
      if (!tree.empty()) target = tree;
    }
    if (isStaged(target)) {
      _tool.run(gitReadTreesCommand(target, head));
      return;
    }
    putBack(changesTo(target));
  }

 private:
  /// The staging area is written when all files are.
  bool isStaged(const std::string& target) { return static_cast<bool>(_tool.run(gitStagedCommand(target))); }

  std::vector<GitRawChange> changesTo(const std::string& target) {
    std::vector<GitRawChange> changes;
    std::string output;
    if (_tool.run(gitRawDiffCommand("HEAD", target), output)) changes = gitReadRawDiff(output);
    return changes;
  }

  bool isTouched(const std::string& path, bool& isEmpty) const {
    struct stat info {};
    if (::lstat(qrb::pathOnDisk(_root, path).c_str(), &info) != 0) return false;
    isEmpty = S_ISREG(info.st_mode) && info.st_size == 0;
    return std::pair(info.st_ctim.tv_sec, info.st_ctim.tv_nsec) >= std::pair(_begin.tv_sec, _begin.tv_nsec);
  }

  /// The paths that are not on disk what the changes make of them.
  std::set<std::string> differing(const std::vector<GitRawChange>& changes) {
    std::vector<std::string> repositories = gitRepositoryFolders(_root);
    std::string index = repositories.front() + "/qrb-repair-index";
    std::error_code error;
    fs::remove(index, error);
    GitTool aside(_root, -1);
    aside.addVariable("GIT_INDEX_FILE", index);
    std::string entries;
    for (const GitRawChange& change : changes) {
      if (!change.isDeletion()) gitAppendIndexEntry(entries, change.newMode, change.newObject, 0, change.path);
    }
    std::string output;
    std::set<std::string> result;
    bool isKnown = static_cast<bool>(aside.run(gitIndexUpdateCommand(std::move(entries))));
    // Fails where there are differences, which the next command then tells.
    aside.run(gitRefreshCommand());
    isKnown = isKnown && aside.run(gitUnstagedCommand(false), output);
    for (std::string& path : gitReadPaths(output)) result.insert(std::move(path));
    fs::remove(index, error);
    if (!isKnown) {
      for (const GitRawChange& change : changes) result.insert(change.path);
    }
    return result;
  }

  void putBack(const std::vector<GitRawChange>& changes) {
    std::set<std::string> others = differing(changes);
    GitPathList restored;
    for (const GitRawChange& change : changes) {
      bool isEmpty = false;
      bool isTouchedNow = isTouched(change.path, isEmpty);
      std::error_code error;
      bool isGone = !fs::exists(fs::symlink_status(qrb::pathOnDisk(_root, change.path), error));
      bool isOurs = isTouchedNow && (isEmpty || !others.contains(change.path));
      if (change.isDeletion() ? isGone : (isOurs && !change.isAddition()) || (isGone && !change.isAddition())) {
        restored.push_back(change.path);
      } else if (isOurs && change.isAddition()) {
        remove(change.path);
      }
    }
    if (!restored.empty()) _tool.run(gitCheckoutIndexCommand(restored));
  }

  /// With the folders that have been made for it.
  void remove(const std::string& path) {
    if (qrb::isBeyondLink(_root, path)) return;
    std::error_code error;
    fs::path place(qrb::pathOnDisk(_root, path));
    fs::remove(place, error);
    for (place = place.parent_path(); !error && place != fs::path(_root); place = place.parent_path()) {
      if (!fs::remove(place, error)) break;
    }
  }

  const std::string& _root;
  const timespec _begin;
  GitTool _tool;
};

}  // namespace

void gitTakeBackCheckout(const std::string& root, const std::string& target, bool isMerge, const timespec& begin) {
  Repair(root, begin).takeBack(target, isMerge);
}

GitOutcome gitRunCheckout(const GitTool& tool, GitWorkingCopyLock& lock, const std::string& root,
                          const std::string& revision, bool isMerge, const std::function<GitOutcome()>& work) {
  std::string target;
  if (!tool.run(gitResolveCommand(revision), target)) return work();
  auto standing =
      lock.guard().add(gitTidyingJob("checkout", root, lock.since(), {target, isMerge ? "merge" : "switch"}));
  return work();
}
