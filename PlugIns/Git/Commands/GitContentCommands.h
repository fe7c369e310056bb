#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "GitCommands.h"

// Commands that read what a file is or was. Paths are from the root.

/// Prints which commits brought the lines of a file: see GitBlameParser. The file is followed where it was renamed or
/// moved. Lines that were moved within it count as new: to look for them takes git half as long again. Without a
/// revision it is the file on disk, whose lines may be uncommitted.
GitCommand gitBlameCommand(const std::string& path, std::string_view revision);

/// Prints the log records (see GitLogParser), without paths, of the commits whose object names are in the text, one per
/// line.
GitCommand gitCommitMessagesCommand(std::string hashes);

/// Prints what a path is in a revision: see gitReadTreeEntry().
GitCommand gitTreeEntryCommand(std::string_view revision, const std::string& path);

struct GitTreeEntry {
  std::uint32_t mode = 0;
  std::string object;

  bool isExecutable() const { return mode == 0100755; }
  /// A file's or a symbolic link's content.
  bool isContent() const { return (mode & 0170000) == 0100000 || (mode & 0170000) == 0120000; }
  bool isLink() const { return (mode & 0170000) == 0120000; }
};

/// The one entry that gitTreeEntryCommand() printed; none when the revision has no such path.
std::optional<GitTreeEntry> gitReadTreeEntry(std::string_view output);

/// Prints the content of an object as a checkout would write it to the path, or as it is stored.
GitCommand gitContentCommand(const GitTreeEntry& entry, const std::string& path);

/// Prints a commit and its parents, their object names in one line.
GitCommand gitParentsCommand(std::string_view revision);
/// Prints how two commits differ, renames found: see GitNameStatusParser.
GitCommand gitRenamesCommand(std::string_view from, std::string_view to);
