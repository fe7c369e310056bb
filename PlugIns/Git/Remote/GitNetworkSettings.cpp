#include "GitNetworkSettings.h"

#include <algorithm>

#include "GitCommandParts.h"
#include "PathString.h"

namespace {

/// The part of a list that has the name, made when there is none yet.
template <class Entry>
Entry& entryOf(std::vector<Entry>& entries, std::string_view name) {
  auto found = std::ranges::find(entries, name, &Entry::name);
  if (found != entries.end()) return *found;
  entries.emplace_back().name = name;
  return entries.back();
}

/// "remote.<name>.<variable>", whose name may hold dots itself.
bool isOf(std::string_view section, std::string_view key, std::string_view& name, std::string_view& variable) {
  if (!key.starts_with(section)) return false;
  key.remove_prefix(section.size());
  std::size_t dot = key.rfind('.');
  if (dot == std::string_view::npos || dot == 0) return false;
  name = key.substr(0, dot);
  variable = key.substr(dot + 1);
  return true;
}

void setRemote(GitRemoteSettings& remote, std::string_view variable, std::string_view value) {
  if (variable == "url") {
    remote.urls.emplace_back(value);
  } else if (variable == "pushurl") {
    remote.pushURLs.emplace_back(value);
  } else if (variable == "fetch") {
    remote.fetchRules.emplace_back(value);
  } else if (variable == "tagopt" || variable == "prune" || variable == "prunetags" || variable == "proxy" ||
             variable == "proxyauthmethod" || variable == "followremotehead") {
    remote.settings.emplace_back(variable, value);
  }
}

void setBranch(GitBranchSettings& branch, std::string_view variable, std::string_view value) {
  if (variable == "remote") branch.remote = value;
  if (variable == "merge") branch.merge = value;
  if (variable == "rebase") branch.rebase = value;
}

void set(GitNetworkSettings& settings, std::string_view key, std::string_view value) {
  std::string_view name;
  std::string_view variable;
  if (isOf("remote.", key, name, variable)) {
    setRemote(entryOf(settings.remotes, name), variable, value);
  } else if (isOf("branch.", key, name, variable)) {
    setBranch(entryOf(settings.branches, name), variable, value);
  } else if (key == "pull.rebase") {
    settings.pullRebase = value;
  } else if (key == "pull.ff") {
    settings.pullFastForward = value;
  }
}

template <class Entry>
const Entry* entryNamed(const std::vector<Entry>& entries, std::string_view name) {
  auto found = std::ranges::find(entries, name, &Entry::name);
  return found == entries.end() ? nullptr : &*found;
}

}  // namespace

std::string_view GitNetworkSettings::rebaseOf(std::string_view branch) const {
  const GitBranchSettings* own = branchNamed(branch);
  std::string_view setting = own != nullptr && !own->rebase.empty() ? own->rebase : pullRebase;
  bool isFalse = setting == "false" || setting == "no" || setting == "off" || setting == "0";
  return isFalse ? std::string_view() : setting;
}

GitCommand gitNetworkSettingsCommand() {
  return gitMakeCommand({"config", "-z", "--get-regexp", "^(remote|branch)\\..*\\.|^pull\\.(rebase|ff)$"});
}

GitNetworkSettings gitReadNetworkSettings(std::string_view output) {
  GitNetworkSettings settings;
  while (!output.empty()) {
    std::string_view entry = output.substr(0, output.find('\0'));
    output.remove_prefix(std::min(entry.size() + 1, output.size()));
    std::size_t end = entry.find('\n');
    // A variable without a value is a true one.
    set(settings, entry.substr(0, end), end == std::string_view::npos ? "true" : entry.substr(end + 1));
  }
  return settings;
}

const GitRemoteSettings* GitNetworkSettings::remoteAt(const qrb::RemoteAddress& address,
                                                      std::string_view folder) const {
  auto isThere = [&](const std::string& url) {
    qrb::RemoteAddress place = qrb::RemoteAddress::parse(url);
    if (place.scheme == "file" && !place.path.starts_with('/')) {
      place.path = qrb::standardizedPath(std::string(folder).append(1, '/').append(place.path));
    }
    return place.isSamePlaceAs(address);
  };
  for (const GitRemoteSettings& remote : remotes) {
    if (std::ranges::any_of(remote.urls, isThere) || std::ranges::any_of(remote.pushURLs, isThere)) return &remote;
  }
  return nullptr;
}

const GitRemoteSettings* GitNetworkSettings::remoteNamed(std::string_view name) const {
  return entryNamed(remotes, name);
}

const GitBranchSettings* GitNetworkSettings::branchNamed(std::string_view name) const {
  return entryNamed(branches, name);
}

std::string gitTrackingRef(const GitRemoteSettings& remote, std::string_view remoteRef) {
  for (std::string_view rule : remote.fetchRules) {
    if (rule.starts_with('+')) rule.remove_prefix(1);
    std::size_t colon = rule.find(':');
    if (colon == std::string_view::npos) continue;
    std::string_view from = rule.substr(0, colon);
    std::string_view to = rule.substr(colon + 1);
    if (from == remoteRef) return std::string(to);
    std::size_t star = from.find('*');
    std::size_t place = to.find('*');
    if (star == std::string_view::npos || place == std::string_view::npos) continue;
    std::string_view before = from.substr(0, star);
    std::string_view after = from.substr(star + 1);
    if (remoteRef.size() < before.size() + after.size() || !remoteRef.starts_with(before) ||
        !remoteRef.ends_with(after)) {
      continue;
    }
    std::string_view middle = remoteRef.substr(before.size(), remoteRef.size() - before.size() - after.size());
    return std::string(to.substr(0, place)).append(middle).append(to.substr(place + 1));
  }
  return {};
}
