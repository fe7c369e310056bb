#include "QueueOperation.h"

#include <utility>

#include "Assertion.h"
#include "Scarcity.h"

namespace qrb {

std::string QueueOperation::name() const {
  return _name.with([](const std::string& name) { return name; });
}

void QueueOperation::setName(std::string name) {
  _name.with([&](std::string& current) { current = std::move(name); });
}

ObserverToken QueueOperation::observe(std::function<void(Property, Phase)> callback) {
  return _observers.observe(std::move(callback));
}

void QueueOperation::waitUntilFinished() {
  // Shared with the observer, which may be on its way out when this returns.
  auto finished = std::make_shared<std::atomic<bool>>(false);
  ObserverToken observer = observe([this, finished](Property property, Phase phase) {
    if (property != Property::isFinished || phase != Phase::didChange || !isFinished()) return;
    *finished = true;
    finished->notify_all();
  });
  // An end that came before the observer is seen here.
  if (!isFinished()) finished->wait(false);
  // Waiting for the announcement to be over could be waiting for a lock that our caller holds.
  observer.detach();
}

void BlockOperation::addExecutionBlock(std::function<void()> block) {
  bool added = _blocks.with([&](auto& blocks) {
    if (_state != State::created) {
      return false;
    }
    blocks.push_back(std::move(block));
    return true;
  });
  if (!added) {
    assertionFailure("Platform/QueueOperation", __LINE__, "A block was added to an operation that has been started");
  }
}

void BlockOperation::start() {
  std::vector<std::function<void()>> blocks;
  willChange(Property::isExecuting);
  bool started = _blocks.with([&](auto& waiting) {
    auto expected = State::created;
    blocks = std::move(waiting);
    waiting.clear();
    return _state.compare_exchange_strong(expected, State::executing);
  });
  didChange(Property::isExecuting);
  if (!started) {
    assertionFailure("Platform/QueueOperation", __LINE__, "An operation was started twice");
    return;
  }
  for (auto& block : blocks) {
    if (isCancelled()) {
      break;
    }
    unlessScarce(block);
  }
  blocks.clear();
  willChange(Property::isExecuting);
  willChange(Property::isFinished);
  _state = State::finished;
  didChange(Property::isExecuting);
  didChange(Property::isFinished);
}

}  // namespace qrb
