#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "RecordParser.h"

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
/// of a commit besides its name is passed over.
class GitBlameParser final : public qrb::RecordParser<GitBlameRecord> {
 public:
  GitBlameParser() : RecordParser('\n') {}

  /// To be called at the end of the output. False when the output is malformed or ends inside a run.
  bool finish();

 private:
  bool next() override;
  bool readRun(std::string_view line);

  /// The line about the run itself, and not one about its commit.
  bool _awaitsRun = true;
  std::string _hash;
};
