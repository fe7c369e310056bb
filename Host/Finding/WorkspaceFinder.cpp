#include "WorkspaceFinder.h"

#include <cerrno>
#include <filesystem>

#include "ErrorPrinting.h"
#include "HostError.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlManager.h"
#include "QRBSourceControlMultiCancellable.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlRepository.h"
#include "QRBSourceControlWorkingCopy.h"
#include "QRBSourceControlWorkspace.h"
#include "QRBSourceControlWorkspaceBlueprint.h"
#include "Systems.h"
#include "Text.h"
#include "WorkingCopyFinder.h"

namespace host {

namespace {

namespace fs = std::filesystem;

}  // namespace

qrb::Result<FoundWorkspace> findWorkspace(Session& session, const std::string& folder) {
  std::error_code failure;
  fs::path root = fs::canonical(folder.empty() ? "." : folder, failure);
  if (!failure && !fs::is_directory(root)) failure = std::make_error_code(std::errc::not_a_directory);
  if (failure) return hostError(folder + ": " + failure.message(), {}, failure.value());
  ListedSystems systems = listSystems(session);
  if (!systems) return systems.error();
  auto found = std::make_shared<QRBSourceControlWorkspace::WorkingCopies>();
  qrb::Error error = session.perform("Looking for working copies", [&](Session::Done done) {
    return QRBSourceControlManager::sharedInstance()->scanForWorkingCopiesInFolderPaths(
        {root.native()}, false, *systems, [found, done](const auto& workingCopies) {
          if (workingCopies == nullptr) return done(QRBSourceControlError_Canceled());
          *found = *workingCopies;
          done({});
        });
  });
  if (error) return error;
  if (found->empty()) {
    return QRBSourceControlError_WorkingCopyNotFound("there is none in " + root.native() + " and below it");
  }
  auto workspace = QRBSourceControlWorkspace::initWithWorkingCopies(*found);
  workspace->sortWorkingCopies();
  return FoundWorkspace{workspace, root.native()};
}

std::string placeIn(const std::string& root, const QRBSourceControlWorkingCopyPtr& workingCopy) {
  fs::path path(workingCopy->fileURL().path().str());
  return (path / "").parent_path().lexically_relative(root).native();
}

ExitStatus failWith(Session& session, const std::string& title, const Failures& failures) {
  if (failures.empty()) return ExitStatus::success;
  session.note("qrbscm: " + title);
  for (const auto& [place, error] : failures) {
    session.note(displayPath(place) + ":");
    session.fail(error);
  }
  return ExitStatus::failed;
}

Failures learnLocations(Session& session, const std::string& root,
                        const std::vector<QRBSourceControlWorkingCopyPtr>& workingCopies) {
  std::vector<Session::Start> questions;
  for (const QRBSourceControlWorkingCopyPtr& workingCopy : workingCopies) {
    questions.emplace_back([workingCopy](Session::Done done) {
      return workingCopy->currentLocationWithCompletionBlock(
          [done](auto, qrb::Error error) { done(std::move(error)); });
    });
    questions.emplace_back(
        [workingCopy](Session::Done done) { return workingCopy->updateRepositoryIdentifierWithCompletionBlock(done); });
  }
  std::vector<qrb::Error> errors = session.perform("Asking for the locations", questions);
  Failures failures;
  for (std::size_t index = 0; index < errors.size(); ++index) {
    // One failure of each is enough.
    if (!errors[index] || isWithoutHistory(errors[index]) || (index % 2 == 1 && errors[index - 1])) continue;
    failures.emplace_back(placeIn(root, workingCopies[index / 2]), std::move(errors[index]));
  }
  return failures;
}

QRBSourceControlWorkingCopyPtr FoundOfBlueprint::workingCopyOf(
    const QRBSourceControlRemoteRepositoryPtr& remote) const {
  for (const auto& [workingCopy, of] : *remotes) {
    if (of == remote) return workingCopy;
  }
  return nullptr;
}

qrb::Result<FoundOfBlueprint> findOfBlueprint(Session& session, const QRBSourceControlWorkspaceBlueprintPtr& blueprint,
                                              const std::string& root) {
  auto found = std::make_shared<FoundOfBlueprint>();
  qrb::Error failure = session.perform("Looking for the working copies", [&](Session::Done done) {
    return blueprint->workspaceForWorkingCopiesCreatedAtURL(
        qrb::URL::fileURL(root, true), [found, done](auto workspace, auto remotes, qrb::Error error) {
          found->workspace = std::move(workspace);
          found->remotes = std::move(remotes);
          done(std::move(error));
        });
  });
  if (failure) return failure;
  return *found;
}

}  // namespace host
