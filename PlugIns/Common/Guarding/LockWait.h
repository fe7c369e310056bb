#pragma once

#include <chrono>
#include <optional>

namespace qrb {

/// Waits for a lock that cannot be waited for: looks again soon at first, for most locks are held for a moment only,
/// and then less and less often. The time begins with the first wait, so that there is a second look however long the
/// first has taken.
class LockWait {
 public:
  /// `hostConnection` is as for ToolRunner.
  LockWait(std::chrono::milliseconds patience, int hostConnection);

  /// Returns true when it is time to look again; false when there is no more time, or the host is gone.
  bool wait();

 private:
  const std::chrono::milliseconds _patience;
  std::optional<std::chrono::steady_clock::time_point> _end;
  const int _hostConnection;
  std::chrono::milliseconds _next{5};
};

}  // namespace qrb
