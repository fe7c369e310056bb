#include "WorkingCopyScanner.h"

#include <string>
#include <unordered_set>

#include "FolderWalk.h"
#include "ServiceMainPrivate.h"

namespace {

std::vector<qrb::URL> scan(const std::vector<qrb::String>& folderPaths, bool traversingUp,
                           const std::set<std::string>& names) {
  std::vector<qrb::URL> result;
  std::unordered_set<std::string> known;
  auto add = [&](const std::vector<std::string>& folders) {
    for (const std::string& folder : folders) {
      if (known.insert(folder).second) result.push_back(qrb::URL::fileURL(folder, true));
    }
  };
  for (const qrb::String& given : folderPaths) {
    std::string path = given.str();
    while (path.size() > 1 && path.ends_with('/')) path.pop_back();
    if (!path.starts_with('/')) continue;
    add(findFoldersHolding(names, path));
    if (traversingUp) add(findFoldersAboveHolding(names, path));
  }
  return result;
}

}  // namespace

void WorkingCopyScanner::scanFolderPaths(const std::vector<qrb::String>& folderPaths, bool traversingUp,
                                         const std::set<qrb::String>& workingCopyIdentifiers, Answer completionBlock) {
  std::set<std::string> names;
  for (const qrb::String& name : workingCopyIdentifiers) {
    if (!name.empty()) names.insert(name.str());
  }
  qrb::serveAside([=] { completionBlock(scan(folderPaths, traversingUp, names)); });
}
