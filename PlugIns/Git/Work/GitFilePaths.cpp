#include "GitFilePaths.h"

#include <strings.h>

#include <algorithm>
#include <filesystem>

namespace {

namespace fs = std::filesystem;

GitOutcome refusal(GitFailureKind kind, std::string_view file, std::string_view why) {
  std::string message = "“";
  message.append(file).append("” ").append(why).append(".");
  return GitOutcome::failed({kind, std::string(file), std::move(message)});
}

/// Takes "." and ".." out by their names alone; false where that leads above the beginning.
bool normalize(std::string_view path, std::string& result) {
  std::vector<std::string_view> parts;
  for (std::size_t begin = 0; begin <= path.size();) {
    std::size_t end = std::min(path.find('/', begin), path.size());
    std::string_view part = path.substr(begin, end - begin);
    begin = end + 1;
    if (part.empty() || part == ".") continue;
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

/// Git lets nothing of that name into a repository, on any system.
bool hasGitFolder(std::string_view path) {
  for (std::size_t begin = 0; begin <= path.size();) {
    std::size_t end = std::min(path.find('/', begin), path.size());
    if (end - begin == 4 && ::strncasecmp(path.data() + begin, ".git", 4) == 0) return true;
    begin = end + 1;
  }
  return false;
}

}  // namespace

GitOutcome gitResolvePath(const std::string& root, std::string_view file, std::string& path) {
  if (file.empty()) return refusal(GitFailureKind::unknownPath, file, "is no path");
  if (file.find('\0') != std::string_view::npos) {
    return refusal(GitFailureKind::unknownPath, file.substr(0, file.find('\0')), "holds a zero byte");
  }
  bool isWithin = file.front() == '/' ? isInside(root, file, path) : normalize(file, path);
  if (!isWithin) return refusal(GitFailureKind::pathOutside, file, "lies outside of the working copy");
  if (hasGitFolder(path)) return refusal(GitFailureKind::pathOutside, file, "belongs to the repository itself");
  return {};
}

GitOutcome gitResolvePaths(const std::string& root, const std::vector<qrb::String>& files,
                           std::vector<std::string>& paths) {
  paths.reserve(files.size());
  for (const qrb::String& file : files) {
    GitOutcome outcome = gitResolvePath(root, file.view(), paths.emplace_back());
    if (!outcome) return outcome;
  }
  return {};
}

bool gitIsBeyondLink(const std::string& root, std::string_view path) {
  for (std::size_t end = path.find('/'); end != std::string_view::npos; end = path.find('/', end + 1)) {
    std::error_code error;
    if (fs::is_symlink(gitPathOnDisk(root, path.substr(0, end)), error)) return true;
  }
  return false;
}

std::string gitPathOnDisk(const std::string& root, std::string_view path) {
  return path == "." ? root : root + "/" + std::string(path);
}

GitPathSet::GitPathSet(const std::vector<std::string>& paths) {
  _places.reserve(paths.size());
  for (std::size_t place = 0; place < paths.size(); ++place) _places.emplace(paths[place], place);
  if (auto root = _places.find("."); root != _places.end()) _root = root->second;
}

GitOutcome gitUnknownPath(std::string_view path, std::string_view why) {
  return refusal(GitFailureKind::unknownPath, path, why);
}
