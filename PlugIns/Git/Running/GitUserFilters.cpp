#include "GitUserFilters.h"

#include <algorithm>
#include <utility>

#include "AsciiCase.h"
#include "GitCommandParts.h"
#include "GitPrograms.h"
#include "GitRepositoryTrust.h"

namespace {

/// The last word of "filter.<name>.<word>", and the name.
std::pair<std::string_view, std::string_view> partsOf(std::string_view key) {
  constexpr std::string_view section = "filter.";
  std::size_t dot = key.rfind('.');
  if (!key.starts_with(section) || dot < section.size()) return {};
  return {key.substr(section.size(), dot - section.size()), key.substr(dot + 1)};
}

std::string_view trimmed(std::string_view text) {
  std::size_t begin = text.find_first_not_of(" \t\r");
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(" \t\r") + 1 - begin);
}

/// The name in `[filter "name"]`; empty where it is another section, none where it is written in another way.
std::optional<std::string_view> filterOfSection(std::string_view line) {
  constexpr std::string_view begin = "[filter";
  if (!qrb::asciiLowerCase(line.substr(0, begin.size())).starts_with(begin)) {
    // Values may follow on the line that opens a section.
    return line.ends_with(']') ? std::optional<std::string_view>("") : std::nullopt;
  }
  std::string_view name = trimmed(line.substr(begin.size()));
  if (name.size() < 4 || !name.starts_with('"') || !name.ends_with("\"]")) return std::nullopt;
  name = name.substr(1, name.size() - 3);
  return name.find_first_of("\"\\]") == std::string_view::npos ? std::optional(name) : std::nullopt;
}

bool isFilterWord(const std::string& word) {
  return word == "clean" || word == "smudge" || word == "process";
}

}  // namespace

GitCommand gitFiltersCommand() {
  return gitMakeCommand({"config", "--show-scope", "--null", "--get-regexp", "^filter\\..*\\.(clean|smudge|process)$"});
}

std::vector<GitUserFilter> gitUserFilters(std::string_view listing) {
  std::vector<GitUserFilter> filters;
  gitForEachSetting(listing, [&](std::string_view scope, std::string_view key, std::string_view value) {
    if (gitIsScopeOfRepository(scope) || value.empty()) return;
    if (auto [name, word] = partsOf(key); !name.empty()) {
      filters.push_back({std::string(name), std::string(value)});
    }
  });
  return filters;
}

std::optional<std::vector<GitUserFilter>> gitPlainFilters(std::string_view configuration) {
  std::vector<GitUserFilter> filters;
  if (!gitMayNameFilters(configuration)) return filters;
  // A line that goes on in the next one hides what that is.
  if (gitIncludesFiles(configuration) || configuration.find("\\\n") != std::string_view::npos ||
      configuration.find("\\\r") != std::string_view::npos || configuration.find('\0') != std::string_view::npos) {
    return std::nullopt;
  }
  std::string_view filter;
  while (!configuration.empty()) {
    std::size_t end = std::min(configuration.find('\n'), configuration.size());
    std::string_view line = trimmed(configuration.substr(0, end));
    configuration.remove_prefix(std::min(end + 1, configuration.size()));
    if (line.empty() || line.starts_with('#') || line.starts_with(';')) continue;
    if (line.starts_with('[')) {
      auto name = filterOfSection(line);
      if (!name) return std::nullopt;
      filter = *name;
      continue;
    }
    if (filter.empty()) continue;
    std::size_t equals = line.find('=');
    if (!isFilterWord(qrb::asciiLowerCase(trimmed(line.substr(0, equals))))) continue;
    if (equals == std::string_view::npos) return std::nullopt;
    std::string_view command = trimmed(line.substr(equals + 1));
    if (command.find_first_of("\"\\#;") != std::string_view::npos) return std::nullopt;
    if (!command.empty()) filters.push_back({std::string(filter), std::string(command)});
  }
  return filters;
}
