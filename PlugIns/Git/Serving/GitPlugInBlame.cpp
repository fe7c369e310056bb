#include "GitBlameReader.h"
#include "GitContentCommands.h"
#include "GitFilePaths.h"
#include "GitHistoryReader.h"
#include "GitMissingRevision.h"
#include "GitNames.h"
#include "GitPlugIn.h"
#include "QRBSourceControlHistoryTypes.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlRevisionLocation.h"
#include "QRBSourceControlWorkingCopy.h"

namespace {

/// Absent, unspecified and uncommitted locations mean the file on disk.
bool isOnDisk(const QRBSourceControlRevisionLocationPtr& location) {
  if (!location) return true;
  if (const auto& revision = location->revision()) return revision->isUnversionedRevision();
  return gitLocationName(location).empty();
}

GitOutcome readBlame(const GitTool& tool, const GitCommand& command, GitBlameReader& reader) {
  GitOutcome outcome = tool.run(command, [&](std::string_view bytes) { return reader.feed(bytes); });
  if (outcome && (reader.error() || !reader.finish())) {
    return GitOutcome::unreadable(reader.error()->what, reader.error()->offset);
  }
  return outcome;
}

/// Git says of what is no file that it is not there.
bool isInTree(const GitTool& tool, const std::string& revision, const std::string& path) {
  std::string entry;
  return tool.run(gitTreeEntryCommand(revision.empty() ? "HEAD" : revision, path), entry) && gitReadTreeEntry(entry);
}

/// Blame itself knows only the subjects of messages.
GitOutcome readLogItems(const GitTool& tool, const QRBSourceControlWorkingCopyPtr& workingCopy, std::string hashes,
                        GitHistoryReader::Items& items) {
  if (hashes.empty()) return {};
  GitHistoryRequest request;
  request.inclusionType = QRBSourceControlHistoryWithoutPaths;
  GitHistoryReader reader(request, false, workingCopy, {});
  GitOutcome outcome =
      tool.run(gitCommitMessagesCommand(std::move(hashes)), [&](std::string_view bytes) { return reader.feed(bytes); });
  if (outcome && (reader.error() || !reader.finish())) {
    return GitOutcome::unreadable(reader.error()->what, reader.error()->offset);
  }
  items = reader.items();
  return outcome;
}

}  // namespace

void GitPlugIn::blameFile(const qrb::String& file, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                          const QRBSourceControlRevisionLocationPtr& fromRevisionLocation,
                          Completion<std::vector<QRBSourceControlBlameItemPtr>> completionBlock) {
  std::string revision;
  if (!isOnDisk(fromRevisionLocation)) {
    if (qrb::Error error = gitRefuseLocation(fromRevisionLocation)) return completionBlock({}, error);
    revision = gitLocationName(fromRevisionLocation);
  }
  std::string path;
  GitOutcome outcome = gitResolvePath(folderOf(inWorkingCopy), file.view(), path);
  if (!outcome) return completionBlock({}, errorFor(outcome, inWorkingCopy));
  GitTool tool = lookAt(inWorkingCopy, {.convertsFiles = true});
  GitBlameReader reader;
  outcome = readBlame(tool, gitBlameCommand(path, revision), reader);
  outcome = gitExplainMissingRevision(tool, revision.empty() ? "HEAD" : revision, std::move(outcome));
  if (outcome.failedWith(GitFailureKind::unknownRevision) && !revision.empty()) {
    return completionBlock({}, gitLocationNotFound(fromRevisionLocation, outcome.failure.message));
  }
  if (outcome.failedWith(GitFailureKind::unknownPath) && isInTree(tool, revision, path)) {
    outcome.failure.kind = GitFailureKind::notAFile;
  }
  // The messages name the path without quotation marks.
  for (GitFailureKind kind : {GitFailureKind::unknownPath, GitFailureKind::notAFile}) {
    if (outcome.failedWith(kind)) outcome.failure.detail = path;
  }
  GitHistoryReader::Items logItems;
  if (outcome) outcome = readLogItems(tool, inWorkingCopy, reader.hashes(), logItems);
  if (!outcome) return completionBlock({}, errorFor(outcome, inWorkingCopy));
  auto items = reader.items(logItems);
  if (!items) return completionBlock({}, errorFor(GitOutcome::unreadable("not all commits", 0), inWorkingCopy));
  completionBlock(*items, {});
}
