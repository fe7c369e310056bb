#include "GitEnvironment.h"

#include <algorithm>
#include <array>

namespace {

/// The variables that say who the user is and how this machine is set up. Every other one that git reads speaks of a
/// repository or a process that is not ours: hooks and aliases leave several behind for what they start.
constexpr std::string_view keptNames[] = {"GIT_CEILING_DIRECTORIES",
                                          "GIT_DISCOVERY_ACROSS_FILESYSTEM",
                                          "GIT_EXEC_PATH",
                                          "GIT_TEMPLATE_DIR",
                                          "GIT_CONFIG_GLOBAL",
                                          "GIT_CONFIG_SYSTEM",
                                          "GIT_CONFIG_NOSYSTEM",
                                          "GIT_ATTR_NOSYSTEM",
                                          "GIT_SSH",
                                          "GIT_SSH_COMMAND",
                                          "GIT_SSH_VARIANT",
                                          "GIT_PROXY_COMMAND"};
constexpr std::string_view keptPrefixes[] = {"GIT_AUTHOR_", "GIT_COMMITTER_", "GIT_SSL_", "GIT_PROXY_SSL_",
                                             "GIT_HTTP_"};

/// LANGUAGE would translate the messages that failures are told by, LC_ALL notwithstanding.
constexpr std::string_view replacedNames[] = {"LC_ALL", "LANGUAGE", "SSH_ASKPASS", "SSH_ASKPASS_REQUIRE"};

constexpr std::string_view assignments[] = {
    "LC_ALL=C.UTF-8",        "GIT_TERMINAL_PROMPT=0", "GIT_ALLOW_PROTOCOL=file:git:http:https:ssh",
    "GIT_PAGER=cat",         "GIT_EDITOR=:",          "GIT_SEQUENCE_EDITOR=:",
    "GIT_MERGE_AUTOEDIT=no",
};

constexpr std::string_view commonArguments[] = {
    "--no-pager",
    "-c",
    "core.fsmonitor=false",
    "-c",
    "color.ui=false",
    "-c",
    "log.showSignature=false",
    "-c",
    "log.showRoot=true",
    "-c",
    "log.follow=false",
    "-c",
    "i18n.logOutputEncoding=UTF-8",
    // What git tidies up now and then it does before it ends: a process left behind would outlive the request.
    "-c",
    "gc.autoDetach=false",
    "-c",
    "maintenance.autoDetach=false",
};

bool isKept(std::string_view name) {
  if (std::ranges::find(replacedNames, name) != std::ranges::end(replacedNames)) return false;
  if (!name.starts_with("GIT_")) return true;
  return std::ranges::find(keptNames, name) != std::ranges::end(keptNames) ||
         std::ranges::any_of(keptPrefixes, [name](std::string_view prefix) { return name.starts_with(prefix); });
}

}  // namespace

std::vector<std::string> gitEnvironment(std::span<const char* const> inherited, GitAccess access, GitOutput output) {
  std::vector<std::string> environment;
  environment.reserve(inherited.size() + std::size(assignments) + 2);
  for (const char* entry : inherited) {
    if (entry == nullptr) break;
    std::string_view text = entry;
    if (isKept(text.substr(0, text.find('=')))) environment.emplace_back(text);
  }
  for (std::string_view assignment : assignments) environment.emplace_back(assignment);
  if (access == GitAccess::read) environment.emplace_back("GIT_OPTIONAL_LOCKS=0");
  environment.emplace_back(output == GitOutput::blocks ? "GIT_FLUSH=0" : "GIT_FLUSH=1");
  return environment;
}

std::span<const std::string_view> gitCommonArguments() {
  return commonArguments;
}
