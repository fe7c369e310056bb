#include "WorkingCopyFinder.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "ErrorPrinting.h"
#include "QRBSourceControlBranch.h"
#include "QRBSourceControlBranchAndTagLocations.h"
#include "QRBSourceControlCancellable.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlPathLocation.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlRepository.h"
#include "QRBSourceControlSystem.h"
#include "QRBSourceControlTag.h"
#include "QRBSourceControlWorkingCopy.h"
#include "RemoteFinder.h"
#include "ServiceDirectories.h"
#include "Systems.h"

namespace host {

namespace {

namespace fs = std::filesystem;

qrb::Error noSystems() {
  std::string folders;
  for (const std::string& directory : qrb::ServiceDirectories::directories()) folders += "\n" + directory;
  if (folders.empty()) folders = " no folder";
  qrb::Error unusable = QRBSourceControlError_SystemUnusable();
  auto info = unusable.userInfo();
  info.set(QRBSourceControlUnderlyingErrorString, "no plug-in answered; plug-ins were looked for in:" + folders);
  return {unusable.domain(), unusable.code(), std::move(info)};
}

bool isThere(const fs::path& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0;
}

/// The nearest working copy to a folder, and those around it.
std::vector<FoundWorkingCopy> candidatesFor(const fs::path& folder,
                                            const std::vector<QRBSourceControlSystemPtr>& systems) {
  std::vector<FoundWorkingCopy> candidates;
  for (fs::path place = folder;; place = place.parent_path()) {
    for (const QRBSourceControlSystemPtr& system : systems) {
      if (auto workingCopy = workingCopyWithRoot(place.native(), system)) {
        candidates.push_back({workingCopy, place.native()});
      }
    }
    if (place == place.parent_path()) return candidates;
  }
}

/// Whether the system takes it for a working copy; what it says of a damaged one is no denial. A file in place of the
/// metadata leads to them, wherever they are, and is not passed over.
qrb::Error denialOf(Session& session, const FoundWorkingCopy& candidate) {
  std::error_code failure;
  const auto& name = candidate.workingCopy->repository()->sourceControlSystem()->workingCopyFolderIdentifier();
  if (!fs::is_directory(fs::path(candidate.root) / name.view(), failure)) return {};
  qrb::Error error = session.perform("Looking for the working copy", [&](Session::Done done) {
    return candidate.workingCopy->currentLocationWithCompletionBlock(
        [done](auto, qrb::Error answer) { done(std::move(answer)); });
  });
  // The same code stands for working copies that cannot be read, with other words.
  bool isNone = isSameFailure(error, QRBSourceControlError_WorkingCopyNotFound({}));
  return isNone || isCancellation(error) ? error : qrb::Error();
}

/// The address of the place in the repository that a working copy is of.
qrb::URL addressOfPlace(const QRBSourceControlWorkingCopy& workingCopy,
                        const QRBSourceControlRevisionLocationPtr& location) {
  const auto& layout = workingCopy.branchAndTagLocations();
  auto path = std::dynamic_pointer_cast<const QRBSourceControlPathLocation>(location);
  if (auto branch = std::dynamic_pointer_cast<const QRBSourceControlBranch>(location)) {
    path = branch->pathLocationForBranchAndTagLocations(layout);
  } else if (auto tag = std::dynamic_pointer_cast<const QRBSourceControlTag>(location)) {
    path = tag->pathLocationForBranchAndTagLocations(layout);
  }
  qrb::URL root = workingCopy.repository()->URL();
  if (path == nullptr || path->isRootPath()) return root;
  std::string_view below = path->relativePath().view();
  while (below.ends_with('/')) below.remove_suffix(1);
  return qrb::URL(root.absoluteString().str() + "/" + std::string(below));
}

/// Where the repository is on a server, the working copy that its plug-in tells of, whose repository is that of the
/// server and has the account that the user keeps for it. Where it tells of none, the request itself says what is
/// wrong.
FoundWorkingCopy withItsServer(Session& session, FoundWorkingCopy found) {
  auto system = found.workingCopy->repository()->sourceControlSystem();
  if (system->hasLocalRepository()) return found;
  auto told = std::make_shared<std::vector<QRBSourceControlWorkingCopyPtr>>();
  session.perform("Looking for the repository", [&](Session::Done done) {
    return QRBSourceControlWorkingCopy::scanForWorkingCopiesInFolderPaths({qrb::String(found.root)}, false, {system},
                                                                          [told, done](const auto& workingCopies) {
                                                                            *told = workingCopies;
                                                                            done({});
                                                                          });
  });
  for (const QRBSourceControlWorkingCopyPtr& each : *told) {
    auto known = std::dynamic_pointer_cast<QRBSourceControlRemoteRepository>(each->repository());
    if (each->fileURL() != found.workingCopy->fileURL() || known == nullptr || !known->URL()) continue;
    auto location = std::make_shared<QRBSourceControlRevisionLocationPtr>();
    session.perform("Looking for the repository", [&](Session::Done done) {
      return each->currentLocationWithCompletionBlock([location, done](auto here, qrb::Error) {
        *location = std::move(here);
        done({});
      });
    });
    auto remote = QRBSourceControlRemoteRepository::initUnsavedWithURL(addressOfPlace(*each, *location),
                                                                       known->identifier(), system);
    useKeptAccount(remote);
    auto layout = each->branchAndTagLocations();
    found.workingCopy = each->needsUpgrade() ? each
                                             : QRBSourceControlWorkingCopy::initWithFileURLUnidentifiableRepository(
                                                   each->fileURL(), remote);
    if (layout != nullptr) found.workingCopy->setBranchAndTagLocations(layout);
  }
  return found;
}

}  // namespace

QRBSourceControlWorkingCopyPtr workingCopyWithRoot(const std::string& root, const QRBSourceControlSystemPtr& system) {
  const qrb::String& name = system->workingCopyFolderIdentifier();
  if (name.empty() || !isThere(fs::path(root) / name.view())) return nullptr;
  qrb::URL url = qrb::URL::fileURL(root, true);
  auto repository = QRBSourceControlRepository::initWithURL(url, system);
  return QRBSourceControlWorkingCopy::initWithFileURLUnidentifiableRepository(url, repository);
}

bool isWithoutHistory(const qrb::Error& error) {
  return error.domain().view() == QRBSourceControlErrorDomain &&
         error.code() == static_cast<std::int64_t>(QRBSourceControlErrorCode::revisionNotFound);
}

QRBSourceControlRepositoryPtr repositoryWithChanges(const QRBSourceControlWorkingCopyPtr& workingCopy) {
  auto system = workingCopy->repository()->sourceControlSystem();
  if (system->hasLocalRepository()) return workingCopy->repository();
  return QRBSourceControlRepository::initWithURL(workingCopy->fileURL(), system);
}

qrb::Result<FoundWorkingCopy> findWorkingCopy(Session& session, const std::string& path) {
  std::error_code failure;
  fs::path folder = fs::canonical(path.empty() ? "." : path, failure);
  if (failure) return QRBSourceControlError_WorkingCopyNotFound((path.empty() ? "." : path) + ": " + failure.message());
  if (!fs::is_directory(folder, failure)) {
    return QRBSourceControlError_WorkingCopyNotFound(
        path +
        ": not a folder. Name the folder that holds it; the history of one file is shown by "
        "\"qrbscm log --file\".");
  }
  auto systems = listSystemsFor(session, folder);
  if (!systems) return systems.error();
  if (systems->empty()) return noSystems();
  std::vector<FoundWorkingCopy> candidates = candidatesFor(folder, *systems);
  for (std::size_t number = 0; number + 1 < candidates.size(); ++number) {
    qrb::Error denial = denialOf(session, candidates[number]);
    if (!denial) return withItsServer(session, candidates[number]);
    if (isCancellation(denial)) return denial;
  }
  // Whatever is wrong with the last one, the request itself will tell.
  if (!candidates.empty()) return withItsServer(session, candidates.back());
  return QRBSourceControlError_WorkingCopyNotFound("neither " + folder.native() +
                                                   " nor a folder above it is a working copy");
}

}  // namespace host
