#include "GitTransfers.h"

#include <algorithm>
#include <filesystem>
#include <set>

#include "GitFileCommands.h"
#include "GitFilePaths.h"
#include "GitIndexParser.h"
#include "GitMadeFiles.h"

namespace {

namespace fs = std::filesystem;

/// A tracked file that belongs to one of the sources.
struct Entry {
  std::string path;
  std::size_t source = 0;
  bool isSubmodule = false;
};

GitOutcome refusal(GitFailureKind kind, const std::string& path, const char* why) {
  return GitOutcome::failed({kind, path, "“" + path + "” " + why + "."});
}

class Transfer {
 public:
  Transfer(const GitTool& tool, const std::string& root) : _tool(tool), _root(root) {}

  GitOutcome prepare(const std::vector<qrb::String>& files, const std::vector<qrb::String>& toFilePaths) {
    if (files.size() != toFilePaths.size()) {
      return gitUnknownPath("", "is one of " + std::to_string(files.size()) + " files for " +
                                    std::to_string(toFilePaths.size()) + " new paths; each needs one of its own");
    }
    GitOutcome outcome = gitResolvePaths(_root, files, _sources);
    if (outcome) outcome = gitResolvePaths(_root, toFilePaths, _targets);
    if (outcome) outcome = readEntries();
    if (outcome) outcome = checkSources();
    if (outcome) outcome = checkTargets();
    return outcome;
  }

  GitOutcome copy() {
    GitPathList copies;
    for (const Entry& entry : _entries) {
      if (entry.isSubmodule)
        return refusal(GitFailureKind::other, entry.path, "is a submodule, which cannot be copied");
      std::string from = qrb::pathOnDisk(_root, entry.path);
      std::error_code error;
      // What is gone from a folder is no part of it any more.
      if (!fs::exists(fs::symlink_status(from, error))) continue;
      copies.push_back(_targets[entry.source] + entry.path.substr(_sources[entry.source].size()));
      GitOutcome outcome = _made.copy(from, qrb::pathOnDisk(_root, copies.back()));
      if (!outcome) return outcome;
    }
    if (copies.empty()) return {};
    GitOutcome outcome = _tool.run(gitAddCommand(copies));
    if (outcome) _made.keep();
    return outcome;
  }

  GitOutcome move() {
    for (std::size_t pair = 0; pair < _sources.size(); ++pair) {
      GitOutcome outcome = _made.makeFolders(fs::path(qrb::pathOnDisk(_root, _targets[pair])).parent_path());
      if (outcome) outcome = _tool.run(gitMoveCommand(_sources[pair], _targets[pair]));
      if (!outcome) {
        while (pair-- > 0) _tool.run(gitMoveCommand(_targets[pair], _sources[pair]));
        return outcome;
      }
    }
    _made.keep();
    return {};
  }

 private:
  GitOutcome readEntries() {
    GitPathSet sources(_sources);
    GitIndexParser parser;
    return _tool.parse(gitIndexCommand(), parser, [&](const GitIndexRecord& record) {
      // A path in conflict comes once for each side.
      if (!_entries.empty() && _entries.back().path == record.path) return;
      sources.find(record.path, [&](std::size_t source) {
        _entries.push_back({std::string(record.path), source, record.isSubmodule()});
      });
    });
  }

  GitOutcome checkSources() const {
    std::vector<bool> tracked(_sources.size());
    for (const Entry& entry : _entries) tracked[entry.source] = true;
    for (std::size_t place = 0; place < _sources.size(); ++place) {
      const std::string& source = _sources[place];
      std::error_code error;
      if (source == ".") return refusal(GitFailureKind::pathOutside, source, "is the working copy itself");
      if (qrb::isBeyondLink(_root, source)) return refusal(GitFailureKind::pathOutside, source, "lies beyond a link");
      if (!fs::exists(fs::symlink_status(qrb::pathOnDisk(_root, source), error))) {
        return gitUnknownPath(source, "is not there");
      }
      if (!tracked[place]) return gitUnknownPath(source);
    }
    return {};
  }

  GitOutcome checkTargets() const {
    std::set<std::string_view> targets;
    for (std::size_t place = 0; place < _targets.size(); ++place) {
      const std::string& target = _targets[place];
      std::error_code error;
      if (qrb::isBeyondLink(_root, target)) return refusal(GitFailureKind::pathOutside, target, "lies beyond a link");
      if (fs::exists(fs::symlink_status(qrb::pathOnDisk(_root, target), error)) || !targets.insert(target).second) {
        return refusal(GitFailureKind::fileExists, target, "already exists");
      }
      if (target.starts_with(_sources[place] + "/")) {
        return refusal(GitFailureKind::other, target, "lies within what is to become it");
      }
    }
    return {};
  }

  const GitTool& _tool;
  const std::string& _root;
  GitPathList _sources;
  GitPathList _targets;
  std::vector<Entry> _entries;
  GitMadeFiles _made;
};

}  // namespace

GitOutcome gitCopyFiles(const GitTool& tool, const std::string& root, const std::vector<qrb::String>& files,
                        const std::vector<qrb::String>& toFilePaths) {
  Transfer transfer(tool, root);
  GitOutcome outcome = transfer.prepare(files, toFilePaths);
  return outcome ? transfer.copy() : outcome;
}

GitOutcome gitMoveFiles(const GitTool& tool, const std::string& root, const std::vector<qrb::String>& files,
                        const std::vector<qrb::String>& toFilePaths) {
  Transfer transfer(tool, root);
  GitOutcome outcome = transfer.prepare(files, toFilePaths);
  return outcome ? transfer.move() : outcome;
}
