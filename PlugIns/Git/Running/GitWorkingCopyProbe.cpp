#include "GitWorkingCopyProbe.h"

#include <filesystem>
#include <string_view>

#include "FileSystem.h"
#include "GitNames.h"

namespace {

namespace fs = std::filesystem;

/// A file of one line, such as ".git", "HEAD" and "commondir"; a longer file is something else.
std::optional<std::string> readLine(const fs::path& file) {
  constexpr std::size_t longest = 8192;
  auto text = qrb::readFile(file, longest);
  while (text && (text->ends_with('\n') || text->ends_with('\r'))) text->pop_back();
  return text;
}

/// A branch's name, an object name, or (as old versions made it) a symbolic link to a branch.
bool hasHead(const fs::path& gitDirectory) {
  fs::path head = gitDirectory / "HEAD";
  std::error_code error;
  if (fs::path target = fs::read_symlink(head, error); !error) return target.string().starts_with("refs/");
  auto text = readLine(head);
  return text && (text->starts_with("ref:") || gitIsObjectName(*text));
}

/// Where a path in a file leads from a folder. Links on the way count, so that "x/.." need not be here.
fs::path follow(const fs::path& folder, const std::string& path) {
  std::error_code error;
  fs::path place = fs::canonical(folder / path, error);
  return error ? fs::path() : place;
}

/// The folder with what all working copies of the repository share; none when this is no repository.
std::optional<fs::path> commonDirectory(const fs::path& gitDirectory) {
  fs::path common = gitDirectory;
  if (auto relative = readLine(gitDirectory / "commondir")) common = follow(gitDirectory, *relative);
  std::error_code error;
  if (!hasHead(gitDirectory) || !fs::is_directory(common / "objects", error) ||
      !fs::is_directory(common / "refs", error)) {
    return std::nullopt;
  }
  return common;
}

/// What ".git" is or, as a file, points to: worktrees and submodules have their repositories elsewhere.
std::optional<fs::path> gitDirectoryOf(const fs::path& root) {
  fs::path entry = root / ".git";
  std::error_code error;
  if (fs::is_directory(entry, error)) return entry;
  constexpr std::string_view label = "gitdir: ";
  auto line = readLine(entry);
  if (!line || !line->starts_with(label)) return std::nullopt;
  return follow(root, line->substr(label.size()));
}

}  // namespace

bool gitIsMerging(const std::string& root) {
  auto gitDirectory = gitDirectoryOf(root);
  std::error_code error;
  return gitDirectory &&
         (fs::exists(*gitDirectory / "MERGE_HEAD", error) || fs::exists(*gitDirectory / "CHERRY_PICK_HEAD", error));
}

std::vector<std::string> gitRepositoryFolders(const std::string& folder) {
  // Without a ".git" the folder is the repository itself.
  fs::path gitDirectory = gitDirectoryOf(folder).value_or(folder);
  std::vector<std::string> folders;
  auto common = commonDirectory(gitDirectory);
  if (!common) return folders;
  folders.push_back(gitDirectory.string());
  if (*common != gitDirectory) folders.push_back(common->string());
  return folders;
}

std::optional<GitWorkingCopyPlace> gitProbeWorkingCopy(const std::string& path) {
  // A relative path would speak of wherever this process happens to be.
  if (!path.starts_with('/')) return std::nullopt;
  fs::path root = fs::path(path).lexically_normal();
  if (!root.has_filename() && root.has_parent_path()) root = root.parent_path();
  if (root.filename() == ".git") root = root.parent_path();
  auto gitDirectory = gitDirectoryOf(root);
  if (!gitDirectory) return std::nullopt;
  auto common = commonDirectory(*gitDirectory);
  if (!common) return std::nullopt;
  std::error_code error;
  if (fs::equivalent(*common, root / ".git", error)) return GitWorkingCopyPlace{root.string(), root.string()};
  if (common->filename() == ".git") return GitWorkingCopyPlace{root.string(), common->parent_path().string()};
  bool isOnlyWorkingCopy = *common == *gitDirectory;
  return GitWorkingCopyPlace{root.string(), isOnlyWorkingCopy ? root.string() : common->string()};
}
