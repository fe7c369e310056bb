#pragma once

#include "QRBSourceControlBranch.h"
#include "QRBSourceControlRepository.h"
#include "QRBSourceControlSystem.h"
#include "SequentialActionPrivate.h"

namespace qrb {

/// Asks for the branch of a remote that a location of a working copy follows; null where none is followed, or the
/// location is no local branch.
inline QRBSourceControlBranchPtr followedBranch(SequentialAction& action, const char* lockWord,
                                                const QRBSourceControlRepositoryPtr& repository,
                                                const QRBSourceControlRevisionLocationPtr& location) {
  auto branch = std::dynamic_pointer_cast<const QRBSourceControlBranch>(location);
  QRBSourceControlSystemPtr system = repository->sourceControlSystem();
  bool hasRemotes = system != nullptr && (system->hasLocalRepository() || system->supportsMultipleRemoteRepositories());
  if (branch == nullptr || branch->isRemoteBranch() || !hasRemotes || action.isAbandoned()) return nullptr;
  // An error is the answer of a branch that follows none.
  auto [followed, error] = action.step<QRBSourceControlBranchPtr>(lockWord, repository.get(), [&](auto completion) {
    return repository->remoteBranchForBranch(branch, std::move(completion));
  });
  return followed != nullptr && followed->isRemoteBranch() ? followed : nullptr;
}

}  // namespace qrb
