#pragma once

#include "Dictionary.h"

/// Requests that reach a remote repository. Each says its "wall" time from the call to the reply and how often it
/// reported "progress".
namespace transfers {

/// From "from", an address, to "to", a path.
qrb::Dictionary clone(const qrb::Dictionary& request);
/// "folder" has the remote at "from".
qrb::Dictionary fetch(const qrb::Dictionary& request);
/// The branch checked out in "folder", to "to", an address.
qrb::Dictionary push(const qrb::Dictionary& request);

}  // namespace transfers
