#include "StatusCollector.h"

#include <algorithm>

namespace qrb {

QRBSourceControlPathStatusesPtr StatusCollector::take() {
  auto before = [](const auto& a, const auto& b) { return a.first.view() < b.first.view(); };
  if (!std::is_sorted(_entries.begin(), _entries.end(), before)) {
    std::sort(_entries.begin(), _entries.end(), before);
  }
  std::size_t kept = 0;
  for (std::size_t index = 1; index < _entries.size(); ++index) {
    if (_entries[index].first == _entries[kept].first) {
      _entries[kept].second |= _entries[index].second;
    } else if (++kept != index) {
      _entries[kept] = std::move(_entries[index]);
    }
  }
  if (!_entries.empty()) _entries.resize(kept + 1);
  return std::make_shared<QRBSourceControlPathStatuses>(std::move(_entries));
}

}  // namespace qrb
