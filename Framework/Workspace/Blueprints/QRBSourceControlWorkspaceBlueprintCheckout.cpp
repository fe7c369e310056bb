// A workspace made from a blueprint.

#include <algorithm>
#include <utility>

#include "QRBSourceControlError.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlWorkingCopy.h"
#include "QRBSourceControlWorkspaceBlueprint.h"
#include "SequentialActionPrivate.h"
#include "WorkspaceAssemblyPrivate.h"
#include "WorkspacePlacesPrivate.h"

using qrb::Error;
using qrb::SequentialAction;
using Blueprint = QRBSourceControlWorkspaceBlueprint;
using WorkingCopyPtr = QRBSourceControlWorkingCopyPtr;
using RemotePtr = QRBSourceControlRemoteRepositoryPtr;

namespace {

constexpr std::int64_t kNoWorkingCopyPathCode = -11;

QRBSourceControlProgressBlock partOfCheckout(const Blueprint::CheckoutProgressBlock& whole, std::size_t index,
                                             std::size_t count) {
  if (!whole) return {};
  return [whole, index, count](const qrb::String& text, double fraction) {
    if (fraction < 0) return whole(text, fraction, fraction);
    auto n = static_cast<double>(count);
    double start = static_cast<double>(index) / n;
    whole(text, fraction / n + start, start);
  };
}

/// One checkout under way, and what has come of it so far.
class Checkout {
 public:
  Checkout(const Blueprint& blueprint, const qrb::URL& root, const Blueprint::CheckoutProgressBlock& progressBlock)
      : _blueprint(blueprint),
        _progressBlock(progressBlock),
        _expandedPaths(blueprint._expandedWorkingCopyPathsFromURL(root)),
        _remotes(blueprint._sortedRemoteRepositoriesWithExpandedPaths(_expandedPaths)) {}

  /// False when it was given up on the way.
  bool run(SequentialAction& action) {
    for (std::size_t index = 0; index < _remotes.size(); ++index) {
      const RemotePtr& remote = _remotes[index];
      if (!_expandedPaths.contains(remote)) {
        _errors->set(remote, Error(QRBSourceControlErrorDomain, kNoWorkingCopyPathCode));
        continue;
      }
      if (action.isAbandoned()) return false;
      auto [workingCopy, error] = create(action, index);
      if (!error && workingCopy == nullptr) error = QRBSourceControlError_WorkingCopyNotFound({});
      if (error) {
        _errors->set(remote, std::move(error));
      } else {
        _assembly.add(remote, workingCopy);
      }
    }
    return true;
  }

  void complete(const Blueprint::CheckoutCompletion& completionBlock) const {
    completionBlock(_assembly.workspace(), _assembly.remotes(), _errors, {});
  }

 private:
  std::tuple<WorkingCopyPtr, Error> create(SequentialAction& action, std::size_t index) const {
    const RemotePtr& remote = _remotes[index];
    return action.step<WorkingCopyPtr>("workingCopyCreationLock", remote.get(), [&](auto completion) {
      return remote->createWorkingCopyAtURL(
          _expandedPaths.valueFor(remote), _blueprint.locationForRemoteRepository(remote),
          _blueprint.branchAndTagLocationsForRemoteRepository(remote),
          partOfCheckout(_progressBlock, index, _remotes.size()), std::move(completion));
    });
  }

  const Blueprint& _blueprint;
  const Blueprint::CheckoutProgressBlock& _progressBlock;
  const Blueprint::Table<qrb::URL> _expandedPaths;
  const Blueprint::RemoteRepositories _remotes;
  qrb::WorkspaceAssembly _assembly{_blueprint};
  std::shared_ptr<Blueprint::Errors> _errors = std::make_shared<Blueprint::Errors>();
};

}  // namespace

Blueprint::Table<qrb::URL> Blueprint::_expandedWorkingCopyPathsFromURL(const qrb::URL& root) const {
  Table<qrb::URL> expandedPaths;
  for (const RemotePtr& remote : _remoteRepositories) {
    qrb::String path = workingCopyPathForRemoteRepository(remote);
    if (!path) continue;
    if (qrb::URL place = qrb::detail::folderAt(root, path.view())) expandedPaths.set(remote, std::move(place));
  }
  return expandedPaths;
}

Blueprint::RemoteRepositories Blueprint::_sortedRemoteRepositoriesWithExpandedPaths(
    const Table<qrb::URL>& expandedPaths) const {
  std::vector<std::pair<std::size_t, RemotePtr>> keyed;
  for (const RemotePtr& remote : _remoteRepositories) {
    keyed.emplace_back(expandedPaths.valueFor(remote).path().size(), remote);
  }
  std::stable_sort(keyed.begin(), keyed.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  RemoteRepositories sorted;
  for (auto& [length, remote] : keyed) sorted.push_back(std::move(remote));
  return sorted;
}

QRBSourceControlMultiCancellablePtr Blueprint::createWorkingCopiesAtURL(const qrb::URL& URL,
                                                                        CheckoutProgressBlock progressBlock,
                                                                        CheckoutCompletion completionBlock) {
  return SequentialAction::start(_operationQueue, "createWorkingCopiesAtURL:progressBlock:completionBlock:",
                                 [self = shared_from_this(), URL, progressBlock = std::move(progressBlock),
                                  completionBlock = std::move(completionBlock)](SequentialAction& action) {
                                   if (self->_isValid()) {
                                     Checkout checkout(*self, URL, progressBlock);
                                     if (checkout.run(action)) {
                                       if (completionBlock) checkout.complete(completionBlock);
                                       return;
                                     }
                                   }
                                   if (completionBlock)
                                     completionBlock(nullptr, nullptr, nullptr, qrb::actionAbandonedError());
                                 });
}
