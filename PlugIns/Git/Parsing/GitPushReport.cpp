#include "GitPushReport.h"

#include <algorithm>

namespace {

using Result = GitPushedRef::Result;

Result resultOf(char flag, std::string_view summary) {
  if (flag == '=') return Result::upToDate;
  if (flag != '!') return Result::updated;
  for (std::string_view reason : {"(fetch first)", "(non-fast-forward)", "(needs force)", "(stale info)",
                                  "(remote ref updated since checkout)"}) {
    if (summary.ends_with(reason)) return Result::outOfDate;
  }
  return Result::rejected;
}

/// "<flag>\t<from>:<to>\t<summary>"
std::optional<GitPushedRef> readLine(std::string_view line) {
  constexpr std::string_view flags = " +-*!=";
  if (line.size() < 2 || flags.find(line[0]) == std::string_view::npos || line[1] != '\t') return std::nullopt;
  char flag = line[0];
  line.remove_prefix(2);
  std::size_t tab = line.find('\t');
  std::string_view refs = line.substr(0, tab);
  std::size_t colon = refs.find(':');
  if (tab == std::string_view::npos || colon == std::string_view::npos) return std::nullopt;
  std::string_view summary = line.substr(tab + 1);
  return GitPushedRef{resultOf(flag, summary), std::string(refs.substr(0, colon)), std::string(refs.substr(colon + 1)),
                      std::string(summary)};
}

}  // namespace

std::vector<GitPushedRef> gitReadPushReport(std::string_view output) {
  std::vector<GitPushedRef> refs;
  while (!output.empty()) {
    std::string_view line = output.substr(0, output.find('\n'));
    output.remove_prefix(std::min(line.size() + 1, output.size()));
    if (auto ref = readLine(line)) refs.push_back(std::move(*ref));
  }
  return refs;
}
