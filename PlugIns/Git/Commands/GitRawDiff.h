#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "GitCommands.h"

/// How two trees differ at a path, renames not looked for.
struct GitRawChange {
  /// 0 on the side that has no such path.
  std::uint32_t oldMode = 0;
  std::uint32_t newMode = 0;
  std::string newObject;
  std::string path;

  bool isAddition() const { return oldMode == 0; }
  bool isDeletion() const { return newMode == 0; }
};

/// Prints how one revision or tree differs from another: see gitReadRawDiff().
GitCommand gitRawDiffCommand(std::string_view from, std::string_view to);

/// Reads what gitRawDiffCommand() printed, as far as it is that.
std::vector<GitRawChange> gitReadRawDiff(std::string_view output);
