#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Dictionary.h"
#include "SubversionValues.h"

/// One path of a comparison as the library prints it.
struct SubversionDiffFile {
  std::string path;
  std::string patch;
  std::uint64_t additions = 0;
  std::uint64_t deletions = 0;
  bool isBinary = false;
  bool isPatchLeftOut = false;
};

/// Cuts a comparison into its files. Lines of a file's contents are told by the numbers of lines that precede them and
/// never by what they hold, so no content can pass for another file. Pure; any bytes are safe.
class SubversionDiffParser {
 public:
  void feed(std::string_view bytes);
  /// To be called at the end.
  void finish();
  std::vector<SubversionDiffFile>& files() { return _files; }

 private:
  void takeLine(std::string_view line);
  void beginFile(std::string_view path);
  void append(std::string_view line);
  bool appendHeader(std::string_view line);

  std::string _partial;
  std::vector<SubversionDiffFile> _files;
  /// Lines of the part under way that are still to come, of the old side and of the new.
  std::uint64_t _oldLines = 0;
  std::uint64_t _newLines = 0;
  bool _isInProperties = false;
  bool _isInHeader = false;
  bool _hasContents = false;
  bool _isAdded = false;
  bool _isDeleted = false;
  std::size_t _together = 0;
};

/// The dictionary that a host gets for a comparison; Documentation/plug-ins.md has its layout. Paths are relative to
/// what was compared. A side that is no revision is -1.
qrb::Dictionary subversionDiffDictionary(long from, long against, std::vector<SubversionDiffFile>&& files,
                                         const std::vector<SubversionDifference>& differences);
