#include "ServiceDirectories.h"

#include <dlfcn.h>
#include <limits.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "Guarded.h"
#include "OwnProgram.h"

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
  return qrb::ownProgram();
}

std::string ownDirectory() {
  std::string file = ownFile();
  std::size_t slash = file.rfind('/');
  if (slash == std::string::npos) return {};
  // Programs stand one folder below the prefix; how deep the library stands was chosen when it was built.
  const char* services = file == qrb::ownProgram() ? "../libexec/qrbsourcecontrol" : QRB_SERVICES_FROM_LIBRARY;
  return realPath((file.substr(0, slash + 1) + services).c_str());
}

const std::string& cachedOwnDirectory() {
  static const auto* own = new std::string(ownDirectory());
  return *own;
}

bool isLaunchable(const std::filesystem::directory_entry& entry) {
  std::error_code failure;
  return entry.is_regular_file(failure) && ::access(entry.path().c_str(), X_OK) == 0;
}

}  // namespace

void ServiceDirectories::registerDirectory(std::string directory) {
  registered().with([&](std::vector<std::string>& directories) { directories.push_back(std::move(directory)); });
}

void ServiceDirectories::unregisterAll() {
  registered().with([](std::vector<std::string>& directories) { directories.clear(); });
}

std::vector<std::string> ServiceDirectories::directories() {
  auto directories = registered().with([](const std::vector<std::string>& held) { return held; });
  if (!cachedOwnDirectory().empty()) directories.push_back(cachedOwnDirectory());
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

std::vector<std::string> ServiceDirectories::executableNames() {
  std::vector<std::string> names;
  for (const std::string& directory : directories()) {
    std::vector<std::string> found;
    std::error_code failure;
    for (std::filesystem::directory_iterator entry(directory, failure), end; !failure && entry != end;
         entry.increment(failure)) {
      if (isLaunchable(*entry)) found.push_back(entry->path().filename());
    }
    std::ranges::sort(found);
    for (std::string& name : found) {
      if (std::ranges::find(names, name) == names.end()) names.push_back(std::move(name));
    }
  }
  return names;
}

std::string ServiceDirectories::ownProgram(const std::string& name) {
  return cachedOwnDirectory() + "/" + name;
}

bool ServiceDirectories::isOwn(const std::string& path) {
  return !cachedOwnDirectory().empty() && path.substr(0, path.rfind('/')) == cachedOwnDirectory();
}

}  // namespace qrb
