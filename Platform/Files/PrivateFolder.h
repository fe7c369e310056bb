#pragma once

#include <string>
#include <string_view>
#include <utility>

namespace qrb {

/// A new folder that only the user can enter, removed with what is in it. Where none can be made the path is empty and
/// errno says why.
class PrivateFolder {
 public:
  /// In the folder where the system keeps what is temporary, under a name that begins with `prefix`.
  static PrivateFolder temporary(std::string_view prefix);
  /// In a folder, under a name that begins with `prefix`.
  PrivateFolder(const std::string& parent, std::string_view prefix);
  PrivateFolder(PrivateFolder&& other) noexcept : _path(other.keep()) {}
  PrivateFolder& operator=(PrivateFolder&&) = delete;
  PrivateFolder(const PrivateFolder&) = delete;
  PrivateFolder& operator=(const PrivateFolder&) = delete;
  ~PrivateFolder();

  const std::string& path() const { return _path; }
  /// Leaves the folder to the caller: it is not removed any more.
  std::string keep() { return std::exchange(_path, {}); }

 private:
  PrivateFolder() = default;

  std::string _path;
};

}  // namespace qrb
