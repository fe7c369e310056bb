#include "WorkerPool.h"

#include <algorithm>
#include <thread>
#include <utility>

#include "BackgroundThread.h"

namespace qrb {
namespace {

using namespace std::chrono_literals;

/// A launch takes about this long: shorter would make a burst of them count as blocked.
constexpr auto stallTime = 2ms;
constexpr auto idleTime = 5s;

}  // namespace

WorkerPool& WorkerPool::shared() {
  static auto* const pool = new WorkerPool;
  return *pool;
}

WorkerPool::WorkerPool() : _cores(std::max(2U, std::thread::hardware_concurrency())) {}

void WorkerPool::submit(Task task) {
  std::unique_lock lock(_mutex);
  _tasks.push_back(std::move(task));
  if (_threads > _busy) {
    _changed.notify_one();
    return;
  }
  // Never run here instead: the caller may hold what the task wants.
  while (!addThread() && _threads == 0) {
    lock.unlock();
    std::this_thread::sleep_for(stallTime);
    lock.lock();
  }
}

std::size_t WorkerPool::threadCount() const {
  std::lock_guard lock(_mutex);
  return _threads;
}

bool WorkerPool::addThread() {
  const bool added = startBackgroundThread([this] { work(); });
  _threads += added ? 1 : 0;
  return added;
}

void WorkerPool::work() {
  std::unique_lock lock(_mutex);
  Task task;
  while (takeTask(lock, task)) {
    ++_busy;
    _lastProgress = Clock::now();
    // One free thread stays as long as there is work: it is the one that notices when all the others are blocked.
    if (!_tasks.empty()) {
      if (_threads > _busy) {
        _changed.notify_one();
      } else {
        addThread();
      }
    }
    lock.unlock();
    task();
    task = nullptr;
    lock.lock();
    --_busy;
    _lastProgress = Clock::now();
  }
  --_threads;
}

/// False when the thread has been idle for long enough to end.
bool WorkerPool::takeTask(std::unique_lock<std::mutex>& lock, Task& task) {
  for (;;) {
    if (_tasks.empty()) {
      if (_changed.wait_for(lock, idleTime) == std::cv_status::timeout && _tasks.empty()) {
        return false;
      }
    } else if (_busy < _cores || Clock::now() - _lastProgress >= stallTime) {
      task = std::move(_tasks.front());
      _tasks.pop_front();
      return true;
    } else {
      _changed.wait_until(lock, _lastProgress + stallTime);
    }
  }
}

}  // namespace qrb
