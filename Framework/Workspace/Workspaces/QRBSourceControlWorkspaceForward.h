#pragma once

#include <memory>

#include <qrb/Error.h>
#include <qrb/MapTable.h>

#include "QRBSourceControlForward.h"

class QRBSourceControlMultiCancellable;
using QRBSourceControlMultiCancellablePtr = std::shared_ptr<QRBSourceControlMultiCancellable>;

class QRBSourceControlWorkspace;
class QRBSourceControlWorkspaceBlueprint;
using QRBSourceControlWorkspacePtr = std::shared_ptr<QRBSourceControlWorkspace>;
using QRBSourceControlWorkspaceBlueprintPtr = std::shared_ptr<QRBSourceControlWorkspaceBlueprint>;

/// What is known about each remote repository of a blueprint, by the object itself.
template <class Value>
using QRBSourceControlRemoteRepositoryTable = qrb::MapTable<QRBSourceControlRemoteRepository, Value>;
/// What is known about each working copy of a workspace.
template <class Value>
using QRBSourceControlWorkingCopyTable = qrb::MapTable<QRBSourceControlWorkingCopy, Value>;
/// The remote repository of each working copy; may be absent (null).
using QRBSourceControlWorkingCopyRemotes = QRBSourceControlWorkingCopyTable<QRBSourceControlRemoteRepositoryPtr>;
using QRBSourceControlWorkingCopyRemotesPtr = std::shared_ptr<const QRBSourceControlWorkingCopyRemotes>;
/// Which working copies, or repositories, failed and why; may be absent (null).
using QRBSourceControlWorkingCopyErrors = QRBSourceControlWorkingCopyTable<qrb::Error>;
using QRBSourceControlWorkingCopyErrorsPtr = std::shared_ptr<const QRBSourceControlWorkingCopyErrors>;
using QRBSourceControlRemoteRepositoryErrors = QRBSourceControlRemoteRepositoryTable<qrb::Error>;
using QRBSourceControlRemoteRepositoryErrorsPtr = std::shared_ptr<const QRBSourceControlRemoteRepositoryErrors>;
