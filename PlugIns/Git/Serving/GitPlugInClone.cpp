#include <filesystem>

#include "GitCommandParts.h"
#include "GitErrors.h"
#include "GitNames.h"
#include "GitNetworkCommands.h"
#include "GitPlugIn.h"
#include "GitProgress.h"
#include "GitRemoteTool.h"
#include "QRBSourceControlBranch.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlTag.h"
#include "QRBSourceControlWorkingCopy.h"

namespace {

namespace fs = std::filesystem;

qrb::Error unusablePlace(const qrb::URL& url, const std::string& reason) {
  return QRBSourceControlError_InvalidURL(url, "Git", reason);
}

/// No error for a place where a working copy can be made: where nothing is, or an empty folder.
qrb::Error placeFault(const qrb::URL& url, const std::string& path) {
  if (!gitIsPlainPath(path) || path == "/") {
    return unusablePlace(url, "A working copy can be made in a folder of this machine only.");
  }
  std::error_code error;
  fs::file_status status = fs::symlink_status(path, error);
  if (!fs::exists(status)) return {};
  if (fs::exists(fs::symlink_status(fs::path(path) / ".git", error))) {
    return QRBSourceControlError_RepositoryExists(url);
  }
  bool isEmptyFolder = fs::is_directory(status) && fs::is_empty(path, error) && !error;
  return isEmptyFolder ? qrb::Error() : unusablePlace(url, "There is something else already, which is not replaced.");
}

/// What a clone makes of a location.
struct Checkout {
  /// Without a folder; empty: what the remote's HEAD is.
  std::string branch;
  /// Checked out when the clone is there; empty: what the clone checks out by itself.
  std::string revision;

  static Checkout of(const QRBSourceControlRevisionLocationPtr& location) {
    Checkout checkout;
    if (!location) return checkout;
    if (const auto* branch = dynamic_cast<const QRBSourceControlBranch*>(location.get())) {
      checkout.branch = branch->name().str();
    } else if (const auto* tag = dynamic_cast<const QRBSourceControlTag*>(location.get())) {
      checkout.revision = "refs/tags/" + tag->name().str();
    }
    if (std::string pin = gitPinOf(location); !pin.empty()) checkout.revision = pin;
    return checkout;
  }

  GitCommand command() const {
    return branch.empty() ? gitCheckOutDetachedCommand(revision) : gitCheckOutBranchAtCommand(branch, revision);
  }
};

/// Whether the location names anything: without one, or with one at HEAD, a clone checks out what the remote does.
bool isNamed(const QRBSourceControlRevisionLocationPtr& location) {
  Checkout checkout = Checkout::of(location);
  if (!checkout.branch.empty() || !checkout.revision.empty()) return true;
  const QRBSourceControlRevisionLocation* given = location.get();
  return given != nullptr && typeid(*given) != typeid(QRBSourceControlRevisionLocation);
}

}  // namespace

qrb::Error GitPlugIn::cloneInto(GitRemoteTool& remote, const std::string& folder,
                                const QRBSourceControlRevisionLocationPtr& location,
                                const qrb::String& progressIdentifier) {
  Checkout checkout = Checkout::of(location);
  GitProgressReader progress(GitTransfer::clone);
  GitTool::Output onProgress = reportProgress(progress, progressIdentifier);
  GitCommand clone = gitCloneCommand(remote.cloneSource(), folder, checkout.branch, !checkout.revision.empty());
  GitOutcome outcome = remote.run(clone, {}, onProgress);
  if (outcome.failedWith(GitFailureKind::remoteBranchMissing)) {
    return gitLocationNotFound(location->locationWithRevision(nullptr), outcome.failure.message);
  }
  if (!outcome) return remote.errorFor(outcome);
  GitTool local(folder, host().connectionDescriptor());
  std::string branch;
  // A tag of that name would do for git.
  if (!checkout.branch.empty() && !local.run(gitCurrentBranchCommand(), branch)) {
    return gitLocationNotFound(location->locationWithRevision(nullptr), "There is a tag of that name only.");
  }
  if (checkout.revision.empty()) return {};
  outcome = local.run(checkout.command(), {}, onProgress);
  if (outcome.failedWith(GitFailureKind::unknownRevision) || outcome.failedWith(GitFailureKind::unknownPath)) {
    return gitLocationNotFound(location, outcome.failure.message);
  }
  outcome.failure.message = gitWithoutProgress(outcome.failure.message);
  return remote.errorFor(outcome);
}

void GitPlugIn::createWorkingCopyFromRepository(const QRBSourceControlRemoteRepositoryPtr& repository,
                                                const QRBSourceControlRevisionLocationPtr& location,
                                                const QRBSourceControlBranchAndTagLocationsPtr&,
                                                const qrb::URL& localAddress, const qrb::String& progressIdentifier,
                                                Completion<QRBSourceControlWorkingCopyPtr> completionBlock) {
  std::string place = localAddress.isFileURL() ? localAddress.path().str() : std::string();
  qrb::Error error = placeFault(localAddress, place);
  if (!error && isNamed(location)) error = gitRefuseLocation(location);
  if (error) return completionBlock(nullptr, error);
  // In no repository, whose settings would take part.
  GitRemoteTool remote("/", repository, host().connectionDescriptor());
  if ((error = remote.open())) return completionBlock(nullptr, error);
  sendProgress(QRBSourceControlProgressStatus::authenticating, 0, {}, progressIdentifier);
  // What fails half-way is the host's to remove, as it is when this process is killed.
  if ((error = cloneInto(remote, place, location, progressIdentifier))) return completionBlock(nullptr, error);
  sendProgress(QRBSourceControlProgressStatus::copying, 1, {}, progressIdentifier);
  qrb::URL url = qrb::URL::fileURL(place, true);
  auto local = QRBSourceControlRepository::initWithURL(url, repository->identifier(), system());
  completionBlock(QRBSourceControlWorkingCopy::initWithFileURLUnidentifiableRepository(url, std::move(local)), {});
}
