#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>

namespace qrb {

/// A lock that carries a number, and that can be waited for until the number has a given value: what turns a reply on
/// another thread into the next step of a sequence. Not recursive. Any thread may release it, not only the one that
/// took it. Releasing a lock that nobody holds is a programming error, after which nothing has changed.
class ConditionLock {
 public:
  /// `name` is for people who debug. The lock is free at first.
  ConditionLock(std::string name, long condition);

  /// Waits until the lock is free, whatever its condition, and takes it.
  void lock();
  /// Waits until the lock is free and its condition is `condition`, and takes it.
  void lockWhenCondition(long condition);
  /// Waits as lockWhenCondition() does, but no longer than until a time: false then, and the lock is not taken.
  bool lockWhenConditionBefore(long condition, std::chrono::steady_clock::time_point end);
  /// Releases the lock; its condition stays.
  void unlock();
  /// Sets the condition and releases the lock.
  void unlockWithCondition(long condition);

  /// The condition at this moment; without holding the lock it may be another one at the next.
  long condition() const;
  const std::string& name() const { return _name; }

 private:
  bool release(const long* condition);

  const std::string _name;
  mutable std::mutex _mutex;
  std::condition_variable _changed;
  bool _locked = false;
  long _condition;
};

}  // namespace qrb
