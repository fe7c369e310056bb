#include "ConditionLock.h"

#include <utility>

#include "Assertion.h"

namespace qrb {

ConditionLock::ConditionLock(std::string name, long condition) : _name(std::move(name)), _condition(condition) {}

void ConditionLock::lock() {
  std::unique_lock lock(_mutex);
  _changed.wait(lock, [this] { return !_locked; });
  _locked = true;
}

void ConditionLock::lockWhenCondition(long condition) {
  std::unique_lock lock(_mutex);
  _changed.wait(lock, [this, condition] { return !_locked && _condition == condition; });
  _locked = true;
}

bool ConditionLock::lockWhenConditionBefore(long condition, std::chrono::steady_clock::time_point end) {
  std::unique_lock lock(_mutex);
  if (!_changed.wait_until(lock, end, [this, condition] { return !_locked && _condition == condition; })) return false;
  _locked = true;
  return true;
}

void ConditionLock::unlock() {
  if (!release(nullptr)) {
    assertionFailure("Platform/ConditionLock", __LINE__, "\"" + _name + "\" was unlocked while it was not locked");
  }
}

void ConditionLock::unlockWithCondition(long condition) {
  if (!release(&condition)) {
    assertionFailure("Platform/ConditionLock", __LINE__, "\"" + _name + "\" was unlocked while it was not locked");
  }
}

bool ConditionLock::release(const long* condition) {
  std::lock_guard lock(_mutex);
  if (!_locked) {
    return false;
  }
  _locked = false;
  if (condition) {
    _condition = *condition;
  }
  // All are told, since those who wait may want different conditions. The mutex is still held, since whoever takes the
  // lock next may destroy it.
  _changed.notify_all();
  return true;
}

long ConditionLock::condition() const {
  std::lock_guard lock(_mutex);
  return _condition;
}

}  // namespace qrb
