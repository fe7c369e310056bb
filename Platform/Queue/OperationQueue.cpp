#include "OperationQueue.h"

#include <sys/resource.h>

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <limits>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

#include "Assertion.h"
#include "WorkerPool.h"

namespace qrb {
namespace {

std::size_t currentSystemLimit() {
  struct rlimit limit;
  bool unlimited = ::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY;
  return OperationQueue::systemConcurrencyLimit(std::thread::hardware_concurrency(),
                                                unlimited ? std::numeric_limits<std::size_t>::max() : limit.rlim_cur);
}

}  // namespace

struct OperationQueue::State : std::enable_shared_from_this<OperationQueue::State> {
  explicit State(std::string queueName) : name(std::move(queueName)) {}

  struct Entry {
    std::shared_ptr<QueueOperation> operation;
    ObserverToken token;
    WorkerPool::Prepared task;
    bool started = false;
    bool idle = false;
  };
  using Identifier = std::uint64_t;

  const std::string name;
  mutable std::mutex mutex;
  std::condition_variable becameEmpty;
  /// All that are not finished; identifiers grow, so the order is that of adding.
  std::map<Identifier, Entry> entries;
  std::deque<Identifier> waiting;
  /// Set while there are entries: operations run to their end without the queue that they were added to.
  std::shared_ptr<State> whileNotEmpty;
  Identifier lastIdentifier = 0;
  std::size_t running = 0;
  int maximum = defaultMaxConcurrentOperationCount;
  std::size_t limit = currentSystemLimit();

  void add(std::shared_ptr<QueueOperation> operation);
  std::shared_ptr<QueueOperation> operationOf(Identifier identifier) const;
  void startReady();
  bool takeReady(Identifier& identifier);
  void start(Identifier identifier);
  void changed(Identifier identifier, QueueOperation::Property property);
  void idleChanged(Identifier identifier);
  void remove(Identifier identifier);
};

void OperationQueue::State::add(std::shared_ptr<QueueOperation> operation) {
  using Property = QueueOperation::Property;
  using Phase = QueueOperation::Phase;
  {
    std::lock_guard lock(mutex);
    Identifier identifier = ++lastIdentifier;
    // All that can fail comes first: either the operation is in the queue and will be started, or it is not.
    Entry entry;
    entry.operation = operation;
    entry.task = WorkerPool::shared().prepare([self = shared_from_this(), identifier] { self->start(identifier); });
    // Subscribed before it can be started: no end goes unheard.
    entry.token = operation->observe([weak = weak_from_this(), identifier](Property property, Phase phase) {
      auto self = phase == Phase::didChange ? weak.lock() : nullptr;
      if (self) {
        self->changed(identifier, property);
      }
    });
    auto place = entries.emplace(identifier, std::move(entry)).first;
    try {
      waiting.push_back(identifier);
    } catch (...) {
      entries.erase(place);
      throw;
    }
    whileNotEmpty = shared_from_this();
  }
  startReady();
}

/// Null once it has been removed.
std::shared_ptr<QueueOperation> OperationQueue::State::operationOf(Identifier identifier) const {
  std::lock_guard lock(mutex);
  auto found = entries.find(identifier);
  return found == entries.end() ? nullptr : found->second.operation;
}

void OperationQueue::State::changed(Identifier identifier, QueueOperation::Property property) {
  if (property == QueueOperation::Property::isReady) {
    startReady();
    return;
  }
  if (property == QueueOperation::Property::isIdle) {
    idleChanged(identifier);
    return;
  }
  if (property != QueueOperation::Property::isFinished) {
    return;
  }
  std::shared_ptr<QueueOperation> operation = operationOf(identifier);
  if (!operation) {
    return;
  }
  if (operation->isFinished()) {
    remove(identifier);
  }
}

/// One that is no longer idle takes its place again even where another has it by now: it has begun already.
void OperationQueue::State::idleChanged(Identifier identifier) {
  {
    std::lock_guard lock(mutex);
    auto found = entries.find(identifier);
    if (found == entries.end() || !found->second.started) {
      return;
    }
    bool idle = found->second.operation->isIdle();
    if (std::exchange(found->second.idle, idle) != idle) {
      idle ? --running : ++running;
    }
  }
  startReady();
}

void OperationQueue::State::remove(Identifier identifier) {
  Entry entry;
  std::shared_ptr<State> self;
  {
    std::lock_guard lock(mutex);
    auto found = entries.find(identifier);
    if (found == entries.end()) {
      return;
    }
    entry = std::move(found->second);
    entries.erase(found);
    if (entry.started) {
      running -= entry.idle ? 0 : 1;
    } else {
      waiting.erase(std::find(waiting.begin(), waiting.end(), identifier));
    }
    if (entries.empty()) {
      self = std::move(whileNotEmpty);
      becameEmpty.notify_all();
    }
  }
  // The callback holds nothing of the queue, so there is no need to wait for one that runs on another thread, which may
  // itself be waiting for this one.
  entry.token.detach();
  startReady();
}

/// Called with the mutex held.
bool OperationQueue::State::takeReady(Identifier& identifier) {
  if (running >= limit) {
    return false;
  }
  auto ready = std::find_if(waiting.begin(), waiting.end(),
                            [this](Identifier candidate) { return entries.at(candidate).operation->isReady(); });
  if (ready == waiting.end()) {
    return false;
  }
  identifier = *ready;
  waiting.erase(ready);
  entries.at(identifier).started = true;
  ++running;
  return true;
}

void OperationQueue::State::startReady() {
  Identifier identifier;
  // Submitted under the mutex, so that two threads that end operations cannot swap the order of the next ones.
  std::lock_guard lock(mutex);
  while (takeReady(identifier)) {
    WorkerPool::shared().submit(std::move(entries.at(identifier).task));
  }
}

void OperationQueue::State::start(Identifier identifier) {
  std::shared_ptr<QueueOperation> operation = operationOf(identifier);
  if (!operation) {
    return;
  }
  // It may have finished before it was added, or without being started.
  if (operation->isFinished()) {
    remove(identifier);
  } else {
    operation->start();
  }
}

OperationQueue::OperationQueue(std::string name) : _state(std::make_shared<State>(std::move(name))) {}

OperationQueue::~OperationQueue() = default;

const std::string& OperationQueue::name() const {
  return _state->name;
}

void OperationQueue::addOperation(std::shared_ptr<QueueOperation> operation) {
  _state->add(std::move(operation));
}

std::vector<std::shared_ptr<QueueOperation>> OperationQueue::operations() const {
  std::vector<std::shared_ptr<QueueOperation>> result;
  std::lock_guard lock(_state->mutex);
  result.reserve(_state->entries.size());
  for (const auto& [identifier, entry] : _state->entries) {
    result.push_back(entry.operation);
  }
  return result;
}

void OperationQueue::cancelAllOperations() {
  for (const auto& operation : operations()) {
    operation->cancel();
  }
}

void OperationQueue::waitUntilAllOperationsAreFinished() {
  std::unique_lock lock(_state->mutex);
  _state->becameEmpty.wait(lock, [this] { return _state->entries.empty(); });
}

int OperationQueue::maxConcurrentOperationCount() const {
  std::lock_guard lock(_state->mutex);
  return _state->maximum;
}

void OperationQueue::setMaxConcurrentOperationCount(int count) {
  if (count != defaultMaxConcurrentOperationCount && count < 1) {
    assertionFailure("Platform/OperationQueue", __LINE__, "\"" + name() + "\" was given a limit that starts nothing");
    return;
  }
  {
    std::lock_guard lock(_state->mutex);
    _state->maximum = count;
    _state->limit = count < 0 ? currentSystemLimit() : static_cast<std::size_t>(count);
  }
  _state->startReady();
}

std::size_t OperationQueue::systemConcurrencyLimit(std::size_t cores, std::size_t softDescriptorLimit) {
  constexpr std::size_t kept = 64;
  constexpr std::size_t perOperation = 8;
  std::size_t byCores = std::clamp<std::size_t>(16 * cores, 32, 256);
  std::size_t byDescriptors = softDescriptorLimit > kept ? (softDescriptorLimit - kept) / perOperation : 0;
  return std::max<std::size_t>(2, std::min(byCores, byDescriptors));
}

}  // namespace qrb
