#pragma once

#include <string>

#include "QRBSourceControlForward.h"
#include "Result.h"
#include "Session.h"

namespace host {

/// A place in the history of a repository.
struct FoundLocation {
  /// Pinned to no revision, so that a request knows it by its name.
  QRBSourceControlRevisionLocationPtr location;
  /// What it stands for now.
  QRBSourceControlRevisionPtr revision;
};

/// What the user means by a name: a branch of the repository, one of a remote ("origin/main"), a tag, a revision, or
/// the only branch of that name that remotes have: the first that there is.
qrb::Result<FoundLocation> findLocation(Session& session, const QRBSourceControlRepositoryPtr& repository,
                                        const std::string& name);

/// A branch of the repository, or else one of a remote, with or without the remote's name before it.
qrb::Result<FoundLocation> findBranch(Session& session, const QRBSourceControlRepositoryPtr& repository,
                                      const std::string& name);

/// The branch, tag or revision that the user names by an option of that kind; all empty: null. Nothing is asked of the
/// repository, which may be on a server.
struct LocationNames {
  std::string branch;
  std::string tag;
  std::string revision;
};
QRBSourceControlRevisionLocationPtr locationNamed(const LocationNames& names);

/// A revision as the user names it; HEAD, BASE and INITIAL are the shared ones.
QRBSourceControlRevisionPtr revisionNamed(const std::string& name);

}  // namespace host
