#include "MainThreadExecutor.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <utility>

namespace qrb {
namespace {

struct MainQueue {
  std::mutex mutex;
  std::condition_variable added;
  MainThreadExecutor executor;
  std::deque<std::function<void()>> functions;
};

MainQueue& mainQueue() {
  static auto* const queue = new MainQueue;
  return *queue;
}

}  // namespace

MainThreadExecutor setMainThreadExecutor(MainThreadExecutor executor) {
  MainQueue& queue = mainQueue();
  std::deque<std::function<void()>> waiting;
  MainThreadExecutor previous;
  {
    std::lock_guard lock(queue.mutex);
    previous = std::exchange(queue.executor, executor);
    if (executor) {
      waiting.swap(queue.functions);
    }
  }
  for (auto& function : waiting) {
    executor(std::move(function));
  }
  return previous;
}

void runOnMainThread(std::function<void()> function) {
  MainQueue& queue = mainQueue();
  MainThreadExecutor executor;
  {
    std::lock_guard lock(queue.mutex);
    executor = queue.executor;
    if (!executor) {
      queue.functions.push_back(std::move(function));
      queue.added.notify_one();
      return;
    }
  }
  executor(std::move(function));
}

std::size_t drainMainQueue(std::chrono::milliseconds timeout) {
  MainQueue& queue = mainQueue();
  std::size_t count = 0;
  std::unique_lock lock(queue.mutex);
  queue.added.wait_for(lock, timeout, [&] { return !queue.functions.empty(); });
  for (; !queue.functions.empty(); ++count) {
    std::function<void()> function = std::move(queue.functions.front());
    queue.functions.pop_front();
    lock.unlock();
    function();
    function = nullptr;
    lock.lock();
  }
  return count;
}

}  // namespace qrb
