#include <algorithm>
#include <utility>

#include "BackgroundThread.h"
#include "ProcessReaper.h"
#include "Scarcity.h"
#include "ServiceProcesses.h"
#include "ServiceReservePrivate.h"

namespace qrb {

namespace {

// A host that asks now and then gains nothing from a process that waits; one whose user works asks several times in a
// moment.
constexpr std::chrono::milliseconds kCloseTogether{500};
constexpr std::chrono::seconds kLongestWait{1};

}  // namespace

ServiceReserve& ServiceReserve::shared() {
  static auto* reserve = new ServiceReserve;
  return *reserve;
}

std::shared_ptr<ServiceConnection> ServiceReserve::take(const std::string& serviceName) {
  ServiceSurroundings surroundings = ServiceSurroundings::current(serviceName);
  std::shared_ptr<ServiceConnection> found;
  bool fits = false;
  {
    std::lock_guard lock(_mutex);
    if (auto spare = _spares.find(serviceName); spare != _spares.end()) {
      fits = spare->second.surroundings == surroundings;
      found = std::move(spare->second.connection);
      _spares.erase(spare);
    }
    if (followsClosely(serviceName)) {
      _wanted.insert_or_assign(serviceName, std::move(surroundings));
      if (!_serving) _serving = startBackgroundThread([this] { serve(); });
      _changed.notify_all();
    }
  }
  if (found != nullptr && fits && !found->isOver()) return found;
  if (found != nullptr) found->invalidate(ServiceConnection::Ending::killed);
  return ServiceConnection::launch(serviceName, ServiceConnection::Kind::oneShot);
}

bool ServiceReserve::followsClosely(const std::string& serviceName) {
  Clock::time_point now = Clock::now();
  Recent& recent = _recent[serviceName];
  std::rotate(recent.begin(), recent.begin() + 1, recent.end());
  recent.back() = now;
  return now - recent.front() < kCloseTogether;
}

void ServiceReserve::clear() {
  std::map<std::string, Spare> ended;
  {
    std::lock_guard lock(_mutex);
    ++_clearings;
    _wanted.clear();
    ended.swap(_spares);
    // What comes next is the first of its kind again.
    _recent.clear();
  }
  for (auto& [name, spare] : ended) spare.connection->invalidate(ServiceConnection::Ending::killed);
  // One that is on its way cannot be ended before it is there.
  std::unique_lock lock(_mutex);
  _changed.wait(lock, [this] { return !_launching; });
}

void ServiceReserve::serve() {
  std::unique_lock lock(_mutex);
  for (;;) {
    if (!_wanted.empty()) {
      // What there is no memory for is launched when it is asked for, or not at all.
      unlessScarce([&] { launchAhead(lock); });
      if (!lock.owns_lock()) lock.lock();
      _launching = false;
      _changed.notify_all();
    } else if (_spares.empty()) {
      _changed.wait(lock);
    } else {
      auto earliest = std::ranges::min_element(_spares, {}, [](const auto& entry) { return entry.second.end; });
      Clock::time_point end = earliest->second.end;
      if (Clock::now() < end) {
        _changed.wait_until(lock, end);
      } else {
        endUnwanted(lock);
      }
    }
  }
}

// Both give the lock back while they touch processes. One that nobody has asked for anything has nothing to finish: it
// is killed, and so is whatever it may have started.

void ServiceReserve::launchAhead(std::unique_lock<std::mutex>& lock) {
  auto wanted = _wanted.extract(_wanted.begin());
  const std::string& name = wanted.key();
  if (_spares.contains(name)) return;
  std::uint64_t clearings = _clearings;
  _launching = true;
  lock.unlock();
  auto connection = ServiceConnection::launch(name, ServiceConnection::Kind::oneShot, wanted.mapped());
  lock.lock();
  if (clearings == _clearings && !connection->isOver()) {
    _spares.emplace(name, Spare{std::move(connection), std::move(wanted.mapped()), Clock::now() + kLongestWait});
  } else {
    lock.unlock();
    connection->invalidate(ServiceConnection::Ending::killed);
    connection.reset();
    lock.lock();
  }
}

void ServiceReserve::endUnwanted(std::unique_lock<std::mutex>& lock) {
  Clock::time_point now = Clock::now();
  std::map<std::string, Spare> ended;
  for (auto spare = _spares.begin(); spare != _spares.end();) {
    auto next = std::next(spare);
    if (spare->second.end <= now) ended.insert(_spares.extract(spare));
    spare = next;
  }
  lock.unlock();
  for (auto& [name, spare] : ended) spare.connection->invalidate(ServiceConnection::Ending::killed);
  ended.clear();
  lock.lock();
}

void endUnusedServices() {
  ServiceReserve::shared().clear();
}

bool awaitEndsOfServices(std::chrono::milliseconds timeout) {
  return ProcessReaper::shared().drain(timeout);
}

}  // namespace qrb
