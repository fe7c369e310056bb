// The working copies of a blueprint that are on disk already.

#include <algorithm>
#include <string>
#include <unordered_map>
#include <utility>

#include "BlueprintIdentityPrivate.h"
#include "FollowedBranchPrivate.h"
#include "PathString.h"
#include "QRBSourceControlBranch.h"
#include "QRBSourceControlManager.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlSystem.h"
#include "QRBSourceControlTag.h"
#include "QRBSourceControlWorkingCopy.h"
#include "QRBSourceControlWorkspaceBlueprint.h"
#include "SequentialActionPrivate.h"
#include "WorkspaceAssemblyPrivate.h"

using qrb::SequentialAction;
using Blueprint = QRBSourceControlWorkspaceBlueprint;
using WorkingCopyPtr = QRBSourceControlWorkingCopyPtr;
using WorkingCopies = std::vector<QRBSourceControlWorkingCopyPtr>;
using RemotePtr = QRBSourceControlRemoteRepositoryPtr;

namespace {

constexpr const char* kLockWord = "workingCopyScanningLock";

std::string placeOf(const WorkingCopyPtr& workingCopy) {
  return qrb::standardizedPath(workingCopy->fileURL().path().view());
}

/// One search, and what it has found so far.
class Discovery {
 public:
  Discovery(const Blueprint& blueprint, const qrb::URL& root, SequentialAction& action)
      : _blueprint(blueprint),
        _root(root),
        _action(action),
        _expandedPaths(blueprint._expandedWorkingCopyPathsFromURL(root)),
        _remotes(blueprint._sortedRemoteRepositoriesWithExpandedPaths(_expandedPaths)) {}

  /// False when it was given up on the way.
  bool run() {
    if (!scan()) return false;
    std::vector<std::pair<RemotePtr, WorkingCopyPtr>> matches = takeAtPlaces();
    // Only those that lie elsewhere are left now, and need be asked only if some repository has none.
    for (const RemotePtr& remote : _remotes) {
      bool isFound =
          std::any_of(matches.begin(), matches.end(), [&](const auto& match) { return match.first == remote; });
      if (isFound) continue;
      if (WorkingCopyPtr moved = takeElsewhere(remote)) matches.emplace_back(remote, moved);
    }
    for (const auto& match : matches) {
      const auto& [remote, workingCopy] = match;
      if (_action.isAbandoned()) return false;
      // A working copy that cannot tell has no location, which differs from the blueprint's.
      auto [location, error] = _action.step<QRBSourceControlRevisionLocationPtr>(
          kLockWord, remote.get(),
          [&](auto completion) { return match.second->currentLocationWithCompletionBlock(std::move(completion)); });
      _assembly.add(remote, workingCopy);
      if (error) workingCopy->setCachedCurrentLocation(nullptr);
      if (location != nullptr &&
          (isAtUnpinnedTag(remote, workingCopy, *location) || followsRecorded(remote, workingCopy, location))) {
        workingCopy->setCachedCurrentLocation(_blueprint.locationForRemoteRepository(remote));
      }
    }
    return !_action.isAbandoned();
  }

  void complete(const Blueprint::WorkspaceCompletion& completionBlock) const {
    completionBlock(_assembly.workspace(), _assembly.remotes(), {});
  }

 private:
  bool scan() {
    if (_action.isAbandoned()) return false;
    using Found = std::shared_ptr<const WorkingCopies>;
    auto [found, error] = _action.step<Found>(kLockWord, [&](auto completion) {
      return QRBSourceControlManager::sharedInstance()->scanForWorkingCopiesInFolderPaths(
          folders(), false, systems(), [completion](const Found& workingCopies) { completion(workingCopies, {}); });
    });
    if (found == nullptr) return false;
    for (const WorkingCopyPtr& workingCopy : *found) _found.emplace(placeOf(workingCopy), workingCopy);
    return true;
  }

  /// The root folder, and the places of the blueprint that are not in it.
  std::vector<qrb::String> folders() const {
    std::vector<qrb::String> folders;
    std::string root = qrb::standardizedPath(_root.path().view());
    if (_root.isFileURL()) folders.emplace_back(root);
    for (const RemotePtr& remote : _remotes) {
      std::string path = _expandedPaths.valueFor(remote).path().str();
      if (!path.empty() && path != root && !path.starts_with(root + "/")) folders.emplace_back(path);
    }
    return folders;
  }

  std::vector<QRBSourceControlSystemPtr> systems() const {
    std::unordered_map<qrb::String, QRBSourceControlSystemPtr> byIdentifier;
    for (const RemotePtr& remote : _remotes) {
      if (!qrb::canBeAsked(remote.get())) continue;
      QRBSourceControlSystemPtr system = remote->sourceControlSystem();
      byIdentifier.emplace(system->plugInIdentifier(), system);
    }
    std::vector<QRBSourceControlSystemPtr> systems;
    for (auto& [identifier, system] : byIdentifier) systems.push_back(std::move(system));
    return systems;
  }

  /// Whether it is at the revision of a recorded tag that the blueprint does not know the revision of.
  bool isAtUnpinnedTag(const RemotePtr& remote, const WorkingCopyPtr& workingCopy,
                       const QRBSourceControlRevisionLocation& current) {
    auto recorded = _blueprint.locationForRemoteRepository(remote);
    bool isUnpinnedTag = recorded != nullptr && recorded->revision() == nullptr &&
                         &recorded->classInfo() == &QRBSourceControlTag::staticClass();
    bool isAtRevision = &current.classInfo() == &QRBSourceControlRevisionLocation::staticClass();
    if (!isUnpinnedTag || !isAtRevision || _action.isAbandoned()) return false;
    auto [revision, error] = _action.step<QRBSourceControlRevisionPtr>(kLockWord, remote.get(), [&](auto completion) {
      return workingCopy->repository()->revisionOfLocation(
          recorded, _blueprint.branchAndTagLocationsForRemoteRepository(remote), std::move(completion));
    });
    return qrb::areEqual(revision, current.revision());
  }

  /// Whether it is on a branch of another name that follows the recorded one, as whoever recorded it may have been.
  bool followsRecorded(const RemotePtr& remote, const WorkingCopyPtr& workingCopy,
                       const QRBSourceControlRevisionLocationPtr& current) {
    auto recorded =
        std::dynamic_pointer_cast<const QRBSourceControlBranch>(_blueprint.locationForRemoteRepository(remote));
    if (recorded == nullptr || !recorded->isRemoteBranch() || current->isSimilar(recorded)) return false;
    auto followed = qrb::followedBranch(_action, kLockWord, workingCopy->repository(), current);
    return followed != nullptr && followed->isSimilar(recorded);
  }

  std::vector<std::pair<RemotePtr, WorkingCopyPtr>> takeAtPlaces() {
    std::vector<std::pair<RemotePtr, WorkingCopyPtr>> matches;
    for (const RemotePtr& remote : _remotes) {
      auto place = _found.find(_expandedPaths.valueFor(remote).path().str());
      if (place == _found.end() || isOfAnother(place->second, remote)) continue;
      matches.emplace_back(remote, place->second);
      _found.erase(place);
    }
    return matches;
  }

  /// The only one of those left that has the remote's identifier.
  WorkingCopyPtr takeElsewhere(const RemotePtr& remote) {
    if (remote->identifier().empty()) return nullptr;
    auto only = _found.end();
    for (auto candidate = _found.begin(); candidate != _found.end(); ++candidate) {
      if (identifierOf(candidate->second) != remote->identifier()) continue;
      if (only != _found.end()) return nullptr;
      only = candidate;
    }
    if (only == _found.end()) return nullptr;
    WorkingCopyPtr workingCopy = only->second;
    _found.erase(only);
    return workingCopy;
  }

  bool isOfAnother(const WorkingCopyPtr& workingCopy, const RemotePtr& remote) {
    qrb::String identifier = identifierOf(workingCopy);
    if (identifier.empty() || remote->identifier().empty() || identifier == remote->identifier()) return false;
    if (!isCloneOf(workingCopy->repository(), remote)) return true;
    // The file calls it something else, and by that it is compared.
    workingCopy->repository()->setIdentifier(remote->identifier());
    return false;
  }

  bool isCloneOf(const QRBSourceControlRepositoryPtr& repository, const RemotePtr& remote) {
    QRBSourceControlSystemPtr system = repository->sourceControlSystem();
    if (_action.isAbandoned() || system == nullptr || !system->supportsMultipleRemoteRepositories()) return false;
    auto [primary, remotes, error] = _action.step<RemotePtr, QRBSourceControlRemoteRepositoriesPtr>(
        kLockWord, repository.get(),
        [&](auto completion) { return repository->listRemoteRepositoriesWithCompletionBlock(std::move(completion)); });
    if (remotes == nullptr) return false;
    return std::any_of(remotes->begin(), remotes->end(), [&](const auto& entry) {
      qrb::URL url = entry.second->URL();
      return url == remote->URL() || qrb::detail::isSameOrigin(url, remote->URL());
    });
  }

  /// Asks where it is not known yet, and each working copy once: one without history has none.
  qrb::String identifierOf(const WorkingCopyPtr& workingCopy) {
    QRBSourceControlRepositoryPtr repository = workingCopy->repository();
    if (repository == nullptr) return {};
    if (repository->identifier().empty() && !_asked.contains(workingCopy) && !_action.isAbandoned()) {
      _asked.set(workingCopy, true);
      _action.step<>(kLockWord, repository.get(), [&](QRBSourceControlCompletionBlock<> completion) {
        return workingCopy->updateRepositoryIdentifierWithCompletionBlock(std::move(completion));
      });
    }
    return repository->identifier();
  }

  const Blueprint& _blueprint;
  const qrb::URL& _root;
  SequentialAction& _action;
  const Blueprint::Table<qrb::URL> _expandedPaths;
  const Blueprint::RemoteRepositories _remotes;
  /// By place, less those that were matched.
  std::unordered_map<std::string, WorkingCopyPtr> _found;
  QRBSourceControlWorkingCopyTable<bool> _asked;
  qrb::WorkspaceAssembly _assembly{_blueprint};
};

}  // namespace

QRBSourceControlMultiCancellablePtr Blueprint::workspaceForWorkingCopiesCreatedAtURL(
    const qrb::URL& URL, WorkspaceCompletion completionBlock) {
  return SequentialAction::start(
      _operationQueue, "workspaceForWorkingCopiesCreatedAtURL:completionBlock:",
      [self = shared_from_this(), URL, completionBlock = std::move(completionBlock)](SequentialAction& action) {
        if (self->_isValid()) {
          Discovery discovery(*self, URL, action);
          if (discovery.run()) {
            if (completionBlock) discovery.complete(completionBlock);
            return;
          }
        }
        if (completionBlock) completionBlock(nullptr, nullptr, qrb::actionAbandonedError());
      });
}
