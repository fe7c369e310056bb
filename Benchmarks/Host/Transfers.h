#pragma once

#include <nlohmann/json_fwd.hpp>

/// Requests that reach a remote repository. Each says its "wall" time from the call to the reply and how often it
/// reported "progress".
namespace transfers {

/// From "from", an address, to "to", a path.
nlohmann::json clone(const nlohmann::json& request);
/// "folder" has the remote at "from".
nlohmann::json fetch(const nlohmann::json& request);
/// The branch checked out in "folder", to "to", an address.
nlohmann::json push(const nlohmann::json& request);

}  // namespace transfers
