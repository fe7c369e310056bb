#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Export.h"
#include "Guarded.h"
#include "Observer.h"

namespace qrb {

/// One unit of work for an OperationQueue. The queue calls start() once, on a worker thread; start() may return before
/// the work is done: the operation is over when isFinished() is true and that change has been announced. Subclasses
/// announce their changes with willChange() and didChange(); announcing the same end twice is harmless. Any thread.
class QRB_EXPORT QueueOperation {
 public:
  enum class Property { isReady, isExecuting, isFinished, isIdle };
  enum class Phase { willChange, didChange };

  virtual ~QueueOperation() = default;

  virtual void start() = 0;
  /// Asks the work to stop; it finishes by itself. The base class only sets isCancelled().
  virtual void cancel() { _cancelled = true; }
  virtual bool isCancelled() const { return _cancelled; }
  /// A queue does not start an operation that is not ready; announce the change to true. Asked with the queue's lock
  /// held: answer at once and call nothing.
  virtual bool isReady() const { return true; }
  virtual bool isExecuting() const = 0;
  virtual bool isFinished() const = 0;
  /// Whether it only waits for somebody (a person's answer, its cancellation) and a queue may start another in its
  /// place; announce its changes. Asked with the queue's lock held.
  virtual bool isIdle() const { return false; }

  /// Empty until set.
  std::string name() const;
  void setName(std::string name);

  /// The callback hears of every change of the operation's flags, before and after, on the thread that makes it.
  [[nodiscard]] ObserverToken observe(std::function<void(Property, Phase)> callback);

  /// Blocks until isFinished() is true. The caller holds a reference; not from the work itself nor from an observer.
  void waitUntilFinished();

 protected:
  void willChange(Property property) const { _observers.notify(property, Phase::willChange); }
  /// A queue drops its reference inside didChange(isFinished), and it may be the last: the caller holds one of its own
  /// when it touches the operation afterwards.
  void didChange(Property property) const { _observers.notify(property, Phase::didChange); }

 private:
  std::atomic<bool> _cancelled = false;
  Guarded<std::string> _name;
  ObserverList<Property, Phase> _observers;
};

/// An operation made of functions: start() runs them one after another on the calling thread and finishes. When it is
/// cancelled, those that have not begun are skipped.
class QRB_EXPORT BlockOperation : public QueueOperation {
 public:
  BlockOperation() = default;
  explicit BlockOperation(std::function<void()> block) { addExecutionBlock(std::move(block)); }

  /// Adds a function behind the others; once start() has begun that is a programming error and nothing is added. The
  /// functions and what they hold are released when the operation finishes.
  void addExecutionBlock(std::function<void()> block);

  void start() override;
  bool isExecuting() const override { return _state == State::executing; }
  bool isFinished() const override { return _state == State::finished; }

 private:
  enum class State { created, executing, finished };

  std::atomic<State> _state = State::created;
  Guarded<std::vector<std::function<void()>>> _blocks;
};

}  // namespace qrb
