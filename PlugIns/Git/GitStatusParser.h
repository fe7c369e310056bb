#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "GitTokenBuffer.h"

/// One line of `git status --porcelain=v2 -z`. The views last until the sink returns.
struct GitStatusRecord {
  enum class Kind : std::uint8_t { Changed, Renamed, Unmerged, Untracked, Ignored, Header };

  Kind kind = Kind::Changed;
  /// How alike the two files of a rename or copy are, in percent; 0 for other kinds.
  std::uint8_t similarity = 0;
  /// The bits of QRBSourceControlStatusValues.h; 0 for a header.
  std::uint64_t status = 0;
  /// Path from the root of the working copy, as bytes; a folder's without the slash that git ends it with. The name of
  /// a header ("branch.head").
  std::string_view path;
  /// Of a rename or copy the path it came from; of a header the value. Empty otherwise.
  std::string_view originalPath;
};

/// Reads the output of gitStatusCommand() as it arrives. Any bytes are safe; those that are not git's end the reading
/// with an error. Not for use by two threads at once.
class GitStatusParser {
 public:
  /// Reads one piece of output, cut anywhere, and calls `sink(const GitStatusRecord&)` for each record that is now
  /// whole. False when the output is malformed: see error().
  template <class Sink>
  bool feed(std::string_view bytes, Sink&& sink) {
    if (_error) return false;
    _buffer.append(bytes);
    while (next()) sink(static_cast<const GitStatusRecord&>(_record));
    return suspend();
  }

  /// To be called at the end of the output. False when the output is malformed or ends inside a record.
  bool finish();

  const std::optional<GitParseError>& error() const { return _error; }

 private:
  bool next();
  bool suspend();
  bool read(std::string_view line, std::string_view original);
  bool readTracked(std::string_view line, std::size_t modes, std::size_t hashes);
  bool readUntracked(std::string_view line, std::uint64_t status);
  bool readHeader(std::string_view line);
  bool checkPaths();
  bool fail(const char* what);

  GitTokenBuffer _buffer{'\0'};
  GitSpan _line;
  bool _awaitsOriginal = false;
  GitStatusRecord _record;
  std::optional<GitParseError> _error;
};
