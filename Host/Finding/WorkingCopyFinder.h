#pragma once

#include <string>

#include "QRBSourceControlForward.h"
#include "Result.h"
#include "Session.h"

namespace host {

struct FoundWorkingCopy {
  QRBSourceControlWorkingCopyPtr workingCopy;
  /// Its root, as a path without symbolic links.
  std::string root;
};

/// The working copy that a folder belongs to: the folder itself or the nearest one above it in which one of the
/// installed systems keeps its metadata. A path that is empty means the current folder.
qrb::Result<FoundWorkingCopy> findWorkingCopy(Session& session, const std::string& path);

/// The repository for comparisons with what is not committed: where a working copy holds none of its own, the working
/// copy stands for it.
QRBSourceControlRepositoryPtr repositoryWithChanges(const QRBSourceControlWorkingCopyPtr& workingCopy);

/// The working copy whose root is that folder; null where it is none of that system's.
QRBSourceControlWorkingCopyPtr workingCopyWithRoot(const std::string& root, const QRBSourceControlSystemPtr& system);

/// A repository without any commit has no revision and nothing to be identified by; that is worth telling, and often
/// no failure.
bool isWithoutHistory(const qrb::Error& error);

}  // namespace host
