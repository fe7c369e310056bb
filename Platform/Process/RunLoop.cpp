#include "RunLoop.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>

#include "FileHandle.h"

namespace qrb {

namespace {

using Clock = std::chrono::steady_clock;

// poll's timeout until the deadline; -1 without one.
int timeoutUntil(const std::optional<Clock::time_point>& deadline) {
  if (!deadline) return -1;
  auto rest = std::chrono::ceil<std::chrono::milliseconds>(*deadline - Clock::now()).count();
  return static_cast<int>(std::clamp<long long>(rest, 0, 1 << 30));
}

// Any answer counts, errors and hang-ups too: the reader finds out. A closed handle answers at once.
bool isReady(const pollfd& entry) {
  return entry.fd < 0 || entry.revents != 0;
}

}  // namespace

RunLoop& RunLoop::current() {
  static thread_local RunLoop loop;
  return loop;
}

void RunLoop::wait(std::shared_ptr<FileHandle> handle) {
  if (std::find(_waiting.begin(), _waiting.end(), handle) == _waiting.end()) _waiting.push_back(std::move(handle));
}

bool RunLoop::stopWaitingFor(const FileHandle* handle) {
  auto place = std::find_if(_waiting.begin(), _waiting.end(), [&](const auto& held) { return held.get() == handle; });
  if (place == _waiting.end()) return false;
  _waiting.erase(place);
  return true;
}

std::size_t RunLoop::runOnce(std::optional<std::chrono::milliseconds> timeout) {
  // A copy: observers may ask for further waits, which have their turn next time.
  auto waiting = _waiting;
  if (waiting.empty()) return 0;
  std::vector<pollfd> entries;
  for (const auto& handle : waiting) entries.push_back({handle->descriptor(), POLLIN, 0});
  bool oneIsClosed = std::any_of(entries.begin(), entries.end(), [](const pollfd& entry) { return entry.fd < 0; });
  std::optional<Clock::time_point> deadline;
  if (oneIsClosed) {
    deadline = Clock::now();
  } else if (timeout) {
    deadline = Clock::now() + *timeout;
  }
  while (::poll(entries.data(), entries.size(), timeoutUntil(deadline)) < 0 && errno == EINTR) {
  }
  std::size_t told = 0;
  for (std::size_t index = 0; index < waiting.size(); ++index) {
    // An observer that ran just now may have run the loop itself and so told this one already.
    if (!isReady(entries[index]) || !stopWaitingFor(waiting[index].get())) continue;
    ++told;
    waiting[index]->_dataAvailable.notify();
  }
  return told;
}

void RunLoop::run() {
  while (!_waiting.empty()) runOnce();
}

}  // namespace qrb
