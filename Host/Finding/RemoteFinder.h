#pragma once

#include <string>
#include <vector>

#include "QRBSourceControlCallbacks.h"
#include "QRBSourceControlForward.h"
#include "Result.h"
#include "Session.h"

namespace host {

/// The remotes that a repository knows; `primary` and `byName` are null where it has none.
struct ListedRemotes {
  QRBSourceControlRemoteRepositoryPtr primary;
  QRBSourceControlRemoteRepositoriesPtr byName;
};
qrb::Result<ListedRemotes> listRemotes(Session& session, const QRBSourceControlRepositoryPtr& repository);

/// The names of the remotes that were not listed, since nothing says where they are.
qrb::Result<std::vector<qrb::String>> listRemotesWithoutURL(Session& session,
                                                            const QRBSourceControlRepositoryPtr& repository,
                                                            const ListedRemotes& listed);

/// One of them, with the account and the trust that the user keeps for its server.
struct FoundRemote {
  QRBSourceControlRemoteRepositoryPtr remote;
  std::string name;
};
/// The remote of that name; of several, none named, the primary one.
qrb::Result<FoundRemote> findRemote(Session& session, const QRBSourceControlRepositoryPtr& repository,
                                    const std::string& name);
/// Where a working copy is updated from: a remote, or, where the system knows none, its only repository, whose `remote`
/// is null where it is known by the working copy alone.
qrb::Result<FoundRemote> findUpdateSource(Session& session, const QRBSourceControlRepositoryPtr& repository,
                                          const std::string& name);

/// Gives a remote, which comes with an account of its own, the account and the trust that the user keeps for its
/// server.
void useKeptAccount(const QRBSourceControlRemoteRepositoryPtr& remote);

/// Where it is, for people: never with a password.
std::string addressOf(const QRBSourceControlRemoteRepositoryPtr& remote);

/// The address that the user means by a text: a URL, user@host:path, or a path, relative to `folder` (empty: the
/// current one), whose file URL it is then. One with a password is refused: by then others have seen it.
qrb::Result<qrb::URL> readAddress(const std::string& text, const std::string& folder);

/// The branch that a working copy is on. Being on none is an error.
struct CurrentBranch {
  QRBSourceControlBranchPtr branch;
  /// What it follows; null where it follows nothing.
  QRBSourceControlBranchPtr followed;
};
qrb::Result<CurrentBranch> findCurrentBranch(Session& session, const QRBSourceControlWorkingCopyPtr& workingCopy);

}  // namespace host
