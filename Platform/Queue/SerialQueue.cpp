#include "SerialQueue.h"

#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

#include "Assertion.h"
#include "WorkerPool.h"

namespace qrb {

struct SerialQueue::Waiter {
  std::condition_variable granted;
  bool isGranted = false;
};

/// The queue is `busy` from the moment somebody has the turn until nobody wants it: whoever is done hands it on under
/// the mutex, so that nobody can jump the line.
struct SerialQueue::State : std::enable_shared_from_this<SerialQueue::State> {
  State(std::string queueName, QualityOfService quality) : name(std::move(queueName)), qualityOfService(quality) {}

  /// One place in the line: a thread that waits in sync(), or a function to run.
  struct Item {
    Waiter* waiter = nullptr;
    std::function<void()> function;
  };

  const std::string name;
  const QualityOfService qualityOfService;
  std::mutex mutex;
  std::deque<Item> line;
  bool busy = false;
  std::atomic<std::thread::id> owner{};

  void enter();
  void leave();
  /// Called with the mutex held and the turn in hand: gives it to the next in line.
  void handOn();
  void runFunctions();
};

void SerialQueue::State::enter() {
  std::unique_lock lock(mutex);
  if (busy) {
    Waiter waiter;
    line.push_back({&waiter, {}});
    waiter.granted.wait(lock, [&] { return waiter.isGranted; });
  }
  busy = true;
  owner = std::this_thread::get_id();
}

void SerialQueue::State::leave() {
  std::lock_guard lock(mutex);
  owner = std::thread::id();
  handOn();
}

void SerialQueue::State::handOn() {
  if (line.empty()) {
    busy = false;
  } else if (Waiter* const next = line.front().waiter) {
    line.pop_front();
    next->isGranted = true;
    next->granted.notify_one();
  } else {
    WorkerPool::shared().submit([self = shared_from_this()] { self->runFunctions(); });
  }
}

void SerialQueue::State::runFunctions() {
  std::unique_lock lock(mutex);
  owner = std::this_thread::get_id();
  while (!line.empty() && !line.front().waiter) {
    std::function<void()> function = std::move(line.front().function);
    line.pop_front();
    lock.unlock();
    function();
    function = nullptr;
    lock.lock();
  }
  owner = std::thread::id();
  handOn();
}

SerialQueue::SerialQueue(std::string name, QualityOfService qualityOfService)
    : _state(std::make_shared<State>(std::move(name), qualityOfService)) {}

SerialQueue::~SerialQueue() = default;

void SerialQueue::async(std::function<void()> function) {
  std::lock_guard lock(_state->mutex);
  _state->line.push_back({nullptr, std::move(function)});
  if (!std::exchange(_state->busy, true)) {
    _state->handOn();
  }
}

const std::string& SerialQueue::name() const {
  return _state->name;
}

QualityOfService SerialQueue::qualityOfService() const {
  return _state->qualityOfService;
}

bool SerialQueue::isCurrent() const {
  return _state->owner.load() == std::this_thread::get_id();
}

SerialQueue::Turn::Turn(SerialQueue& queue) : _state(queue._state), _entered(!queue.isCurrent()) {
  if (_entered) {
    _state->enter();
  } else {
    assertionFailure("Platform/SerialQueue", __LINE__, "\"" + _state->name + "\" was entered from inside itself");
  }
}

SerialQueue::Turn::~Turn() {
  if (_entered) {
    _state->leave();
  }
}

}  // namespace qrb
