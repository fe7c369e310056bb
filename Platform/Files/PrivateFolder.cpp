#include "PrivateFolder.h"

#include <stdlib.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

namespace qrb {

namespace fs = std::filesystem;

PrivateFolder PrivateFolder::temporary(std::string_view prefix) {
  std::error_code failure;
  fs::path parent = fs::temp_directory_path(failure);
  if (!failure) return {parent.string(), prefix};
  errno = failure.value();
  return {};
}

PrivateFolder::PrivateFolder(const std::string& parent, std::string_view prefix)
    : _path((fs::path(parent) / (std::string(prefix) + "XXXXXX")).string()) {
  if (::mkdtemp(_path.data()) == nullptr) _path.clear();
}

PrivateFolder::~PrivateFolder() {
  std::error_code ignored;
  if (!_path.empty()) fs::remove_all(_path, ignored);
}

}  // namespace qrb
