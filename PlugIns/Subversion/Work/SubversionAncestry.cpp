#include "SubversionAncestry.h"

#include <algorithm>

std::optional<SubversionAncestor> subversionCommonAncestor(const std::vector<SubversionSegment>& one,
                                                           const std::vector<SubversionSegment>& other) {
  std::optional<SubversionAncestor> newest;
  for (const SubversionSegment& first : one) {
    for (const SubversionSegment& second : other) {
      long last = std::min(first.last, second.last);
      bool isCommon = first.path == second.path && last >= std::max(first.first, second.first);
      if (isCommon && (!newest || last > newest->revision)) newest = SubversionAncestor{first.path, last};
    }
  }
  return newest;
}
