#pragma once

#include <vector>

#include "Error.h"
#include "QRBSourceControlForward.h"
#include "Session.h"

namespace host {

struct ListedSystems {
  std::vector<QRBSourceControlSystemPtr> systems;
  qrb::Error error;
};

/// Asks every installed plug-in what it is; the error is that of a cancellation.
ListedSystems listSystems(Session& session);

}  // namespace host
