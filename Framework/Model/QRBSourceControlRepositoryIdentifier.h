#pragma once

#include "Export.h"
#include "QRBSourceControlForward.h"
#include "SharedString.h"

/// The repository's serialized identifier; absent for a repository without an identifier.
QRB_EXPORT qrb::String repositoryIdentifier(const QRBSourceControlRepositoryPtr& repository);
