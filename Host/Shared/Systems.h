#pragma once

#include <string>
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

/// The system that the user calls so, whatever the case of the letters.
struct FoundSystem {
  QRBSourceControlSystemPtr system;
  qrb::Error error;
};
FoundSystem findSystemNamed(Session& session, const std::string& name);

}  // namespace host
