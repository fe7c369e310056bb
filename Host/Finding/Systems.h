#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "QRBSourceControlForward.h"
#include "Result.h"
#include "Session.h"

namespace host {

/// The error is that of a cancellation.
using ListedSystems = qrb::Result<std::vector<QRBSourceControlSystemPtr>>;

/// Asks every installed plug-in what it is.
ListedSystems listSystems(Session& session);

/// The systems that a folder may be a working copy of, or lie in one of. Where the folder is plainly that of a system
/// that this program knows, or no others are installed, none of the others is asked.
ListedSystems listSystemsFor(Session& session, const std::filesystem::path& folder);

/// The system that the user calls so, whatever the case of the letters.
qrb::Result<QRBSourceControlSystemPtr> findSystemNamed(Session& session, const std::string& name);
/// The one of that name; without a name the one that the address suggests, else Git.
qrb::Result<QRBSourceControlSystemPtr> findSystemFor(Session& session, const qrb::URL& url, const std::string& name);

}  // namespace host
