#include "FilePaths.h"

#include <strings.h>

#include <algorithm>
#include <filesystem>

namespace qrb {
namespace {

namespace fs = std::filesystem;

/// Takes "." and ".." out by their names alone; false where that leads above the beginning.
bool normalize(std::string_view path, std::string& result) {
  std::vector<std::string_view> parts;
  for (std::string_view part : pathNames(path)) {
    if (part == ".") continue;
    if (part != "..") {
      parts.push_back(part);
    } else if (parts.empty()) {
      return false;
    } else {
      parts.pop_back();
    }
  }
  result.clear();
  for (std::string_view part : parts) result.append(result.empty() ? "" : "/").append(part);
  if (result.empty()) result = ".";
  return true;
}

/// What follows the folder, both absolute and normal but for their beginning.
bool takeFolder(std::string_view folder, std::string_view& path) {
  if (folder == "/") folder = {};
  if (!path.starts_with(folder)) return false;
  if (path.size() > folder.size() && path[folder.size()] != '/') return false;
  path.remove_prefix(std::min(folder.size() + 1, path.size()));
  return true;
}

/// The path with the links above its last component followed, so that it can be compared with a root so treated.
std::string withRealFolder(const std::string& path) {
  std::error_code error;
  fs::path full(path);
  fs::path folder = fs::weakly_canonical(full.parent_path(), error);
  return error ? path : (folder / full.filename()).string();
}

bool isInside(const std::string& root, std::string_view file, std::string& path) {
  std::string absolute;
  std::string normalRoot;
  if (!normalize(file, absolute) || !normalize(root, normalRoot)) return false;
  absolute.insert(0, "/");
  std::string_view rest = absolute;
  if (takeFolder("/" + normalRoot, rest)) return normalize(rest, path);
  std::error_code error;
  std::string realRoot = fs::canonical(root, error).string();
  if (error) return false;
  absolute = withRealFolder(absolute);
  rest = absolute;
  return takeFolder(realRoot, rest) && normalize(rest, path);
}

/// A part of the path that only case tells from the name.
bool hasFolder(std::string_view path, std::string_view name) {
  return std::ranges::any_of(pathNames(path), [&](std::string_view part) {
    return part.size() == name.size() && ::strncasecmp(part.data(), name.data(), name.size()) == 0;
  });
}

}  // namespace

std::vector<std::string_view> pathNames(std::string_view path) {
  std::vector<std::string_view> names;
  for (std::size_t begin = 0; begin < path.size();) {
    std::size_t end = std::min(path.find('/', begin), path.size());
    if (end > begin) names.push_back(path.substr(begin, end - begin));
    begin = end + 1;
  }
  return names;
}

std::optional<PathRefusal> resolveFilePath(const std::string& root, std::string_view file, std::string_view ownFolder,
                                           std::string& path) {
  if (file.empty()) return PathRefusal{false, pathMessage(file, "is no path")};
  if (file.find('\0') != std::string_view::npos) {
    return PathRefusal{false, pathMessage(file.substr(0, file.find('\0')), "holds a zero byte")};
  }
  bool isWithin = file.front() == '/' ? isInside(root, file, path) : normalize(file, path);
  if (!isWithin) return PathRefusal{true, pathMessage(file, "lies outside of the working copy")};
  if (hasFolder(path, ownFolder)) return PathRefusal{true, pathMessage(file, "belongs to the repository itself")};
  return std::nullopt;
}

bool isBeyondLink(const std::string& root, std::string_view path) {
  for (std::size_t end = path.find('/'); end != std::string_view::npos; end = path.find('/', end + 1)) {
    std::error_code error;
    if (fs::is_symlink(pathOnDisk(root, path.substr(0, end)), error)) return true;
  }
  return false;
}

std::string pathOnDisk(const std::string& root, std::string_view path) {
  return path == "." ? root : root + "/" + std::string(path);
}

std::string pathMessage(std::string_view file, std::string_view why) {
  std::string message = "“";
  message.append(file).append("” ").append(why).append(".");
  return message;
}

}  // namespace qrb
