#pragma once

#include <string_view>
#include <unordered_map>
#include <vector>

#include "QRBSourceControlForward.h"

/// Gives each text once, so that the archive to the host sends a path or a name once however often it occurs.
class GitTexts {
 public:
  const qrb::String& get(std::string_view text);

 private:
  // The keys are views of the strings they lead to.
  std::unordered_map<std::string_view, qrb::String> _texts;
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
