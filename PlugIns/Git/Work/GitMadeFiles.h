#pragma once

#include <filesystem>
#include <optional>
#include <system_error>
#include <vector>

#include "GitTool.h"

/// Files and folders made for one request; those that are not kept are removed again with the object.
class GitMadeFiles {
 public:
  GitMadeFiles() = default;
  ~GitMadeFiles();
  GitMadeFiles(const GitMadeFiles&) = delete;
  GitMadeFiles& operator=(const GitMadeFiles&) = delete;

  /// Makes a folder, whose parent has to be there. `permissions` are those of mkdir, cut by the umask.
  GitOutcome makeFolder(const std::filesystem::path& folder);
  /// Makes a folder and those above it that are missing.
  GitOutcome makeFolders(const std::filesystem::path& folder);
  /// Copies a file or symbolic link to a path where nothing is, with its permissions, and makes the folders above it.
  GitOutcome copy(const std::filesystem::path& from, const std::filesystem::path& to);
  void keep() { _made.clear(); }

 private:
  std::vector<std::filesystem::path> _made;
};

/// The failure of an operation on a file ("copied").
GitOutcome gitFileFailure(const std::error_code& error, const std::filesystem::path& file, const char* what);
