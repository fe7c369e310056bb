#pragma once

#include "Error.h"
#include "QRBSourceControlForward.h"
#include "SharedString.h"
#include "SubversionClient.h"
#include "SubversionFailure.h"

/// What a failure means for the one who asked; no error where there was none. `name` is what people call the working
/// copy or repository. The client, where there is one, knows what servers asked.
qrb::Error subversionError(const SubversionFailure& failure, const qrb::String& name,
                           const SubversionClient* client = nullptr);

/// The error for a location that the repository has not.
qrb::Error subversionLocationNotFound(const QRBSourceControlRevisionLocationPtr& location, const qrb::String& message);
/// The error for a request that the system has no notion of: remotes, fetching and sending.
qrb::Error subversionWithoutRemotes();
