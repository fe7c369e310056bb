#pragma once

#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

#include "Export.h"

namespace qrb {

/// Runs one piece of work at a time, in the order in which the pieces came, whichever threads they came from. A queue
/// costs no thread: sync() runs on the calling one, async() borrows one of the shared workers. Destroying the queue
/// lets what was handed to async() run to its end.
class QRB_EXPORT SerialQueue {
 public:
  explicit SerialQueue(std::string name);
  SerialQueue(const SerialQueue&) = delete;
  SerialQueue& operator=(const SerialQueue&) = delete;
  ~SerialQueue();

  /// Waits until all that came before is done, runs `function` on this thread with the queue to itself and returns its
  /// result. Waiting takes no memory. From inside the same queue that would never end: a programming error, after which
  /// the function runs at once.
  template <typename Function>
  std::invoke_result_t<Function> sync(Function&& function) {
    Turn turn(*this);
    return std::forward<Function>(function)();
  }

  /// Runs `function` later, on another thread, and returns at once. The function must not let an exception out. Throws
  /// as WorkerPool::prepare does; the function will not run then.
  void async(std::function<void()> function);

  const std::string& name() const;
  /// Whether the calling thread is inside this queue's work.
  bool isCurrent() const;

 private:
  struct State;
  struct Waiter;

  class QRB_EXPORT Turn {
   public:
    explicit Turn(SerialQueue& queue);
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    ~Turn();

   private:
    /// Kept beyond the work, which may destroy the queue.
    std::shared_ptr<State> _state;
    bool _entered;
  };

  std::shared_ptr<State> _state;
};

}  // namespace qrb
