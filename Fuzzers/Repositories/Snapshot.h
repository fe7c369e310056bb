#pragma once

#include <map>
#include <string>
#include <vector>

namespace qrb::hostile {

/// What a folder holds: of each entry what it is, its length, its time stamp and who it is on disk, of a link its
/// target, so that no writing goes unseen that does not cover its tracks.
class Snapshot {
 public:
  /// Nothing is followed and no file is opened. Folders of the names in `except`, directly in the folder, are left out.
  static Snapshot of(const std::string& folder, const std::vector<std::string>& except = {});

  /// The paths that differ, each with what has happened to it.
  std::vector<std::string> differencesTo(const Snapshot& later) const;

 private:
  std::map<std::string, std::string> _entries;
};

}  // namespace qrb::hostile
