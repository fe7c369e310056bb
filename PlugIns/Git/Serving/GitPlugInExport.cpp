#include <filesystem>

#include "GitExporting.h"
#include "GitFilePaths.h"
#include "GitMissingRevision.h"
#include "GitNames.h"
#include "GitPlugIn.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlRevisionLocation.h"
#include "QRBSourceControlWorkingCopy.h"

namespace {

GitOutcome resolveFile(const std::string& root, const qrb::String& file, std::string& path) {
  GitOutcome outcome = gitResolvePath(root, file.view(), path);
  return outcome && path == "." ? gitUnknownPath(path, "is no file") : outcome;
}

/// The file is handed out as it would be in the working copy, so filters run. A folder made for it may go again.
GitLooking exportingTo(const qrb::URL& destination) {
  std::filesystem::path folder = std::filesystem::path(destination.path().str()).parent_path();
  return {.convertsFiles = true,
          .mayFilterByNetwork = true,
          .writableFolders = {folder.string()},
          .emptyFolders = {folder.parent_path().string()}};
}

}  // namespace

void GitPlugIn::exportFileFromRevisionLocation(const qrb::String& file,
                                               const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                                               const QRBSourceControlRevisionLocationPtr& fromRevisionLocation,
                                               const qrb::URL& toDirectory, Completion<qrb::URL> completionBlock) {
  auto location =
      fromRevisionLocation
          ? fromRevisionLocation
          : QRBSourceControlRevisionLocation::initWithRevision(QRBSourceControlRevision::sharedBaseRevision());
  if (qrb::Error error = gitRefuseLocation(location)) return completionBlock({}, error);
  std::string path;
  GitOutcome outcome = resolveFile(folderOf(inWorkingCopy), file, path);
  if (!outcome) return completionBlock({}, errorFor(outcome, inWorkingCopy));
  qrb::URL destination;
  if (!toDirectory) {
    destination = tempFilePathBasedOnFileName(path);
  } else if (toDirectory.isFileURL()) {
    std::filesystem::path folder(toDirectory.path().str());
    destination = qrb::URL::fileURL((folder / std::filesystem::path(path).filename()).string());
  }
  if (!destination) {
    return completionBlock({},
                           QRBSourceControlError_InvalidURL(toDirectory, "Git", "A folder of this machine is needed."));
  }
  GitTool tool = lookAt(inWorkingCopy, exportingTo(destination));
  std::string name = gitLocationName(location);
  outcome = gitExplainMissingRevision(tool, name, gitExportFile(tool, name, path, destination.path().str()));
  if (outcome.failedWith(GitFailureKind::unknownRevision)) {
    return completionBlock({}, gitLocationNotFound(location, outcome.failure.message));
  }
  if (!outcome) return completionBlock({}, errorFor(outcome, inWorkingCopy));
  completionBlock(destination, {});
}

void GitPlugIn::exportFileForParentOfRevision(const qrb::String& file,
                                              const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                                              const QRBSourceControlRevisionPtr& forParentOfRevision,
                                              Completion<qrb::URL> completionBlock) {
  auto location = QRBSourceControlRevisionLocation::initWithRevision(forParentOfRevision);
  if (qrb::Error error = gitRefuseLocation(location)) return completionBlock({}, error);
  std::string path;
  GitOutcome outcome = resolveFile(folderOf(inWorkingCopy), file, path);
  if (!outcome) return completionBlock({}, errorFor(outcome, inWorkingCopy));
  qrb::URL destination = tempFilePathBasedOnFileName(path);
  std::filesystem::path place(destination.path().str());
  GitTool tool = lookAt(inWorkingCopy, exportingTo(destination));
  std::string name = gitLocationName(location);
  outcome = gitExplainMissingRevision(tool, name, gitExportFileOfParent(tool, name, path, place.string()));
  if (outcome) return completionBlock(destination, {});
  std::error_code ignored;  // An empty folder for temporary files is all that stays.
  std::filesystem::remove(place.parent_path(), ignored);
  if (outcome.failedWith(GitFailureKind::unknownRevision)) {
    return completionBlock({}, gitLocationNotFound(location, outcome.failure.message));
  }
  completionBlock({}, errorFor(outcome, inWorkingCopy));
}
