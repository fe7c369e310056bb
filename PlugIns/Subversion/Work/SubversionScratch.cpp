#include "SubversionScratch.h"

#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>
#include <random>
#include <system_error>

namespace {

namespace fs = std::filesystem;

constexpr const char* variable = "TMPDIR";

/// A path at which nothing is, and which nobody else comes to think of; empty where there is no place for it.
std::string newPath() {
  std::error_code error;
  fs::path folder = fs::temp_directory_path(error);
  if (error) return {};
  std::random_device random;
  return (folder / ("qrb-subversion-" + std::to_string(random()) + "-" + std::to_string(random()))).string();
}

}  // namespace

SubversionScratch::SubversionScratch(qrb::Guard& guard) : _path(newPath()) {
  if (_path.empty()) return;
  // The guard knows of it first, so that no moment is left at which a killed process leaves it behind.
  _removal.emplace(guard.add({{"/bin/rm", "-rf", "--", _path}}));
  if (::mkdir(_path.c_str(), S_IRWXU) != 0) {
    _removal.reset();
    _path.clear();
    return;
  }
  if (const char* before = ::getenv(variable)) _before = before;
  ::setenv(variable, _path.c_str(), 1);
}

SubversionScratch::~SubversionScratch() {
  if (_path.empty()) return;
  if (_before) {
    ::setenv(variable, _before->c_str(), 1);
  } else {
    ::unsetenv(variable);
  }
  // What cannot be removed here the guard cannot remove either.
  std::error_code ignored;
  fs::remove_all(_path, ignored);
}
