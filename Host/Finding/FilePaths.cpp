#include "FilePaths.h"

#include <filesystem>

#include "QRBSourceControlError.h"

namespace host {

namespace fs = std::filesystem;

qrb::Result<std::string> pathInWorkingCopy(const std::string& file, const std::string& folder,
                                           const std::string& root) {
  std::error_code failure;
  fs::path whole = (fs::canonical(folder.empty() ? "." : folder, failure) / file).lexically_normal();
  if (!whole.has_filename()) whole = whole.parent_path();
  // The file itself may be a link, or gone by now; the folders that lead to it are taken for what they are.
  fs::path parent = fs::weakly_canonical(whole.parent_path(), failure);
  fs::path relative = (parent / whole.filename()).lexically_relative(root);
  if (failure || file.empty() || relative.empty() || *relative.begin() == "..") {
    return QRBSourceControlError_LocationNotFound(QRBSourceControlErrorCode::pathNotFound, file,
                                                  "not in the working copy " + root);
  }
  return relative.native();
}

qrb::Result<std::vector<qrb::String>> pathsInWorkingCopy(const std::vector<std::string>& files,
                                                         const std::string& folder, const std::string& root) {
  std::vector<qrb::String> paths;
  for (const std::string& file : files) {
    auto path = pathInWorkingCopy(file, folder, root);
    if (!path) return path.error();
    paths.emplace_back(*path);
  }
  return paths;
}

std::string destinationOf(const std::string& source, const std::string& destination, bool destinationIsFolder) {
  if (!destinationIsFolder && !destination.ends_with('/')) return destination;
  fs::path name = fs::path(source).lexically_normal();
  if (!name.has_filename()) name = name.parent_path();
  return (fs::path(destination) / name.filename()).native();
}

}  // namespace host
