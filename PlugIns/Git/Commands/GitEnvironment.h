#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

/// What a command does to the repository.
enum class GitAccess : unsigned char {
  /// Looks only: takes no lock, so it neither waits for another git nor makes one fail.
  read,
  write,
};

/// How git hands over what it prints.
enum class GitOutput : unsigned char {
  /// Each record at once.
  prompt,
  /// In blocks, which saves a system call per record: for long listings that follow each other quickly.
  blocks,
};

/// The environment of a git process, "NAME=value" each: the inherited one (as `environ` has it) without what would
/// point git at another repository, change what it prints, or let it ask or show anything on a terminal.
std::vector<std::string> gitEnvironment(std::span<const char* const> inherited, GitAccess access, GitOutput output);

/// The arguments that come first in every command, after the program's name: settings that a user's or a repository's
/// configuration must not decide. `core.fsmonitor` is among them, for it names a program that a repository, perhaps
/// just unpacked from an archive, would have us run for looking at it.
std::span<const std::string_view> gitCommonArguments();
