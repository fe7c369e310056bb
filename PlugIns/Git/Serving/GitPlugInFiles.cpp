#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <optional>

#include "GitDiscarding.h"
#include "GitFileCommands.h"
#include "GitFilePaths.h"
#include "GitIndexParser.h"
#include "GitMadeFiles.h"
#include "GitPlugIn.h"
#include "GitTransfers.h"
#include "GitWorkingCopyProbe.h"

namespace {

namespace fs = std::filesystem;

/// Runs the command that is made of the files, if there are any.
template <class MakeCommand>
GitOutcome runOnFiles(const GitTool& tool, const std::string& root, const std::vector<qrb::String>& files,
                      MakeCommand&& makeCommand) {
  GitPathList paths;
  GitOutcome outcome = gitResolvePaths(root, files, paths);
  return !outcome || paths.empty() ? outcome : tool.run(makeCommand(paths));
}

GitOutcome resolveConflicts(const GitTool& tool, const std::string& root, const std::vector<qrb::String>& files) {
  GitPathList paths;
  GitOutcome outcome = gitResolvePaths(root, files, paths);
  if (!outcome || paths.empty()) return outcome;
  GitPathSet names(paths);
  GitPathList conflicts;
  std::vector<bool> known(paths.size());
  GitIndexParser parser;
  outcome = tool.parse(gitIndexCommand(), parser, [&](const GitIndexRecord& record) {
    bool isNamed = false;
    names.find(record.path, [&](std::size_t place) { isNamed = known[place] = true; });
    bool isNew = conflicts.empty() || conflicts.back() != record.path;
    if (isNamed && record.stage > 0 && isNew) conflicts.emplace_back(record.path);
  });
  if (!outcome) return outcome;
  auto unknown = std::ranges::find(known, false);
  if (unknown != known.end()) return gitUnknownPath(paths[static_cast<std::size_t>(unknown - known.begin())]);
  return conflicts.empty() ? outcome : tool.run(gitAddCommand(conflicts));
}

/// "posixPermissions" among the attributes of a new folder.
std::optional<mode_t> permissionsIn(const qrb::Dictionary& attributes) {
  const qrb::Dictionary& permissions = attributes["posixPermissions"];
  return permissions.isInteger() ? std::optional(static_cast<mode_t>(permissions.unsignedInteger() & 07777))
                                 : std::nullopt;
}

GitOutcome makeDirectory(const std::string& root, const qrb::String& path, bool withIntermediateDirectories,
                         const qrb::Dictionary& attributes) {
  if (!gitProbeWorkingCopy(root)) {
    return GitOutcome::failed({GitFailureKind::notARepository, root, "“" + root + "” is no working copy."});
  }
  std::string name;
  GitOutcome outcome = gitResolvePath(root, path.view(), name);
  if (!outcome) return outcome;
  if (qrb::isBeyondLink(root, name)) {
    return GitOutcome::failed({GitFailureKind::pathOutside, name, "“" + name + "” lies beyond a link."});
  }
  fs::path folder(qrb::pathOnDisk(root, name));
  std::error_code error;
  if (withIntermediateDirectories && fs::is_directory(folder, error)) return {};
  GitMadeFiles made;
  outcome = withIntermediateDirectories ? made.makeFolders(folder) : made.makeFolder(folder);
  auto permissions = permissionsIn(attributes);
  if (outcome && permissions && ::chmod(folder.c_str(), *permissions) != 0) {
    outcome = gitFileFailure({errno, std::generic_category()}, folder, "given its permissions");
  }
  if (outcome) made.keep();
  return outcome;
}

}  // namespace

void GitPlugIn::addFiles(const Files& files, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                         Completion<> completionBlock) {
  auto work = [&](const GitTool& tool, const std::string& root) {
    return runOnFiles(tool, root, files, gitAddCommand);
  };
  completionBlock(errorFor(change(inWorkingCopy, work), inWorkingCopy));
}

void GitPlugIn::removeFiles(const Files& files, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                            Completion<> completionBlock) {
  auto work = [&](const GitTool& tool, const std::string& root) {
    return runOnFiles(tool, root, files, gitRemoveCommand);
  };
  completionBlock(errorFor(change(inWorkingCopy, work), inWorkingCopy));
}

void GitPlugIn::copyFiles(const Files& files, const Files& toFilePaths,
                          const QRBSourceControlWorkingCopyPtr& inWorkingCopy, Completion<> completionBlock) {
  auto work = [&](const GitTool& tool, const std::string& root) {
    return gitCopyFiles(tool, root, files, toFilePaths);
  };
  completionBlock(errorFor(change(inWorkingCopy, work), inWorkingCopy));
}

void GitPlugIn::moveFiles(const Files& files, const Files& toFilePaths,
                          const QRBSourceControlWorkingCopyPtr& inWorkingCopy, Completion<> completionBlock) {
  auto work = [&](const GitTool& tool, const std::string& root) {
    return gitMoveFiles(tool, root, files, toFilePaths);
  };
  completionBlock(errorFor(change(inWorkingCopy, work), inWorkingCopy));
}

void GitPlugIn::createDirectory(const qrb::String& path, bool withIntermediateDirectories,
                                const qrb::Dictionary& attributes, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                                Completion<> completionBlock) {
  GitOutcome outcome = makeDirectory(folderOf(inWorkingCopy), path, withIntermediateDirectories, attributes);
  completionBlock(errorFor(outcome, inWorkingCopy));
}

void GitPlugIn::discardChangesInFiles(const Files& files, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                                      Completion<> completionBlock) {
  auto work = [&](const GitTool& tool, const std::string& root) { return gitDiscardChanges(tool, root, files); };
  completionBlock(errorFor(change(inWorkingCopy, work), inWorkingCopy));
}

void GitPlugIn::discardAllChangesInWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy,
                                               Completion<> completionBlock) {
  auto work = [](const GitTool& tool, const std::string&) { return gitDiscardAllChanges(tool); };
  completionBlock(errorFor(change(workingCopy, work), workingCopy));
}

void GitPlugIn::markAsResolvedFiles(const Files& files, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                                    Completion<> completionBlock) {
  auto work = [&](const GitTool& tool, const std::string& root) { return resolveConflicts(tool, root, files); };
  completionBlock(errorFor(change(inWorkingCopy, work), inWorkingCopy));
}
