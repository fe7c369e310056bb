#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <list>
#include <mutex>
#include <utility>

namespace qrb {

/// The threads that all queues share. Each queue bounds what it has under way here; the pool itself never refuses, so a
/// task that waits for one of another queue cannot starve it. As many threads as cores work at once; beyond that a
/// thread is added only when nothing has begun or ended for a moment, which means that the working ones are blocked.
/// Idle threads end after a while, but for the last. One per program, never destroyed; tasks still waiting when the
/// program exits do not run.
class WorkerPool {
 public:
  using Task = std::function<void()>;

  /// A task with all that the pool will need for it.
  class Prepared {
   private:
    friend class WorkerPool;
    std::list<Task> _node;
  };

  static WorkerPool& shared();

  /// Makes a task ready, so that submitting it cannot fail. Throws std::bad_alloc, or std::system_error when the pool
  /// has no thread yet and the system none to give.
  Prepared prepare(Task task);
  /// Runs the task once on a thread of the pool, never on the calling one; tasks begin in the order they were
  /// submitted. Any thread, tasks included; locks may be held. Returns at once. The task must not let an exception out.
  void submit(Prepared task) noexcept;
  /// Makes a task ready and submits it; throws as `prepare` does, and then nothing will run.
  void submit(Task task) { submit(prepare(std::move(task))); }

 private:
  using Clock = std::chrono::steady_clock;

  WorkerPool();
  ~WorkerPool() = delete;
  void work();
  bool takeTask(std::unique_lock<std::mutex>& lock, std::list<Task>& task);
  bool addThread();

  const std::size_t _cores;
  mutable std::mutex _mutex;
  std::condition_variable _changed;
  std::list<Task> _tasks;
  std::size_t _threads = 0;
  std::size_t _busy = 0;
  Clock::time_point _lastProgress;
};

}  // namespace qrb
