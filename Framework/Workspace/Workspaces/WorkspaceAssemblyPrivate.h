#pragma once

#include <memory>
#include <vector>

#include "QRBSourceControlWorkspaceForward.h"

namespace qrb {

/// A workspace of a blueprint's working copies under construction. The blueprint outlives it.
class WorkspaceAssembly {
 public:
  explicit WorkspaceAssembly(const QRBSourceControlWorkspaceBlueprint& blueprint) : _blueprint(blueprint) {}

  /// Gives the working copy what the blueprint knows of it: its state and, where it has none itself, the identifier of
  /// its repository and its location. A local branch makes way for the recorded remote one that it stands for.
  void add(const QRBSourceControlRemoteRepositoryPtr& remote, const QRBSourceControlWorkingCopyPtr& workingCopy);
  QRBSourceControlWorkspacePtr workspace() const;
  QRBSourceControlWorkingCopyRemotesPtr remotes() const { return _remotes; }

 private:
  const QRBSourceControlWorkspaceBlueprint& _blueprint;
  QRBSourceControlWorkingCopyPtr _primary;
  std::vector<QRBSourceControlWorkingCopyPtr> _workingCopies;
  std::shared_ptr<QRBSourceControlWorkingCopyRemotes> _remotes = std::make_shared<QRBSourceControlWorkingCopyRemotes>();
};

}  // namespace qrb
