#pragma once

#include <string_view>
#include <vector>

#include "QRBSourceControlForward.h"

namespace qrb {

/// Collects a status report. Bits given to one path at different times come together.
class StatusCollector {
 public:
  void add(std::string_view path, std::uint64_t status) { _entries.emplace_back(path, status); }
  /// The report; the collector is empty after it.
  QRBSourceControlPathStatusesPtr take();

 private:
  std::vector<QRBSourceControlPathStatuses::value_type> _entries;
};

}  // namespace qrb
