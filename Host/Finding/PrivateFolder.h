#pragma once

#include <stdlib.h>

#include <filesystem>
#include <string>
#include <system_error>

namespace host {

/// A new folder that only the user can enter, removed with what is in it. Where none can be made the path is empty and
/// errno says why.
class PrivateFolder {
 public:
  /// Where the system keeps what is temporary.
  PrivateFolder() {
    std::error_code failure;
    make(std::filesystem::temp_directory_path(failure) / "qrbscm-XXXXXX");
  }
  /// In a folder, hidden.
  explicit PrivateFolder(const std::filesystem::path& parent) { make(parent / ".qrbscm-XXXXXX"); }
  PrivateFolder(const PrivateFolder&) = delete;
  PrivateFolder& operator=(const PrivateFolder&) = delete;
  ~PrivateFolder() {
    std::error_code failure;
    if (!_path.empty()) std::filesystem::remove_all(_path, failure);
  }

  const std::filesystem::path& path() const { return _path; }

 private:
  void make(const std::filesystem::path& pattern) {
    std::string place = pattern.native();
    if (::mkdtemp(place.data()) != nullptr) _path = place;
  }

  std::filesystem::path _path;
};

}  // namespace host
