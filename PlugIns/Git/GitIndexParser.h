#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "GitTokenBuffer.h"

/// One entry of the staging area. The views last until the sink returns.
struct GitIndexRecord {
  /// As in trees: 0100644 and 0100755 files, 0120000 symbolic links, 0160000 submodules.
  std::uint32_t mode = 0;
  /// 0; of a path in conflict 1 the common ancestor, 2 ours, 3 theirs.
  std::uint8_t stage = 0;
  std::string_view object;
  std::string_view path;

  bool isSubmodule() const { return mode == 0160000; }
};

/// Reads what `ls-files --stage -z` prints, as it arrives. Any bytes are safe; those that are not git's end the reading
/// with an error. Not for use by two threads at once.
class GitIndexParser {
 public:
  /// Reads one piece of output, cut anywhere, and calls `sink(const GitIndexRecord&)` for each entry that is now whole.
  /// False when the output is malformed: see error().
  template <class Sink>
  bool feed(std::string_view bytes, Sink&& sink) {
    if (_error) return false;
    _buffer.append(bytes);
    while (next()) sink(static_cast<const GitIndexRecord&>(_record));
    return suspend();
  }

  /// To be called at the end of the output. False when the output is malformed or ends inside an entry.
  bool finish();

  const std::optional<GitParseError>& error() const { return _error; }

 private:
  bool next();
  bool read(std::string_view line);
  bool suspend();
  bool fail(const char* what);

  GitTokenBuffer _buffer{'\0'};
  GitIndexRecord _record;
  std::optional<GitParseError> _error;
};
