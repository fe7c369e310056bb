#include <filesystem>

#include "GitCommandParts.h"
#include "GitPlugIn.h"
#include "GitRepositoryCommands.h"
#include "GitWorkingCopyProbe.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlRepository.h"
#include "WorkingCopyCandidates.h"

namespace {

namespace fs = std::filesystem;

/// A folder, a file or a link, whatever it leads to.
bool hasGitEntry(const fs::path& folder) {
  std::error_code error;
  return fs::exists(fs::symlink_status(folder / ".git", error));
}

/// Whether the folder is under source control itself: a working copy, also one that git could not work in, or a bare
/// repository. One that lies in another's working copy is not.
bool isRepository(const fs::path& folder) {
  std::error_code error;
  return hasGitEntry(folder) || (fs::exists(folder / "HEAD", error) && fs::is_directory(folder / "objects", error) &&
                                 fs::is_directory(folder / "refs", error));
}

}  // namespace

void GitPlugIn::createRepositoryAtFileURL(const qrb::URL& fileURL,
                                          Completion<QRBSourceControlRepositoryPtr> completionBlock) {
  std::string folder = fileURL.isFileURL() ? fileURL.path().str() : std::string();
  if (!gitIsPlainPath(folder)) {
    return completionBlock(nullptr, QRBSourceControlError_InvalidURL(fileURL, "Git",
                                                                     "A repository can be made in a folder of this "
                                                                     "machine only."));
  }
  if (isRepository(folder)) return completionBlock(nullptr, QRBSourceControlError_RepositoryExists(fileURL));
  GitTool tool("/", host().connectionDescriptor());
  std::string configured;
  GitOutcome outcome = tool.run(gitFirstBranchNameCommand(), configured);
  if (outcome || outcome.exitCode == 1) {
    outcome = tool.run(gitCreateRepositoryCommand(folder, configured.empty() ? "main" : ""));
  }
  auto repository = QRBSourceControlRepository::initWithURL(qrb::URL::fileURL(folder, true), system());
  if (!outcome) return completionBlock(nullptr, errorFor(outcome, repository));
  completionBlock(repository, {});
}

void GitPlugIn::scanForWorkingCopiesInFolderPaths(const Files& folderPaths, bool traversingUp,
                                                  Answer<WorkingCopies> completionBlock) {
  auto candidates = qrb::workingCopyCandidates(folderPaths, traversingUp, ".git", hasGitEntry);
  scanForWorkingCopiesInPotentialWorkingCopies(candidates, std::move(completionBlock));
}

void GitPlugIn::upgradeWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy, const qrb::String&,
                                   Completion<> completionBlock) {
  std::string place;
  GitOutcome outcome = lookAt(workingCopy).run(gitLocationCommand(), place);
  completionBlock(outcome ? QRBSourceControlError_WorkingCopyUpgradeNotNeeded() : errorFor(outcome, workingCopy));
}

void GitPlugIn::listSubpathsOfRepository(const QRBSourceControlRepositoryPtr&, const QRBSourceControlPathLocationPtr&,
                                         Completion<std::vector<QRBSourceControlPathLocationPtr>> completionBlock) {
  completionBlock({}, QRBSourceControlError_SystemBrowsingRepositoriesUnsupported());
}

void GitPlugIn::automaticallyDetectBranchAndTagLocationsForRepository(
    const QRBSourceControlRepositoryPtr&, const QRBSourceControlPathLocationPtr&,
    Completion<QRBSourceControlRevisionLocationPtr, QRBSourceControlBranchAndTagLocationsPtr> completionBlock) {
  completionBlock(nullptr, nullptr, QRBSourceControlError_SystemBranchAndTagLocationsUnsupported());
}

void GitPlugIn::repositoryURLRootForRepository(const QRBSourceControlRemoteRepositoryPtr&,
                                               Completion<qrb::URL, QRBSourceControlPathLocationPtr> completionBlock) {
  completionBlock({}, nullptr, QRBSourceControlError_SystemRootURLOfRepositoriesUnsupported());
}
