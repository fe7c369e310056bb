#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "GitBlameParser.h"
#include "QRBSourceControlForward.h"
#include "TextIndex.h"

/// Collects the runs of lines of a file while git finds them, and makes blame items of them in the order of the lines.
class GitBlameReader {
 public:
  /// Reads one piece of git's output. False: it is not git's (see error()).
  bool feed(std::string_view bytes);
  /// To be called once git has ended; false as feed().
  bool finish() { return _parser.finish(); }
  const std::optional<qrb::ParseError>& error() const { return _parser.error(); }

  /// The object names of the commits found, each once, a line feed after each. Empty where there is nothing but
  /// uncommitted lines.
  std::string hashes() const;

  /// One item for each run of neighbouring lines of one commit. `logItems` are those of hashes(), in that order; items
  /// of one commit share its log item, and those of uncommitted lines have the shared unversioned one. None when log
  /// items are missing.
  std::optional<std::vector<QRBSourceControlBlameItemPtr>> items(
      const std::vector<QRBSourceControlLogItemPtr>& logItems);

 private:
  struct Run {
    std::uint64_t line;
    std::uint64_t count;
    std::uint32_t commit;
  };
  static constexpr std::uint32_t uncommitted = ~std::uint32_t{0};

  void take(const GitBlameRecord& record);
  std::uint32_t numberOf(std::string_view hash);
  void order();

  GitBlameParser _parser;
  qrb::TextIndex _numbers;
  std::vector<std::string> _hashes;
  std::vector<Run> _runs;
};
