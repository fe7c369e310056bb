#pragma once

#include <qrb/Export.h>
#include <qrb/SharedString.h>

#include "QRBSourceControlForward.h"

/// Both identifiers of the repository as one text, as `mergeIdentifiers` joins them; absent without a repository, and
/// for one without an identifier.
QRB_EXPORT qrb::String repositoryIdentifier(const QRBSourceControlRepositoryPtr& repository);
