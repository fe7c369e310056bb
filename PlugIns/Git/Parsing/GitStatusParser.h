#pragma once

#include <cstdint>
#include <string_view>

#include "RecordParser.h"

/// One line of `git status --porcelain=v2 -z`. The views last until the sink returns.
struct GitStatusRecord {
  enum class Kind : std::uint8_t { changed, renamed, unmerged, untracked, ignored, header };

  Kind kind = Kind::changed;
  /// How alike the two files of a rename or copy are, in percent; 0 for other kinds.
  std::uint8_t similarity = 0;
  /// The bits of QRBSourceControlStatusValues.h; 0 for a header.
  std::uint64_t status = 0;
  /// Path from the root of the working copy, as bytes; a folder's without the slash that git ends it with. The name of
  /// a header ("branch.head").
  std::string_view path;
  /// The path that a rename or copy came from, or the value of a header; empty otherwise.
  std::string_view originalPath;
};

/// Reads the output of gitStatusCommand() as it arrives.
class GitStatusParser final : public qrb::RecordParser<GitStatusRecord> {
 public:
  GitStatusParser() : RecordParser('\0') {}

  /// To be called at the end of the output. False when the output is malformed or ends inside a record.
  bool finish();

 private:
  bool next() override;
  bool read(std::string_view line, std::string_view original);
  bool readTracked(std::string_view line, std::size_t modes, std::size_t hashes);
  bool readUntracked(std::string_view line, std::uint64_t status);
  bool readHeader(std::string_view line);
  bool checkPaths();

  qrb::TokenSpan _line;
  bool _awaitsOriginal = false;
};
