#include "LockWait.h"

#include <poll.h>

#include <algorithm>

namespace qrb {
namespace {

constexpr std::chrono::milliseconds longest{250};

}  // namespace

LockWait::LockWait(std::chrono::milliseconds patience, int hostConnection)
    : _patience(patience), _hostConnection(hostConnection) {}

bool LockWait::wait() {
  auto now = std::chrono::steady_clock::now();
  if (!_end) _end = now + _patience;
  auto left = std::chrono::ceil<std::chrono::milliseconds>(*_end - now);
  if (left.count() <= 0) return false;
  pollfd host{_hostConnection, POLLRDHUP, 0};
  if (::poll(&host, 1, static_cast<int>(std::min(left, _next).count())) > 0) return false;
  _next = std::min(_next * 2, longest);
  return true;
}

}  // namespace qrb
