#pragma once

#include "Connection.h"
#include "QRBSourceControlPlugInPrimary.h"

namespace qrb {

/// Decodes one message of a host and calls the function that serves it. Throws ArchiveError for a message that no
/// plug-in knows or whose arguments are not those declared.
void dispatchToPlugIn(QRBSourceControlPlugInPrimary& plugIn, const std::shared_ptr<Connection>& connection,
                      const Connection::IncomingCall& call);

}  // namespace qrb
