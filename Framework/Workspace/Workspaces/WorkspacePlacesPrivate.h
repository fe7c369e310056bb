#pragma once

#include <string>
#include <string_view>

#include "PathString.h"
#include "PercentCoding.h"
#include "QRBSourceControlURL.h"
#include "SharedString.h"
#include "URL.h"

// Where a workspace's folders are. Blueprints hold paths as people write them; URLs hold them percent-encoded.
namespace qrb::detail {

/// The folder that a path leads to from another, "." and ".." resolved; absent where there is no such folder.
inline URL folderAt(const URL& folder, std::string_view path) {
  if (!folder.isFileURL() || path.find('\0') != std::string_view::npos) return {};
  String start = folder.path();
  if (start.empty()) return {};
  return URL::fileURL(standardizedPath(start.str() + "/" + std::string(path)), true);
}

/// A working copy's place from the root folder on, as blueprints have it.
inline String workingCopyPath(const URL& workingCopy, const URL& root) {
  return percentDecoded(relativePathStringFromURL(workingCopy, root));
}

}  // namespace qrb::detail
