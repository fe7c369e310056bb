#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>

#include "Export.h"

namespace qrb {

/// The threads that all queues share. Each queue bounds what it has under way here; the pool itself never refuses, so a
/// task that waits for one of another queue cannot starve it. As many threads as cores work at once; beyond that a
/// thread is added only when nothing has begun or ended for a moment, which means that the working ones are blocked.
/// Idle threads end after a while. One per program, never destroyed; tasks still waiting when the program exits do not
/// run.
class QRB_EXPORT WorkerPool {
 public:
  using Task = std::function<void()>;

  static WorkerPool& shared();

  /// Runs the task once on a thread of the pool, never on the calling one; tasks begin in the order they were
  /// submitted. Any thread, tasks included; locks may be held. Returns at once, except that it waits while the pool has
  /// no thread and the system none to give. The task must not let an exception out.
  void submit(Task task);

  /// How many threads exist at this moment.
  std::size_t threadCount() const;

 private:
  using Clock = std::chrono::steady_clock;

  WorkerPool();
  ~WorkerPool() = delete;
  void work();
  bool takeTask(std::unique_lock<std::mutex>& lock, Task& task);
  bool addThread();

  const std::size_t _cores;
  mutable std::mutex _mutex;
  std::condition_variable _changed;
  std::deque<Task> _tasks;
  std::size_t _threads = 0;
  std::size_t _busy = 0;
  Clock::time_point _lastProgress;
};

}  // namespace qrb
