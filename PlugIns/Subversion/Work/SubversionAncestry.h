#pragma once

#include <optional>
#include <string>
#include <vector>

#include "SubversionValues.h"

/// The newest revision in which two lines of history were one, and the path that they had: none where they never were.
/// Pure. Segments are as SubversionClient::segments() tells them.
struct SubversionAncestor {
  std::string path;
  long revision = -1;
};
std::optional<SubversionAncestor> subversionCommonAncestor(const std::vector<SubversionSegment>& one,
                                                           const std::vector<SubversionSegment>& other);
