#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What became of one branch that was sent: a line of `git push --porcelain`.
struct GitPushedRef {
  enum class Result : unsigned char {
    updated,
    upToDate,
    /// What is there is not part of what was sent.
    outOfDate,
    /// The other side's doing: hooks, protected branches.
    rejected,
  };
  Result result = Result::updated;
  /// Full names; the first is empty where a branch was deleted.
  std::string from;
  std::string to;
  /// What git says to it: "[rejected] (fetch first)".
  std::string summary;
};

/// Reads the whole output; none where it is something else. What stands before the first line of a branch and after
/// the last is passed over. Pure.
std::vector<GitPushedRef> gitReadPushReport(std::string_view output);
