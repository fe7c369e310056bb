#pragma once

#include <string>
#include <string_view>

#include "Error.h"

namespace host {

/// The next contents of a file that only the user can read. Whoever looks sees the old file or the new one, whole, also
/// after a crash. One writer at a time: the caller holds a lock.
class FileReplacement {
 public:
  explicit FileReplacement(std::string path);
  FileReplacement(const FileReplacement&) = delete;
  FileReplacement& operator=(const FileReplacement&) = delete;
  /// Removes what was written and not put into place.
  ~FileReplacement();

  /// Writes the contents beside the file, private from the start, and waits until the disk has them. What an
  /// interrupted writer left there goes.
  qrb::Error write(std::string_view bytes);
  /// Puts them in the place of the file.
  qrb::Error commit();

 private:
  std::string _path;
  std::string _newPath;
  bool _written = false;
};

}  // namespace host
