#include "FileReplacement.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <utility>

#include "FileDescriptor.h"
#include "FileSystem.h"
#include "HostError.h"

namespace host {

namespace {

bool waitForDisk(const std::string& path, int flags) {
  qrb::FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | flags));
  return file.valid() && ::fsync(file.get()) == 0;
}

qrb::Error failureOf(const std::string& path) {
  int reason = errno;
  return hostError("The file \"" + path + "\" could not be written: " + std::strerror(reason) + ".", {}, reason);
}

}  // namespace

FileReplacement::FileReplacement(std::string path) : _path(std::move(path)), _newPath(_path + ".new") {}

FileReplacement::~FileReplacement() {
  if (_written) ::unlink(_newPath.c_str());
}

qrb::Error FileReplacement::write(std::string_view bytes) {
  ::unlink(_newPath.c_str());
  if (!qrb::writePrivateFile(_newPath, bytes)) return failureOf(_newPath);
  _written = true;
  return waitForDisk(_newPath, 0) ? qrb::Error() : failureOf(_newPath);
}

qrb::Error FileReplacement::commit() {
  if (::rename(_newPath.c_str(), _path.c_str()) != 0) return failureOf(_path);
  _written = false;
  std::string folder = std::filesystem::path(_path).parent_path();
  return waitForDisk(folder, O_DIRECTORY) ? qrb::Error() : failureOf(_path);
}

}  // namespace host
