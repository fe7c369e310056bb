#include "WorkerPool.h"

#include <algorithm>
#include <thread>
#include <utility>

#include "BackgroundThread.h"
#include "Scarcity.h"

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

WorkerPool::Prepared WorkerPool::prepare(Task task) {
  Prepared prepared;
  prepared._node.push_back(std::move(task));
  // A thread that exists is there for good, so a task that is ready will be run. It is never run by its submitter
  // instead, who may hold what the task wants.
  std::lock_guard lock(_mutex);
  if (_threads == 0 && !addThread()) {
    throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again), "no thread is left");
  }
  return prepared;
}

void WorkerPool::submit(Prepared task) noexcept {
  std::lock_guard lock(_mutex);
  _tasks.splice(_tasks.end(), task._node);
  if (_threads > _busy) {
    _changed.notify_one();
  } else {
    addThread();
  }
}

bool WorkerPool::addThread() {
  bool added = startBackgroundThread([this] { work(); });
  _threads += added ? 1 : 0;
  return added;
}

void WorkerPool::work() {
  std::unique_lock lock(_mutex);
  std::list<Task> task;
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
    // Whoever gives a task answers for what it lacks; nothing that is forgotten there may end the program.
    unlessScarce(task.front());
    task.clear();
    lock.lock();
    --_busy;
    _lastProgress = Clock::now();
  }
  --_threads;
}

/// False when the thread has been idle for long enough to end.
bool WorkerPool::takeTask(std::unique_lock<std::mutex>& lock, std::list<Task>& task) {
  for (;;) {
    if (_tasks.empty()) {
      if (_changed.wait_for(lock, idleTime) == std::cv_status::timeout && _tasks.empty() && _threads > 1) {
        return false;
      }
    } else if (_busy < _cores || Clock::now() - _lastProgress >= stallTime) {
      task.splice(task.end(), _tasks, _tasks.begin());
      return true;
    } else {
      _changed.wait_until(lock, _lastProgress + stallTime);
    }
  }
}

}  // namespace qrb
