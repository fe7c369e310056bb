#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

#include "ConditionLock.h"
#include "Localization.h"
#include "QRBSourceControlManager.h"
#include "QRBSourceControlProxyPrivate.h"
#include "Scarcity.h"

namespace qrb {

/// Makes replies the steps of a sequence: one thread asks and waits, and whatever settles the question lets it go on.
class ReplyStep {
 public:
  /// Names one question, so that an answer or a loss which comes too late settles no later one.
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
  /// Calls `take` with the lock held and lets the waiting thread go on; false when nobody waits for this any more.
  template <class Take>
  bool settle(Ticket ticket, Take take) {
    _lock.lock();
    bool current = _lock.condition() == kAwaitingReply && ticket == _ticket;
    // An answer that finds no memory counts as none.
    if (current) unlessScarce(take);
    return finish(current);
  }
  /// Lets the waiting thread go on whatever it has asked, since nothing more is wanted; false when none waits.
  bool abandon() {
    _lock.lock();
    return finish(_lock.condition() == kAwaitingReply);
  }
  void await() {
    _lock.lockWhenCondition(kReplied);
    _lock.unlockWithCondition(kIdle);
  }
  /// Waits no longer than that; false when nothing came, and what comes now settles nothing.
  bool awaitFor(std::chrono::milliseconds limit) {
    bool inTime = _lock.lockWhenConditionBefore(kReplied, std::chrono::steady_clock::now() + limit);
    if (!inTime) _lock.lock();
    bool settled = _lock.condition() == kReplied;
    _lock.unlockWithCondition(kIdle);
    return settled;
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

}  // namespace qrb
