#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "GitTokenBuffer.h"

/// A run of lines and the commit that brought them. The view lasts until the sink returns.
struct GitBlameRecord {
  /// The object name in full; all zeros for lines that are not committed.
  std::string_view hash;
  /// The first line in the file as it was blamed, counted from 1.
  std::uint64_t line = 0;
  std::uint64_t count = 0;
  /// The first line in the commit's version of the file.
  std::uint64_t originalLine = 0;

  bool isUncommitted() const { return hash.find_first_not_of('0') == std::string_view::npos; }
};

/// Reads what `blame --incremental` prints, as it arrives: in the order in which git finds the commits. What it prints
/// of a commit besides its name is passed over. Any bytes are safe; those that are not git's end the reading with an
/// error. Not for use by two threads at once.
class GitBlameParser {
 public:
  /// Reads one piece of output, cut anywhere, and calls `sink(const GitBlameRecord&)` for each run that is now whole.
  /// False when the output is malformed: see error().
  template <class Sink>
  bool feed(std::string_view bytes, Sink&& sink) {
    if (_error) return false;
    _buffer.append(bytes);
    while (next()) sink(static_cast<const GitBlameRecord&>(_record));
    return suspend();
  }

  /// To be called at the end of the output. False when the output is malformed or ends inside a run.
  bool finish();

  const std::optional<GitParseError>& error() const { return _error; }

 private:
  bool next();
  bool readRun(std::string_view line);
  bool suspend();
  bool fail(const char* what);

  GitTokenBuffer _buffer{'\n'};
  /// The line about the run itself, and not one about its commit.
  bool _awaitsRun = true;
  std::string _hash;
  GitBlameRecord _record;
  std::optional<GitParseError> _error;
};
