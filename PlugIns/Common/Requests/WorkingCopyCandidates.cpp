#include "WorkingCopyCandidates.h"

#include <filesystem>

namespace qrb {
namespace {

namespace fs = std::filesystem;

class Candidates {
 public:
  Candidates(const std::string& metadata, const std::function<bool(const std::string& folder)>& isCandidate)
      : _metadata(metadata), _isCandidate(isCandidate) {}

  void add(const fs::path& folder) {
    if (_isCandidate(folder.string())) _found.push_back(URL::fileURL(folder.string(), true));
  }

  void addBelow(const fs::path& root) {
    std::error_code error;
    fs::recursive_directory_iterator place(root, fs::directory_options::skip_permission_denied, error);
    while (!error && place != fs::recursive_directory_iterator()) {
      std::error_code entryError;
      if (place->path().filename() == _metadata) {
        place.disable_recursion_pending();
      } else if (place->symlink_status(entryError).type() == fs::file_type::directory) {
        add(place->path());
      }
      place.increment(error);
    }
  }

  std::vector<URL> take() { return std::move(_found); }

 private:
  const std::string& _metadata;
  const std::function<bool(const std::string& folder)>& _isCandidate;
  std::vector<URL> _found;
};

}  // namespace

std::vector<URL> workingCopyCandidates(const std::vector<String>& folderPaths, bool traversingUp,
                                       const std::string& metadata,
                                       const std::function<bool(const std::string& folder)>& isCandidate) {
  Candidates candidates(metadata, isCandidate);
  for (const String& given : folderPaths) {
    fs::path root = fs::path(given.str()).lexically_normal();
    if (!root.is_absolute()) continue;
    candidates.add(root);
    candidates.addBelow(root);
    for (fs::path above = root; traversingUp && above.has_relative_path();) {
      above = above.parent_path();
      candidates.add(above);
    }
  }
  return candidates.take();
}

}  // namespace qrb
