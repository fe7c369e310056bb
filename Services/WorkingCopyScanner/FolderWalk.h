#pragma once

#include <set>
#include <string>
#include <vector>

/// Looks through everything below `root` for folders that hold an entry of one of these names, whatever the entry is: a
/// folder, a file, a link. Answers their paths, each beginning with `root` as it was given, sorted by their bytes.
///
/// `root` itself may be a link to a folder; below it no link is followed, and no entry of those names is entered.
/// Folders that cannot be read or vanish meanwhile are left out. Works on several threads and returns when all is done.
std::vector<std::string> findFoldersHolding(const std::set<std::string>& names, const std::string& root);

/// Looks at the folders above `path`, the nearest first, the file system's root last; `path` itself is not looked at.
/// The names are as for the other.
std::vector<std::string> findFoldersAboveHolding(const std::set<std::string>& names, const std::string& path);
