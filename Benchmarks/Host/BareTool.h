#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

/// Runs a program in a folder as a plain program would, reads all that it prints, and says what that cost: "wall",
/// "cpu", "bytes", and "first", the time until byte 1 had come `marks` times (0 where it came less often). Throws
/// std::runtime_error when the program cannot be run or fails.
nlohmann::json runBareTool(const std::string& folder, const std::vector<std::string>& arguments, int marks);
