#include "GitRemoteRefs.h"

#include <algorithm>

std::vector<GitRemoteRef> gitReadRemoteRefs(std::string_view output, std::string_view folder) {
  std::vector<GitRemoteRef> refs;
  while (!output.empty()) {
    std::string_view line = output.substr(0, output.find('\n'));
    output.remove_prefix(std::min(line.size() + 1, output.size()));
    std::size_t tab = line.find('\t');
    if (tab == std::string_view::npos) continue;
    std::string_view ref = line.substr(tab + 1);
    if (ref.starts_with(folder)) refs.push_back({line.substr(0, tab), ref.substr(folder.size())});
  }
  return refs;
}

std::string_view gitHashOfRemoteRef(std::string_view output, std::string_view ref) {
  std::vector<GitRemoteRef> refs = gitReadRemoteRefs(output, "");
  auto found = std::ranges::find(refs, ref, &GitRemoteRef::name);
  return found == refs.end() ? std::string_view() : found->hash;
}
