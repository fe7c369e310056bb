#include "GitExporting.h"

#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "FileDescriptor.h"
#include "GitChange.h"
#include "GitContentCommands.h"
#include "GitFilePaths.h"
#include "GitMadeFiles.h"

namespace {

namespace fs = std::filesystem;

std::error_code lastError() {
  return {errno, std::generic_category()};
}

/// A file that comes to its place when it is complete; until then it is beside it under a name of its own.
class NewFile {
 public:
  explicit NewFile(const fs::path& destination)
      : _destination(destination),
        _unfinished(destination.parent_path() / (".qrb-export-" + std::to_string(::getpid()))) {}
  ~NewFile() {
    if (_file.valid()) ::unlink(_unfinished.c_str());
  }
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  GitOutcome open(bool isExecutable) {
    // What an earlier process of the same number has left behind when it was killed.
    ::unlink(_unfinished.c_str());
    _file.reset(::open(_unfinished.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, isExecutable ? 0777 : 0666));
    return _file.valid() ? GitOutcome() : gitFileFailure(lastError(), _destination, "written");
  }

  bool write(std::string_view bytes) {
    while (!bytes.empty()) {
      ssize_t written = ::write(_file.get(), bytes.data(), bytes.size());
      if (written < 0 && errno == EINTR) continue;
      if (written < 0) {
        _error = lastError();
        return false;
      }
      bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
  }

  GitOutcome finish() {
    if (_error) return gitFileFailure(_error, _destination, "written");
    if (!place()) return gitFileFailure(lastError(), _destination, "written");
    _file.reset();
    return {};
  }

 private:
  bool place() const {
    if (::renameat2(AT_FDCWD, _unfinished.c_str(), AT_FDCWD, _destination.c_str(), RENAME_NOREPLACE) == 0) return true;
    // Not every file system can rename so, but each of those has links or leaves no more to ask for.
    if (errno != EINVAL && errno != ENOSYS) return false;
    if (::link(_unfinished.c_str(), _destination.c_str()) != 0) return false;
    ::unlink(_unfinished.c_str());
    return true;
  }

  const fs::path _destination;
  const fs::path _unfinished;
  qrb::FileDescriptor _file;
  std::error_code _error;
};

GitOutcome findEntry(const GitTool& tool, const std::string& revision, const std::string& path, GitTreeEntry& entry) {
  std::string output;
  GitOutcome outcome = tool.run(gitTreeEntryCommand(revision, path), output);
  if (!outcome) return outcome;
  auto found = gitReadTreeEntry(output);
  if (!found) return gitUnknownPath(path, "is not in the revision");
  if (!found->isContent()) return gitUnknownPath(path, "is no file in the revision");
  entry = *found;
  return outcome;
}

GitOutcome writeContent(const GitTool& tool, const GitTreeEntry& entry, const std::string& path,
                        const std::string& destination) {
  std::error_code error;
  if (fs::exists(fs::symlink_status(destination, error))) {
    return gitFileFailure(std::make_error_code(std::errc::file_exists), destination, "written");
  }
  NewFile file(destination);
  GitOutcome outcome = file.open(entry.isExecutable());
  if (!outcome) return outcome;
  outcome = tool.run(gitContentCommand(entry, path), [&](std::string_view bytes) { return file.write(bytes); });
  return outcome ? file.finish() : outcome;
}

/// The path that a file had before the difference between two commits; its own where it was not renamed.
GitOutcome findFormerPath(const GitTool& tool, const std::string& parent, const std::string& revision,
                          std::string& path) {
  std::string former;
  GitNameStatusParser parser;
  GitOutcome outcome = tool.parse(gitRenamesCommand(parent, revision), parser, [&](const GitChange& change) {
    if (change.letter == 'R' && change.path == path) former = change.originalPath;
  });
  if (!former.empty()) path = former;
  return outcome;
}

}  // namespace

GitOutcome gitExportFile(const GitTool& tool, const std::string& revision, const std::string& path,
                         const std::string& destination) {
  GitTreeEntry entry;
  GitOutcome outcome = findEntry(tool, revision, path, entry);
  return outcome ? writeContent(tool, entry, path, destination) : outcome;
}

GitOutcome gitExportFileOfParent(const GitTool& tool, const std::string& revision, const std::string& path,
                                 const std::string& destination) {
  std::string line;
  GitOutcome outcome = tool.run(gitParentsCommand(revision), line);
  if (!outcome) return outcome;
  std::size_t blank = line.find(' ');
  if (blank == std::string::npos) {
    return GitOutcome::failed(
        {GitFailureKind::unknownRevision, revision, "“" + revision + "” is a first revision: it has no parent."});
  }
  std::string commit = line.substr(0, blank);
  std::string parent = line.substr(blank + 1, blank);
  GitTreeEntry entry;
  outcome = findEntry(tool, parent, path, entry);
  if (!outcome.failedWith(GitFailureKind::unknownPath)) {
    return outcome ? writeContent(tool, entry, path, destination) : outcome;
  }
  std::string former = path;
  GitOutcome search = findFormerPath(tool, parent, commit, former);
  if (!search || former == path) return search ? outcome : search;
  return gitExportFile(tool, parent, former, destination);
}
