#include "GitPrograms.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <map>

#include "GitCommandParts.h"

namespace {

/// The value that is as good as none where the user has chosen none.
std::string neutralValue(std::string_view key) {
  constexpr std::pair<std::string_view, std::string_view> known[] = {{"core.sshcommand", "ssh"},
                                                                     {"core.alternaterefscommand", "true"},
                                                                     {"gpg.program", "gpg"},
                                                                     {"gpg.openpgp.program", "gpg"},
                                                                     {"gpg.x509.program", "gpgsm"},
                                                                     {"gpg.ssh.program", "ssh-keygen"},
                                                                     {"gpg.ssh.defaultkeycommand", "false"}};
  for (const auto& [name, value] : known) {
    if (key == name) return std::string(value);
  }
  if (key.ends_with(".required") || key.ends_with(".savecookies")) return "false";
  if (key.ends_with(".sslverify")) return "true";
  const char* proxy = key.ends_with(".proxy") ? std::getenv("http_proxy") : nullptr;
  return proxy != nullptr ? proxy : "";
}

/// Lists whose empty entry takes those before it off.
bool isList(std::string_view key) {
  return key.starts_with("credential.") || key.ends_with(".curloptresolve");
}

/// What can be taken back by a variable only, since no value of the setting means none.
const char* variableFor(std::string_view key) {
  if (key == "core.gitproxy") return "GIT_PROXY_COMMAND";
  if (key.ends_with(".sslcainfo")) return "GIT_SSL_CAINFO";
  if (key.ends_with(".sslcapath")) return "GIT_SSL_CAPATH";
  return nullptr;
}

/// Where systems keep the certificates of the authorities that they trust.
std::string authorities(std::string_view variable) {
  if (variable == "GIT_SSL_CAPATH") return "/etc/ssl/certs";
  for (const char* file : {"/etc/ssl/certs/ca-certificates.crt", "/etc/pki/tls/certs/ca-bundle.crt",
                           "/etc/ssl/ca-bundle.pem", "/etc/ssl/cert.pem"}) {
    if (::access(file, R_OK) == 0) return file;
  }
  return "/nonexistent";
}

struct Values {
  std::vector<std::string> chosen;
  bool hasOwn = false;
};

std::map<std::string, Values> readValues(std::string_view listing) {
  std::map<std::string, Values> result;
  gitForEachSetting(listing, [&](std::string_view scope, std::string_view key, std::string_view value) {
    Values& values = result[std::string(key)];
    if (gitIsScopeOfRepository(scope)) {
      values.hasOwn = true;
    } else {
      values.chosen.emplace_back(value);
    }
  });
  return result;
}

}  // namespace

bool gitIsScopeOfRepository(std::string_view scope) {
  return scope == "local" || scope == "worktree";
}

/// "<scope>\0<key>\n<value>\0"
void gitForEachSetting(std::string_view listing,
                       const std::function<void(std::string_view, std::string_view, std::string_view)>& found) {
  auto take = [&] {
    std::size_t end = std::min(listing.find('\0'), listing.size());
    std::string_view token = listing.substr(0, end);
    listing.remove_prefix(std::min(end + 1, listing.size()));
    return token;
  };
  while (!listing.empty()) {
    std::string_view scope = take();
    std::string_view setting = take();
    std::size_t end = std::min(setting.find('\n'), setting.size());
    found(scope, setting.substr(0, end), end < setting.size() ? setting.substr(end + 1) : "true");
  }
}

GitCommand gitProgramSettingsCommand() {
  return gitMakeCommand({"config", "--show-scope", "--null", "--get-regexp",
                         "^(filter\\..*|core\\.(sshcommand|gitproxy|askpass|alternaterefscommand)|"
                         "credential\\.(.*\\.)?helper|remote\\..*\\.(uploadpack|promisor)|extensions\\.partialclone|"
                         "gpg\\.(.*\\.)?program|"
                         "gpg\\.ssh\\.defaultkeycommand|gc\\.recentobjectshook|"
                         "http\\.(.*\\.)?(sslverify|sslcainfo|sslcapath|curloptresolve|savecookies|proxy))$"});
}

namespace {

void takeBackByVariable(GitNeutralization& result, const char* variable, const Values& values) {
  // The environment of the host counts before every setting.
  if (std::getenv(variable) != nullptr) return;
  std::string value;
  if (std::string_view(variable) != "GIT_PROXY_COMMAND") {
    value = values.chosen.empty() ? authorities(variable) : values.chosen.back();
  }
  result.variables.emplace_back(variable, std::move(value));
}

}  // namespace

GitNeutralization gitNeutralizePrograms(std::string_view listing) {
  GitNeutralization result;
  std::map<std::string, Values> all = readValues(listing);
  auto isOfMissingObjects = [](const auto& entry) {
    return entry.first.ends_with(".promisor") || entry.first == "extensions.partialclone";
  };
  result.fetchesMissingObjects = std::ranges::any_of(all, isOfMissingObjects);
  for (const auto& [key, values] : all) {
    if (!values.hasOwn || isOfMissingObjects(std::pair(key, 0))) continue;
    if (isList(key)) {
      result.settings.emplace_back(key, "");
      for (const std::string& value : values.chosen) result.settings.emplace_back(key, value);
    } else if (const char* variable = variableFor(key)) {
      takeBackByVariable(result, variable, values);
    } else if (key == "gc.recentobjectshook") {
      result.settings.emplace_back("gc.auto", "0");
      result.settings.emplace_back("maintenance.auto", "false");
    } else if (key.ends_with(".uploadpack")) {
      // Git takes the first that it reads. On another machine it does no harm here, and requests name no such remote.
      if (result.fetchesMissingObjects) result.variables.emplace_back("GIT_ALLOW_PROTOCOL", "git:http:https:ssh");
    } else {
      result.settings.emplace_back(key, values.chosen.empty() ? neutralValue(key) : values.chosen.back());
    }
  }
  return result;
}
