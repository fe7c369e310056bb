#include "ServiceDirectories.h"

#include <dlfcn.h>
#include <limits.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "Guarded.h"

namespace qrb {

namespace {

Guarded<std::vector<std::string>>& registered() {
  static auto* directories = new Guarded<std::vector<std::string>>;
  return *directories;
}

std::string realPath(const char* path) {
  char resolved[PATH_MAX];
  return ::realpath(path, resolved) == nullptr ? std::string() : std::string(resolved);
}

// The file that this code was loaded from: the shared library, or the program that it is linked into.
std::string ownFile() {
  Dl_info info{};
  if (::dladdr(reinterpret_cast<const void*>(&ServiceDirectories::executableNamed), &info) != 0 &&
      info.dli_fname != nullptr && std::strchr(info.dli_fname, '/') != nullptr) {
    if (std::string path = realPath(info.dli_fname); !path.empty()) return path;
  }
  return realPath("/proc/self/exe");
}

std::string ownDirectory() {
  std::string file = ownFile();
  std::size_t slash = file.rfind('/');
  if (slash == std::string::npos) return {};
  return realPath((file.substr(0, slash) + "/../libexec/qrbsourcecontrol").c_str());
}

}  // namespace

void ServiceDirectories::registerDirectory(std::string directory) {
  registered().with([&](std::vector<std::string>& directories) { directories.push_back(std::move(directory)); });
}

void ServiceDirectories::unregisterAll() {
  registered().with([](std::vector<std::string>& directories) { directories.clear(); });
}

std::vector<std::string> ServiceDirectories::directories() {
  static const auto* own = new std::string(ownDirectory());
  auto directories = registered().with([](const std::vector<std::string>& held) { return held; });
  if (!own->empty()) directories.push_back(*own);
  return directories;
}

std::string ServiceDirectories::executableNamed(const std::string& serviceName) {
  if (serviceName.empty() || serviceName.find('/') != std::string::npos) return {};
  for (const std::string& directory : directories()) {
    std::string path = directory + "/" + serviceName;
    if (::access(path.c_str(), F_OK) == 0) return path;
  }
  return {};
}

}  // namespace qrb
