#pragma once

#include <cstdint>
#include <string_view>

#include "RecordParser.h"

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

/// Reads what `ls-files --stage -z` prints, as it arrives.
class GitIndexParser final : public qrb::RecordParser<GitIndexRecord> {
 public:
  GitIndexParser() : RecordParser('\0') {}

  /// To be called at the end of the output. False when the output is malformed or ends inside an entry.
  bool finish();

 private:
  bool next() override;
  bool read(std::string_view line);
};
