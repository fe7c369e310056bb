#pragma once

#include <sys/types.h>

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace qrb::hostile {

/// A folder's content in memory: cheap to copy, to change and to write to disk. Paths are bytes, relative to the
/// folder, "/" between components. Not for several threads at once.
class FileTree {
 public:
  struct Entry {
    enum class Kind : unsigned char { file, folder, link, fifo, program };
    Kind kind = Kind::file;
    /// Of a file its bytes, of a link its target. In both "@CASE@" stands for the folder that the tree is written to,
    /// "@MARK@" for what write() is told. A program is one more name of the file that write() is told.
    std::string bytes;
    mode_t mode = 0644;
    /// Of a file: its length, where that is greater than that of its bytes. The rest takes no room on disk.
    std::uint64_t length = 0;
  };

  /// What is on disk. The folder's own path is replaced by "@CASE@" in files and links. Throws std::runtime_error for
  /// what cannot be read.
  static FileTree read(const std::string& folder);

  /// Each replaces what is there, with all below it, and makes the folders above. Where one of these is no folder,
  /// nothing is done: an earlier change stays.
  void put(const std::string& path, Entry entry);
  void file(const std::string& path, std::string bytes, mode_t mode = 0644);
  void folder(const std::string& path);
  void link(const std::string& path, std::string target);
  void fifo(const std::string& path);
  void program(const std::string& path);
  /// Adds to a file, or makes it.
  void append(const std::string& path, std::string_view bytes);
  /// With all below it; so do the next two.
  void remove(const std::string& path);
  void move(const std::string& from, const std::string& to);
  void copy(const std::string& from, const std::string& to);

  bool contains(const std::string& path) const { return _entries.contains(path); }
  bool isFolder(const std::string& path) const;
  /// Empty where no file is.
  std::string bytesOf(const std::string& path) const;
  /// The names directly in a folder.
  std::vector<std::string> namesIn(const std::string& path) const;

  /// What write() needs to know. `folder` and `mark` are absolute; `program` is on the disk of the folder.
  struct Destination {
    std::string folder;
    std::string mark;
    std::string program;
  };
  /// Makes the folder and everything in it. Throws std::system_error for what cannot be written.
  void write(const Destination& destination) const;

 private:
  // In the order of the paths, so that a folder comes before what is in it.
  std::map<std::string, Entry> _entries;
};

/// Removes a folder with all in it, whatever it is allowed to. Nothing is followed.
void removeTree(const std::string& folder);

}  // namespace qrb::hostile
