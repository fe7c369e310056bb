#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qrb {

// Files as hosts name them: by absolute path or by path from the root of the working copy, in bytes.

/// Why a file that a request names is none that it may name.
struct PathRefusal {
  /// It lies elsewhere, or is the system's own; otherwise it is no path at all.
  bool isOutside = false;
  /// For people, with the name in it.
  std::string message;
};

/// The path from the root, without "." and ".." and slashes too many; "." for the root itself. Absolute paths may go
/// through symbolic links above the working copy. What is in a folder named `ownFolder`, in whatever case, is the
/// system's.
std::optional<PathRefusal> resolveFilePath(const std::string& root, std::string_view file, std::string_view ownFolder,
                                           std::string& path);

/// The names between the slashes, from the first to the last. They are parts of `path`.
std::vector<std::string_view> pathNames(std::string_view path);

/// Whether a folder on the way from the root to the path is a symbolic link, so that the path may lead anywhere.
bool isBeyondLink(const std::string& root, std::string_view path);

/// Where a path from the root is on disk.
std::string pathOnDisk(const std::string& root, std::string_view path);

/// "“file” why.", as all of these messages read.
std::string pathMessage(std::string_view file, std::string_view why);

}  // namespace qrb
