#pragma once

#include <filesystem>
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

/// The systems that a folder may be a working copy of, or lie in one of. Where the folder is plainly that of a system
/// that this program knows, or no others are installed, none of the others is asked.
ListedSystems listSystemsFor(Session& session, const std::filesystem::path& folder);

/// The system that the user calls so, whatever the case of the letters.
struct FoundSystem {
  QRBSourceControlSystemPtr system;
  qrb::Error error;
};
FoundSystem findSystemNamed(Session& session, const std::string& name);
/// The one of that name; without a name the one that the address suggests, else Git.
FoundSystem findSystemFor(Session& session, const qrb::URL& url, const std::string& name);

}  // namespace host
