#pragma once

#include <memory>

#include "MapTable.h"
#include "QRBSourceControlForward.h"

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
