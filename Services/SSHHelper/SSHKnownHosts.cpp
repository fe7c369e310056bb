#include "SSHKnownHosts.h"

#include <algorithm>

#include "SSHPublicKey.h"

std::map<std::string, std::vector<std::string>> parseSSHKnownHosts(std::string_view text) {
  std::map<std::string, std::vector<std::string>> known;
  while (!text.empty()) {
    std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    std::vector<std::string_view> words = splitWords(line);
    if (words.size() < 3 || words[0].starts_with('#') || words[0].starts_with('@')) continue;
    auto key = SSHPublicKey::parse(line.substr(static_cast<std::size_t>(words[1].data() - line.data())));
    if (!key) continue;
    std::string fingerprint = key->fingerprint();
    for (std::string_view hosts = words[0]; !hosts.empty();) {
      std::string_view host = hosts.substr(0, hosts.find(','));
      hosts.remove_prefix(std::min(host.size() + 1, hosts.size()));
      if (host.empty() || host.starts_with('!')) continue;
      std::vector<std::string>& fingerprints = known[std::string(host)];
      if (std::find(fingerprints.begin(), fingerprints.end(), fingerprint) == fingerprints.end()) {
        fingerprints.push_back(fingerprint);
      }
    }
  }
  return known;
}
