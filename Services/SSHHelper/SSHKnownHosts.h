#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

/// Reads the text of a known_hosts file: each host as it is written there (a name, an address, a pattern, a hashed
/// name) and the fingerprints of its keys, in the order of the file, each once. Lines that are malformed are passed
/// over, as ssh does, and so are keys that are revoked, hosts excluded from a line, and certificate authorities, which
/// are no keys of hosts.
std::map<std::string, std::vector<std::string>> parseSSHKnownHosts(std::string_view text);
