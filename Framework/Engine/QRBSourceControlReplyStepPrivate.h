#pragma once

#include <cstdint>

#include "ConditionLock.h"
#include "Localization.h"
#include "QRBSourceControlManager.h"
#include "QRBSourceControlProxyPrivate.h"
#include "Scarcity.h"

namespace qrb {

/// Makes replies the steps of a sequence: one thread asks and waits, and whatever settles the question lets it go on.
class ReplyStep {
 public:
  /// Names one question, so that an answer which comes too late settles no later one.
  using Ticket = std::uint64_t;

  explicit ReplyStep(const char* selector)
      : _lock(format("%@ Condition Lock (%@)", {selector, "conditionLock"}), kIdle) {}

  /// The waiting thread, before it asks: what ends the question may come before the question has gone out.
  Ticket begin() {
    _lock.lockWhenCondition(kIdle);
    Ticket ticket = ++_ticket;
    _lock.unlockWithCondition(kAwaitingReply);
    return ticket;
  }
  /// Takes the answer, with the lock held, and lets the waiting thread go on; false when nobody waits for this answer.
  template <class Take>
  bool answer(Ticket ticket, Take take) {
    _lock.lock();
    bool current = _lock.condition() == kAwaitingReply && ticket == _ticket;
    // An answer that there is no memory for is none.
    if (current) unlessScarce(take);
    return finish(current);
  }
  /// Lets the waiting thread go on without an answer; false when none waits.
  bool release() {
    _lock.lock();
    return finish(_lock.condition() == kAwaitingReply);
  }
  void await() {
    _lock.lockWhenCondition(kReplied);
    _lock.unlockWithCondition(kIdle);
  }

 private:
  // With the lock held, which is never held for long: whoever settles the question waits for it rather than miss it.
  bool finish(bool settled) {
    settled ? _lock.unlockWithCondition(kReplied) : _lock.unlock();
    return settled;
  }

  static constexpr long kIdle = 0;
  static constexpr long kAwaitingReply = -1;
  static constexpr long kReplied = -2;

  ConditionLock _lock;
  Ticket _ticket = 0;
};

/// Asks one plug-in and returns once it has answered, has died, or the operation was cancelled; its process is ended
/// then. `proxy` makes the proxy or none; `ask` gets it and the ticket to answer with.
template <class MakeProxy, class Ask>
void askPlugIn(const QRBSourceControlManagerPtr& manager, const QRBSourceControlOperationPtr& operation,
               ReplyStep& step, MakeProxy makeProxy, Ask ask) {
  ReplyStep::Ticket ticket = step.begin();
  const bool asked = unlessScarce([&] {
    QRBSourceControlProxy proxy = makeProxy();
    proxy ? ask(proxy, ticket) : static_cast<void>(step.release());
  });
  // As a plug-in that cannot be launched, one that cannot be asked contributes nothing.
  if (!asked) step.release();
  step.await();
  manager->invalidateProcessForOperation(operation, false);
}

}  // namespace qrb
