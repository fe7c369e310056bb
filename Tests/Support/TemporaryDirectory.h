#pragma once

#include <stdlib.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>
#include <utility>

namespace qrb::test {

/// A fresh folder that is removed with all it holds when the object goes. Not copied; its path stays valid when moved.
class TemporaryDirectory {
 public:
  /// Throws std::system_error when no folder can be made.
  TemporaryDirectory() {
    std::string pattern = (std::filesystem::temp_directory_path() / "qrb-test-XXXXXX").string();
    if (!mkdtemp(pattern.data())) {
      throw std::system_error(errno, std::generic_category(), "mkdtemp " + pattern);
    }
    // Canonical, since tools answer with the real path where a folder above is a link.
    _path = std::filesystem::canonical(pattern);
  }

  TemporaryDirectory(TemporaryDirectory&& other) noexcept : _path(std::move(other._path)) { other._path.clear(); }
  TemporaryDirectory& operator=(TemporaryDirectory&&) = delete;

  ~TemporaryDirectory() {
    if (_path.empty()) {
      return;
    }
    std::error_code error;
    std::filesystem::remove_all(_path, error);
    if (error) {
      // A test may have taken away the right to write; a second failure is told, since it means that something is left.
      makeRemovable();
      std::filesystem::remove_all(_path, error);
    }
    if (error) {
      std::fprintf(stderr, "cannot remove %s: %s\n", _path.c_str(), error.message().c_str());
    }
  }

  /// The folder, as a canonical absolute path without a slash at the end.
  const std::filesystem::path& path() const { return _path; }
  std::string string() const { return _path.string(); }

 private:
  void makeRemovable() const {
    namespace fs = std::filesystem;
    std::error_code error;
    fs::permissions(_path, fs::perms::owner_all, fs::perm_options::add, error);
    fs::recursive_directory_iterator entry(_path, fs::directory_options::skip_permission_denied, error);
    while (!error && entry != fs::recursive_directory_iterator()) {
      std::error_code ignored;  // what cannot be changed shows in the removal
      if (entry->is_directory(ignored) && !entry->is_symlink(ignored)) {
        fs::permissions(entry->path(), fs::perms::owner_all, fs::perm_options::add, ignored);
      }
      entry.increment(error);
    }
  }

  std::filesystem::path _path;
};

}  // namespace qrb::test
