#include "GitFilePaths.h"

namespace {

GitOutcome refusal(GitFailureKind kind, std::string_view file, std::string message) {
  return GitOutcome::failed({kind, std::string(file.substr(0, file.find('\0'))), std::move(message)});
}

}  // namespace

GitOutcome gitResolvePath(const std::string& root, std::string_view file, std::string& path) {
  // Git lets nothing of that name into a repository, on any system.
  auto refused = qrb::resolveFilePath(root, file, ".git", path);
  if (!refused) return {};
  return refusal(refused->isOutside ? GitFailureKind::pathOutside : GitFailureKind::unknownPath, file,
                 std::move(refused->message));
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

GitPathSet::GitPathSet(const std::vector<std::string>& paths) {
  _places.reserve(paths.size());
  for (std::size_t place = 0; place < paths.size(); ++place) _places.emplace(paths[place], place);
  if (auto root = _places.find("."); root != _places.end()) _root = root->second;
}

GitOutcome gitUnknownPath(std::string_view path, std::string_view why) {
  return refusal(GitFailureKind::unknownPath, path, qrb::pathMessage(path, why));
}
