#include "GitPrograms.h"

#include <strings.h>

#include <algorithm>
#include <map>

#include "GitCommandParts.h"

namespace {

bool holds(std::string_view text, std::string_view word) {
  const auto isSame = [](char a, char b) { return (a >= 'A' && a <= 'Z' ? static_cast<char>(a - 'A' + 'a') : a) == b; };
  return std::search(text.begin(), text.end(), word.begin(), word.end(), isSame) != text.end();
}

bool isOwn(std::string_view scope) {
  return scope == "local" || scope == "worktree";
}

/// What the program is where the user has chosen none.
std::string_view neutralValue(std::string_view key) {
  if (key == "core.sshcommand") return "ssh";
  if (key.ends_with(".required")) return "false";
  return {};
}

struct Values {
  std::vector<std::string> chosen;
  bool hasOwn = false;
};

/// "<scope>\0<key>\n<value>\0"; a key alone means true.
std::map<std::string, Values> readValues(std::string_view listing) {
  std::map<std::string, Values> result;
  const auto take = [&] {
    const std::size_t end = std::min(listing.find('\0'), listing.size());
    const std::string_view token = listing.substr(0, end);
    listing.remove_prefix(std::min(end + 1, listing.size()));
    return token;
  };
  while (!listing.empty()) {
    const std::string_view scope = take();
    const std::string_view setting = take();
    const std::size_t end = std::min(setting.find('\n'), setting.size());
    Values& values = result[std::string(setting.substr(0, end))];
    if (isOwn(scope)) {
      values.hasOwn = true;
    } else {
      values.chosen.emplace_back(end < setting.size() ? setting.substr(end + 1) : "true");
    }
  }
  return result;
}

}  // namespace

bool gitMayNamePrograms(std::string_view configuration) {
  return holds(configuration, "filter") || holds(configuration, "include") || holds(configuration, "promisor") ||
         holds(configuration, "partialclone");
}

bool gitMayMoveWorkingCopy(std::string_view configuration) {
  return holds(configuration, "worktree") || holds(configuration, "include");
}

GitCommand gitProgramSettingsCommand() {
  return gitMakeCommand({"config", "--show-scope", "--null", "--get-regexp",
                         "^(filter\\..*|core\\.sshcommand|core\\.gitproxy|core\\.askpass|credential\\.(.*\\.)?helper|"
                         "remote\\..*\\.uploadpack)$"});
}

GitNeutralization gitNeutralizePrograms(std::string_view listing) {
  GitNeutralization result;
  for (const auto& [key, values] : readValues(listing)) {
    if (!values.hasOwn) continue;
    if (key.starts_with("credential.")) {
      // Helpers are asked one after the other, and the empty one takes those before it off the list.
      result.settings.emplace_back(key, "");
      for (const std::string& helper : values.chosen) result.settings.emplace_back(key, helper);
    } else if (key == "core.gitproxy") {
      result.variables.emplace_back("GIT_PROXY_COMMAND", "");
    } else if (key.ends_with(".uploadpack")) {
      // Git takes the first that it reads. On another machine it does no harm here.
      result.variables.emplace_back("GIT_ALLOW_PROTOCOL", "git:http:https:ssh");
    } else {
      result.settings.emplace_back(key, values.chosen.empty() ? std::string(neutralValue(key)) : values.chosen.back());
    }
  }
  return result;
}
