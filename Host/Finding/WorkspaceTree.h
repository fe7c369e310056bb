#pragma once

#include <string>
#include <vector>

#include "Output.h"

namespace host {

/// A place in a drawing of folders: its path from the root folder on, and what is said of it.
struct TreePlace {
  struct Remark {
    Style style = Style::plain;
    std::string text;
  };
  std::string path;
  /// In columns.
  std::vector<Remark> remarks;
};

/// Draws the places as a tree below a line for the root folder. Folders that only lead to others stand in one line with
/// them.
void drawTree(Output& output, const std::string& root, const std::vector<TreePlace>& places);

}  // namespace host
