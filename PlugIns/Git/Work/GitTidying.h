#pragma once

#include <optional>
#include <span>

/// For main(): puts in order what a request has left that was killed, where the program's arguments say so, and returns
/// the exit status then. They are those of gitTidyingJob(), of the kinds
///
/// - "lock-files": removes the lock files of git that were made since, unless a git works in the folder;
/// - "checkout", and with it a commit and "merge" or "switch": see gitTakeBackCheckout();
/// - "staging": see GitStaging::restoreUncommitted(), which reads standard input.
std::optional<int> gitTidyUp(std::span<char* const> arguments);
