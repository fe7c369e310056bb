#include "SerialQueue.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "Assertion.h"
#include "Scarcity.h"
#include "WorkerPool.h"

namespace qrb {

struct SerialQueue::Waiter {
  std::condition_variable granted;
  bool isGranted = false;
};

/// The queue is `busy` from the moment somebody has the turn until nobody wants it: whoever is done hands it on under
/// the mutex, so that nobody can jump the line.
struct SerialQueue::State : std::enable_shared_from_this<SerialQueue::State> {
  explicit State(std::string queueName) : name(std::move(queueName)) {}

  /// One place in the line: a thread that waits in sync(), or a function to run. A waiting thread has its place on its
  /// own stack, so that waiting takes no memory; that of a function belongs to the line.
  struct Item {
    Waiter* waiter = nullptr;
    std::function<void()> function = {};
    WorkerPool::Prepared runner = {};
    Item* next = nullptr;
  };

  const std::string name;
  std::mutex mutex;
  Item* first = nullptr;
  Item** end = &first;
  bool busy = false;
  std::atomic<std::thread::id> owner{};

  void append(Item& item);
  Item& takeFirst();
  void enter();
  void leave();
  /// Called with the mutex held and the turn in hand: gives it to the next in line.
  void handOn();
  void runFunctions();
};

void SerialQueue::State::append(Item& item) {
  *end = &item;
  end = &item.next;
}

SerialQueue::State::Item& SerialQueue::State::takeFirst() {
  Item& item = *first;
  first = item.next;
  if (first == nullptr) end = &first;
  return item;
}

void SerialQueue::State::enter() {
  std::unique_lock lock(mutex);
  if (busy) {
    Waiter waiter;
    Item item{&waiter};
    append(item);
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
  if (first == nullptr) {
    busy = false;
  } else if (Waiter* next = first->waiter) {
    takeFirst();
    next->isGranted = true;
    next->granted.notify_one();
  } else {
    WorkerPool::shared().submit(std::move(first->runner));
  }
}

void SerialQueue::State::runFunctions() {
  std::unique_lock lock(mutex);
  owner = std::this_thread::get_id();
  while (first != nullptr && !first->waiter) {
    std::unique_ptr<Item> item(&takeFirst());
    lock.unlock();
    unlessScarce(item->function);
    item.reset();
    lock.lock();
  }
  owner = std::thread::id();
  handOn();
}

SerialQueue::SerialQueue(std::string name) : _state(std::make_shared<State>(std::move(name))) {}

SerialQueue::~SerialQueue() = default;

void SerialQueue::async(std::function<void()> function) {
  auto item = std::make_unique<State::Item>();
  item->function = std::move(function);
  item->runner = WorkerPool::shared().prepare([state = _state] { state->runFunctions(); });
  std::lock_guard lock(_state->mutex);
  _state->append(*item.release());
  if (!std::exchange(_state->busy, true)) {
    _state->handOn();
  }
}

const std::string& SerialQueue::name() const {
  return _state->name;
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
