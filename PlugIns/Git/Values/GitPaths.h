#pragma once

#include <string_view>
#include <vector>

#include "QRBSourceControlForward.h"
#include "TextIndex.h"

/// Gives each text once, so that the archive to the host sends a path or a name once however often it occurs.
class GitTexts {
 public:
  /// Valid until the next call.
  const qrb::String& get(std::string_view text);

 private:
  std::vector<qrb::String> _texts;
  qrb::TextIndex _numbers;
};

/// Collects a status report. Bits given to one path at different times come together.
class GitStatusCollector {
 public:
  void add(std::string_view path, std::uint64_t status) { _entries.emplace_back(path, status); }
  /// The report; the collector is empty after it.
  QRBSourceControlPathStatusesPtr take();

 private:
  std::vector<QRBSourceControlPathStatuses::value_type> _entries;
};
