#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

/// Checks the blueprint of a file out into a folder and says what that cost: "wall" from the call to the completion,
/// and "cpu" of this process and of all that it launched. Throws std::runtime_error where any repository failed.
nlohmann::json checkOutBlueprint(const std::string& file, const std::string& folder);
