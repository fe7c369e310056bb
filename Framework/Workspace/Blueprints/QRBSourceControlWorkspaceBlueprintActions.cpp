// What a blueprint asks the servers of its repositories, one after another.

#include <utility>

#include "QRBSourceControlBranchAndTagLocations.h"
#include "QRBSourceControlLockedRevisionLocation.h"
#include "QRBSourceControlPathLocation.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlSystem.h"
#include "QRBSourceControlWorkspaceBlueprint.h"
#include "SequentialActionPrivate.h"

using qrb::Error;
using qrb::SequentialAction;
using Blueprint = QRBSourceControlWorkspaceBlueprint;
using BlueprintPtr = QRBSourceControlWorkspaceBlueprintPtr;
using RemotePtr = QRBSourceControlRemoteRepositoryPtr;
using LocationPtr = QRBSourceControlRevisionLocationPtr;
using PathPtr = QRBSourceControlPathLocationPtr;
using LayoutPtr = QRBSourceControlBranchAndTagLocationsPtr;
using RevisionPtr = QRBSourceControlRevisionPtr;
using Request = QRBSourceControlMultiCancellablePtr;

namespace {

/// One repository's part of an action; its error goes to the error table.
using Visit = std::function<Error(SequentialAction& action, const RemotePtr& remote)>;

Request visitRepositories(const BlueprintPtr& blueprint, const char* selector, Visit visit,
                          Blueprint::RepositoriesCompletion completionBlock) {
  auto run = [blueprint, visit = std::move(visit)](SequentialAction& action) -> Blueprint::ErrorsPtr {
    if (!blueprint->_isValid()) return nullptr;
    auto errors = std::make_shared<Blueprint::Errors>();
    // A copy: visits may put one repository in the place of another.
    Blueprint::RemoteRepositories remotes = blueprint->remoteRepositories();
    for (const RemotePtr& remote : remotes) {
      if (action.isAbandoned()) return nullptr;
      if (Error error = visit(action, remote)) errors->set(remote, std::move(error));
    }
    return errors;
  };
  return SequentialAction::start(
      blueprint->_blueprintOperationQueue(), selector,
      [run = std::move(run), completionBlock = std::move(completionBlock)](SequentialAction& action) {
        Blueprint::ErrorsPtr errors = run(action);
        if (completionBlock) completionBlock(errors, errors == nullptr ? qrb::actionAbandonedError() : Error());
      });
}

/// Visits for an action that answers a table beside the errors.
template <class Results>
Request visitRepositories(
    const BlueprintPtr& blueprint, const char* selector,
    std::function<Error(SequentialAction&, const RemotePtr&, Results&)> visit,
    QRBSourceControlCompletionBlock<std::shared_ptr<const Results>, Blueprint::ErrorsPtr> completionBlock) {
  auto results = std::make_shared<Results>();
  return visitRepositories(
      blueprint, selector,
      [results, visit = std::move(visit)](SequentialAction& action, const RemotePtr& remote) {
        return visit(action, remote, *results);
      },
      [results, completionBlock = std::move(completionBlock)](Blueprint::ErrorsPtr errors, Error error) {
        if (!completionBlock) return;
        std::shared_ptr<const Results> whole = error ? nullptr : results;
        completionBlock(std::move(whole), std::move(errors), std::move(error));
      });
}

PathPtr asPath(const LocationPtr& location) {
  return std::dynamic_pointer_cast<const QRBSourceControlPathLocation>(location);
}

/// A location that was found, pinned as the one that it takes the place of was.
LocationPtr pinnedAs(const LocationPtr& before, const LocationPtr& found) {
  bool isPinned = before != nullptr && before->revision() != nullptr && found->revision() == nullptr;
  return isPinned ? found->locationWithRevision(before->revision()) : found;
}

// Root URLs

LocationPtr fromRoot(const PathPtr& pathFromRoot, const LocationPtr& before) {
  PathPtr below = asPath(before);
  if (below == nullptr || below->isRootPath()) return pinnedAs(before, pathFromRoot);
  std::string_view path = below->relativePath().view();
  path.remove_prefix(std::min(path.find_first_not_of('/'), path.size()));
  return pinnedAs(before, pathFromRoot->pathLocationByAppendingPath(path));
}

Error moveToRoot(Blueprint& blueprint, SequentialAction& action, const RemotePtr& remote) {
  QRBSourceControlSystemPtr system = remote->sourceControlSystem();
  if (system != nullptr && system->isUsable() && !system->repositoryURLIncludesSubpath()) return {};
  auto [chosen, path, error] = action.step<RemotePtr, PathPtr>("URLRootLock", remote.get(), [&](auto completion) {
    return remote->updateRepositoryURLRootWithCompletionBlock(std::move(completion));
  });
  if (error) return error;
  LocationPtr before = blueprint.locationForRemoteRepository(remote);
  bool meansFolder = before == nullptr || asPath(before) != nullptr;
  if (meansFolder && path != nullptr && !path->isRootPath()) {
    blueprint.locations()->set(remote, fromRoot(path, before));
  }
  if (chosen != remote) blueprint.replaceRemoteRepository(remote, chosen);
  return {};
}

// Layouts

bool lacksLayout(const Blueprint& blueprint, const RemotePtr& remote) {
  QRBSourceControlSystemPtr system = remote->sourceControlSystem();
  if (system == nullptr || !system->requiresLocationsForBranchesAndTags()) return false;
  LayoutPtr layout = blueprint.branchAndTagLocationsForRemoteRepository(remote);
  return layout == nullptr || !layout->isCompleteForBranches();
}

Error detectLayout(const Blueprint& blueprint, SequentialAction& action, const char* lockWord,
                   const RemotePtr& remote) {
  LocationPtr before = blueprint.locationForRemoteRepository(remote);
  PathPtr path = asPath(before);
  if (path == nullptr) path = QRBSourceControlPathLocation::rootPathLocation();
  auto [location, layout, error] = action.step<LocationPtr, LayoutPtr>(lockWord, remote.get(), [&](auto completion) {
    return remote->automaticallyDetectBranchAndTagLocationsFromPath(path, std::move(completion));
  });
  if (error) return error;
  if (layout != nullptr) blueprint.workingCopyRepositoryLocations()->set(remote, layout);
  // A branch or tag that was recorded by name stays the one that is meant.
  bool meansFolder = before == nullptr || asPath(before) != nullptr;
  if (meansFolder && location != nullptr) blueprint.locations()->set(remote, pinnedAs(before, location));
  return {};
}

Error listBranches(const Blueprint& blueprint, SequentialAction& action, const RemotePtr& remote,
                   Blueprint::Branches& branches) {
  if (lacksLayout(blueprint, remote)) {
    if (Error error = detectLayout(blueprint, action, "detectBranchesLock", remote)) return error;
  }
  auto [found, error] =
      action.step<std::vector<QRBSourceControlBranchPtr>>("listBranchesLock", remote.get(), [&](auto completion) {
        return remote->listBranchesForBranchAndTagLocations(blueprint.branchAndTagLocationsForRemoteRepository(remote),
                                                            std::move(completion));
      });
  if (!error) branches.set(remote, std::move(found));
  return error;
}

// Updates

bool isBareRevision(const LocationPtr& location) {
  if (location == nullptr || location->revision() == nullptr) return false;
  const qrb::ClassInfo& kind = location->classInfo();
  return &kind == &QRBSourceControlRevisionLocation::staticClass() ||
         &kind == &QRBSourceControlLockedRevisionLocation::staticClass();
}

bool namesLineOfHistory(const LocationPtr& location) {
  return location != nullptr && &location->classInfo() != &QRBSourceControlRevisionLocation::staticClass();
}

Error checkForUpdates(const Blueprint& blueprint, SequentialAction& action, const RemotePtr& remote,
                      Blueprint::Updates& updates) {
  LocationPtr location = blueprint.locationForRemoteRepository(remote);
  if (isBareRevision(location)) return {};
  auto [newest, error] = action.step<RevisionPtr>("updateCheckLock", remote.get(), [&](auto completion) {
    if (!namesLineOfHistory(location)) return remote->headRevisionWithCompletionBlock(std::move(completion));
    return remote->revisionOfLocation(location->locationWithRevision(nullptr),
                                      blueprint.branchAndTagLocationsForRemoteRepository(remote),
                                      std::move(completion));
  });
  if (error) return error;
  if (newest != nullptr && !newest->isEqual(blueprint.revisionForRemoteRepository(remote))) updates.set(remote, newest);
  return {};
}

}  // namespace

Request Blueprint::updateRepositoryURLRootsWithCompletionBlock(RepositoriesCompletion completionBlock) {
  return visitRepositories(
      shared_from_this(), "updateRepositoryURLRootsWithCompletionBlock:",
      [this](SequentialAction& action, const RemotePtr& remote) { return moveToRoot(*this, action, remote); },
      std::move(completionBlock));
}

Request Blueprint::automaticallyDetectBranchAndTagLocationsWithCompletionBlock(RepositoriesCompletion completionBlock) {
  return visitRepositories(
      shared_from_this(), "automaticallyDetectBranchAndTagLocationsWithCompletionBlock:",
      [this](SequentialAction& action, const RemotePtr& remote) {
        if (!lacksLayout(*this, remote)) return Error();
        return detectLayout(*this, action, "autoBranchAndTagDiscoveryLock", remote);
      },
      std::move(completionBlock));
}

Request Blueprint::listBranchesWithCompletionBlock(BranchesCompletion completionBlock) {
  return visitRepositories<Branches>(
      shared_from_this(), "listBranchesWithCompletionBlock:",
      [this](SequentialAction& action, const RemotePtr& remote, Branches& branches) {
        return listBranches(*this, action, remote, branches);
      },
      std::move(completionBlock));
}

Request Blueprint::validateAuthenticationWithCompletionBlock(RepositoriesCompletion completionBlock) {
  return visitRepositories(
      shared_from_this(), "validateAuthenticationWithCompletionBlock:",
      [this](SequentialAction& action, const RemotePtr& remote) {
        auto [error] = action.step<>(
            "authenticationValidationLock", remote.get(), [&](QRBSourceControlCompletionBlock<> completion) {
              return remote->validateAuthenticationForLocation(locationForRemoteRepository(remote),
                                                               branchAndTagLocationsForRemoteRepository(remote),
                                                               std::move(completion));
            });
        return error;
      },
      std::move(completionBlock));
}

Request Blueprint::checkForUpdatesWithCompletionBlock(UpdatesCompletion completionBlock) {
  return visitRepositories<Updates>(
      shared_from_this(), "checkForUpdatesWithCompletionBlock:",
      [this](SequentialAction& action, const RemotePtr& remote, Updates& updates) {
        return checkForUpdates(*this, action, remote, updates);
      },
      std::move(completionBlock));
}
