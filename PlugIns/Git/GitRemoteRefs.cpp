#include "GitRemoteRefs.h"

#include <algorithm>

std::string_view gitHashOfRemoteRef(std::string_view output, std::string_view ref) {
  while (!output.empty()) {
    const std::string_view line = output.substr(0, output.find('\n'));
    output.remove_prefix(std::min(line.size() + 1, output.size()));
    const std::size_t tab = line.find('\t');
    if (tab != std::string_view::npos && line.substr(tab + 1) == ref) return line.substr(0, tab);
  }
  return {};
}
