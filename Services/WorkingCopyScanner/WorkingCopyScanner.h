#pragma once

#include <functional>
#include <set>
#include <vector>

#include "SharedString.h"
#include "URL.h"

/// Serves the messages of the working-copy scanner. Each request is worked on aside, so a long one holds up no other.
class WorkingCopyScanner {
 public:
  using Answer = std::function<void(const std::vector<qrb::URL>& folders)>;

  /// The folders that hold an entry of one of the names, each once, as directory URLs: for each given folder, in their
  /// order, those in it by path and then, when traversing up, those above it, the nearest first. What is no absolute
  /// path of a readable folder is passed over.
  void scanFolderPaths(const std::vector<qrb::String>& folderPaths, bool traversingUp,
                       const std::set<qrb::String>& workingCopyIdentifiers, Answer completionBlock);
};
