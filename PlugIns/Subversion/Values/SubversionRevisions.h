#pragma once

#include <optional>

#include "Error.h"
#include "QRBSourceControlForward.h"
#include "SubversionValues.h"

/// A host's revision as the library takes it; `fallback` for none. "HEAD" is the newest of the repository, "BASE" that
/// of the working copy, uncommitted work the working copy itself. The error is that it is no revision.
qrb::Error subversionRevision(const QRBSourceControlRevisionPtr& revision, SubversionRevision fallback,
                              SubversionRevision& result);
QRBSourceControlRevisionPtr subversionRevisionValue(long revision);
/// The revision that pins a location, if one does.
QRBSourceControlRevisionPtr subversionPinOf(const QRBSourceControlRevisionLocationPtr& location);
