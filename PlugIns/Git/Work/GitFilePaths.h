#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "FilePaths.h"
#include "GitTool.h"
#include "SharedString.h"

/// As qrb::resolveFilePath(). Fails with pathOutside for what lies elsewhere or is git's own (".git"), and with
/// unknownPath for what is no path.
GitOutcome gitResolvePath(const std::string& root, std::string_view file, std::string& path);
/// Resolves several; the first error ends it.
GitOutcome gitResolvePaths(const std::string& root, const std::vector<qrb::String>& files,
                           std::vector<std::string>& paths);

/// Tells to which of some paths, each a file or a folder, a path belongs.
class GitPathSet {
 public:
  /// Keeps no copy: the paths must outlive the set.
  explicit GitPathSet(const std::vector<std::string>& paths);

  /// Calls `found(place in the list)` for the path itself and for each folder above it that is in the list.
  template <class Found>
  void find(std::string_view path, Found&& found) const {
    for (std::string_view folder = path; !folder.empty();) {
      if (auto place = _places.find(folder); place != _places.end()) found(place->second);
      std::size_t slash = folder.rfind('/');
      folder = slash == std::string_view::npos ? std::string_view() : folder.substr(0, slash);
    }
    if (_root && path != ".") found(*_root);
  }
  bool covers(std::string_view path) const {
    bool isCovered = false;
    find(path, [&](std::size_t) { isCovered = true; });
    return isCovered;
  }

 private:
  std::unordered_map<std::string_view, std::size_t> _places;
  std::optional<std::size_t> _root;
};

/// The failure that a path is no file under source control.
GitOutcome gitUnknownPath(std::string_view path, std::string_view why = "is not under source control");
