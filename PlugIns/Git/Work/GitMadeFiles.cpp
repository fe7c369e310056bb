#include "GitMadeFiles.h"

namespace fs = std::filesystem;

GitOutcome gitFileFailure(const std::error_code& error, const fs::path& file, const char* what) {
  GitFailureKind kind = GitFailureKind::other;
  if (error == std::errc::permission_denied || error == std::errc::operation_not_permitted) {
    kind = GitFailureKind::permissionDenied;
  } else if (error == std::errc::read_only_file_system) {
    kind = GitFailureKind::readOnlyFileSystem;
  } else if (error == std::errc::no_space_on_device) {
    kind = GitFailureKind::diskFull;
  } else if (error == std::errc::file_exists) {
    kind = GitFailureKind::fileExists;
  } else if (error == std::errc::no_such_file_or_directory || error == std::errc::not_a_directory) {
    kind = GitFailureKind::unknownPath;
  }
  return GitOutcome::failed(
      {kind, file.string(), "“" + file.string() + "” could not be " + what + ": " + error.message()});
}

GitMadeFiles::~GitMadeFiles() {
  std::error_code ignored;  // What others have put into a folder meanwhile stays, and the folder with it.
  for (auto made = _made.rbegin(); made != _made.rend(); ++made) fs::remove(*made, ignored);
}

GitOutcome GitMadeFiles::makeFolder(const fs::path& folder) {
  std::error_code error;
  bool isNew = fs::create_directory(folder, error);
  if (error) return gitFileFailure(error, folder, "made");
  if (!isNew) return gitFileFailure(std::make_error_code(std::errc::file_exists), folder, "made");
  _made.push_back(folder);
  return {};
}

GitOutcome GitMadeFiles::makeFolders(const fs::path& folder) {
  std::error_code error;
  if (fs::is_directory(folder, error)) return {};
  if (folder.has_relative_path()) {
    GitOutcome outcome = makeFolders(folder.parent_path());
    if (!outcome) return outcome;
  }
  return makeFolder(folder);
}

GitOutcome GitMadeFiles::copy(const fs::path& from, const fs::path& to) {
  GitOutcome outcome = makeFolders(to.parent_path());
  if (!outcome) return outcome;
  std::error_code error;
  fs::copy(from, to, fs::copy_options::copy_symlinks, error);
  if (error) return gitFileFailure(error, to, "made");
  _made.push_back(to);
  return {};
}
