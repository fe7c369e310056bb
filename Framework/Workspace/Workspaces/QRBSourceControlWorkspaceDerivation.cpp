// A blueprint of what lies on disk.

#include <utility>

#include "FollowedBranchPrivate.h"
#include "PathString.h"
#include "QRBSourceControlBranch.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlSystem.h"
#include "QRBSourceControlWorkingCopy.h"
#include "QRBSourceControlWorkspace.h"
#include "QRBSourceControlWorkspaceBlueprint.h"
#include "Result.h"
#include "SequentialActionPrivate.h"
#include "WorkspacePlacesPrivate.h"

using qrb::Error;
using qrb::Result;
using qrb::SequentialAction;
using Workspace = QRBSourceControlWorkspace;
using Blueprint = QRBSourceControlWorkspaceBlueprint;
using WorkingCopyPtr = QRBSourceControlWorkingCopyPtr;
using RemotePtr = QRBSourceControlRemoteRepositoryPtr;
using LocationPtr = QRBSourceControlRevisionLocationPtr;

namespace {

/// What is learnt of one working copy.
struct Finding {
  RemotePtr remote;
  LocationPtr location;
};

RemotePtr chosenRemote(const RemotePtr& primary, const QRBSourceControlRemoteRepositoriesPtr& remotes,
                       const qrb::String& name) {
  const RemotePtr* named = remotes == nullptr || !name ? nullptr : remotes->find(name.view());
  if (named != nullptr) return *named;
  if (primary != nullptr || remotes == nullptr || remotes->empty()) return primary;
  return remotes->begin()->second;
}

/// Null where none is known.
Result<RemotePtr> discoverRemote(SequentialAction& action, const QRBSourceControlRepositoryPtr& repository,
                                 const qrb::String& remoteName) {
  if (action.isAbandoned()) return RemotePtr();
  if (auto itself = std::dynamic_pointer_cast<QRBSourceControlRemoteRepository>(repository)) return itself;
  auto [primary, remotes, error] = action.step<RemotePtr, QRBSourceControlRemoteRepositoriesPtr>(
      "remoteRepositoryDiscoveryLock", repository.get(),
      [&](auto completion) { return repository->listRemoteRepositoriesWithCompletionBlock(std::move(completion)); });
  if (error) return error;
  return chosenRemote(primary, remotes, remoteName);
}

Error examine(SequentialAction& action, const WorkingCopyPtr& workingCopy, Finding& finding) {
  QRBSourceControlRepositoryPtr repository = workingCopy->repository();
  if (repository == nullptr) return {};
  if (!action.isAbandoned()) {
    auto [location, error] = action.step<LocationPtr>(
        "workingCopyLocationLock", repository.get(),
        [&](auto completion) { return workingCopy->currentLocationWithCompletionBlock(std::move(completion)); });
    if (error) return error;
    finding.location = location;
  }
  if (repository->identifier().empty() && !action.isAbandoned()) {
    // A failure is no matter: the remote may still have an identifier of its own.
    action.step<>("workingCopyIdLock", repository.get(), [&](auto completion) {
      return workingCopy->updateRepositoryIdentifierWithCompletionBlock(std::move(completion));
    });
  }
  qrb::String remoteName;
  // What stands for a local branch elsewhere.
  if (auto followed = qrb::followedBranch(action, "remoteRepositoryLocationLock", repository, finding.location)) {
    finding.location = followed;
    remoteName = followed->remoteName();
  }
  if (finding.remote != nullptr) return {};
  auto remote = discoverRemote(action, repository, remoteName);
  if (remote) finding.remote = *remote;
  return remote.error();
}

bool canBeRecorded(const RemotePtr& remote) {
  return remote != nullptr && !remote->URL().isFileURL() && !remote->identifier().empty();
}

/// The parts of a blueprint under construction.
struct Record {
  RemotePtr primary;
  Blueprint::RemoteRepositories repositories;
  std::shared_ptr<Workspace::Remotes> remotes = std::make_shared<Workspace::Remotes>();
  std::shared_ptr<Blueprint::States> states = std::make_shared<Blueprint::States>();
  std::shared_ptr<Blueprint::Paths> paths = std::make_shared<Blueprint::Paths>();
  std::shared_ptr<Blueprint::RepositoryLocations> layouts = std::make_shared<Blueprint::RepositoryLocations>();
  std::shared_ptr<Blueprint::Locations> locations = std::make_shared<Blueprint::Locations>();

  void add(const WorkingCopyPtr& workingCopy, const Finding& finding, const qrb::URL& root) {
    repositories.push_back(finding.remote);
    remotes->set(workingCopy, finding.remote);
    paths->set(finding.remote, qrb::detail::workingCopyPath(workingCopy->fileURL(), root));
    states->set(finding.remote, workingCopy->state());
    if (finding.location != nullptr) locations->set(finding.remote, finding.location);
    if (auto layout = workingCopy->branchAndTagLocations()) layouts->set(finding.remote, std::move(layout));
  }

  QRBSourceControlWorkspaceBlueprintPtr blueprint(const qrb::String& relativePathToProject) const {
    qrb::String name;
    if (relativePathToProject) {
      name = qrb::deletingPathExtension(qrb::lastPathComponent(relativePathToProject.view()));
    }
    return Blueprint::initWithPrimaryRemoteRepository(primary, relativePathToProject, repositories, states, paths,
                                                      layouts, locations, std::move(name), false);
  }
};

Error examineAll(const Workspace& workspace, const Workspace::RemotesPtr& chosen, SequentialAction& action,
                 Record& record) {
  qrb::URL root = workspace.workspaceRootFolder();
  if (!root) return QRBSourceControlError_WorkingCopyNotFound({});
  for (const WorkingCopyPtr& workingCopy : workspace.workingCopies()) {
    Finding finding;
    if (chosen != nullptr) finding.remote = chosen->valueFor(workingCopy);
    if (Error error = examine(action, workingCopy, finding)) return error;
    if (!canBeRecorded(finding.remote)) continue;
    record.add(workingCopy, finding, root);
    if (workingCopy == workspace.primaryWorkingCopy()) record.primary = finding.remote;
  }
  return {};
}

}  // namespace

QRBSourceControlMultiCancellablePtr Workspace::blueprintWithRemoteRepositories(
    RemotesPtr remoteRepositories, Completion<QRBSourceControlWorkspaceBlueprintPtr, RemotesPtr> completionBlock) {
  if (_primaryWorkingCopy == nullptr) {
    if (completionBlock) completionBlock(nullptr, nullptr, QRBSourceControlError_RemoteRepositoryNotFound({}));
    return nullptr;
  }
  return SequentialAction::start(_operationQueue, "blueprintWithRemoteRepositories:completionBlock:",
                                 [self = shared_from_this(), remoteRepositories = std::move(remoteRepositories),
                                  completionBlock = std::move(completionBlock)](SequentialAction& action) {
                                   Record record;
                                   Error error = examineAll(*self, remoteRepositories, action, record);
                                   if (!completionBlock) return;
                                   if (error) return completionBlock(nullptr, nullptr, std::move(error));
                                   if (record.repositories.empty()) {
                                     return completionBlock(nullptr, record.remotes,
                                                            QRBSourceControlError_RemoteRepositoryNotFound({}));
                                   }
                                   completionBlock(record.blueprint(self->_relativePathToProject), record.remotes, {});
                                 });
}

QRBSourceControlMultiCancellablePtr Workspace::blueprintWithCompletionBlock(
    Completion<QRBSourceControlWorkspaceBlueprintPtr, RemotesPtr> completionBlock) {
  return blueprintWithRemoteRepositories(nullptr, std::move(completionBlock));
}
