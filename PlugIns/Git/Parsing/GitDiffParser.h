#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TokenBuffer.h"

/// One file that differs.
struct GitDiffFile {
  /// As GitChange::letter.
  char letter = 'M';
  /// How alike the files of a rename or copy are, in percent; 0 for other changes.
  std::uint8_t similarity = 0;
  /// No text, or so large or so marked that git does not compare its lines.
  bool isBinary = false;
  /// The patch was longer than is kept.
  bool isPatchLeftOut = false;
  /// From the root, as bytes; of a rename or copy the new one.
  std::string path;
  /// The path that a rename or copy came from; empty otherwise.
  std::string originalPath;
  /// As git writes them ("100644"); "000000" where the file is not there.
  std::string oldMode;
  std::string newMode;
  /// Full object names; all zeros where the file is not there, and of content that is not in the repository yet.
  std::string oldObject;
  std::string newObject;
  /// Lines; 0 of a binary file.
  std::uint64_t additions = 0;
  std::uint64_t deletions = 0;
  /// As git prints it, "diff --git" included, each line with its end. Bytes of the file's own encoding.
  std::string patch;

  bool operator==(const GitDiffFile&) const = default;
};

/// Reads the output of gitDiffCommand() as it arrives. Any bytes are safe; those that are not git's end the reading
/// with an error. Not for use by two threads at once.
class GitDiffParser {
 public:
  /// Longer patches are left out: of one file, and of all together.
  static constexpr std::size_t maximumPatch = std::size_t{8} << 20;
  static constexpr std::size_t maximumPatches = std::size_t{96} << 20;

  /// Reads one piece of output, cut anywhere. False when the output is malformed: see error().
  bool feed(std::string_view bytes);

  /// To be called at the end of the output. False when the output is malformed or ends early.
  bool finish();

  const std::optional<qrb::ParseError>& error() const { return _error; }

  /// The files in git's order, whole after finish().
  std::vector<GitDiffFile>& files() { return _files; }

 private:
  enum class Awaits : std::uint8_t { change, changePath, changeNewPath, countPath, countNewPath, patches };

  bool readSummary();
  bool read(std::string_view token);
  bool readChange(std::string_view token);
  bool readCount(std::string_view token);
  bool endCount(std::string_view path);
  bool readPatches();
  bool readLine(std::string_view line);
  bool beginPatch();
  bool fail(const char* what);

  qrb::TokenBuffer _summary{'\0'};
  qrb::TokenBuffer _lines{'\n'};
  Awaits _awaits = Awaits::change;
  std::vector<GitDiffFile> _files;
  /// How many files have been counted.
  std::size_t _counted = 0;
  /// Whose patch is being read; before the first none.
  std::size_t _patched = 0;
  unsigned _sectionsLeft = 0;
  std::size_t _patchBytes = 0;
  std::optional<qrb::ParseError> _error;
};
