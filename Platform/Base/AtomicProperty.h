#pragma once

#include <mutex>
#include <utility>

namespace qrb {

/// One field of an object that several threads share: every read and every write of it is indivisible, and nothing is
/// promised across fields.
template <class T>
class Atomic {
 public:
  Atomic() = default;
  explicit Atomic(T value) : _value(std::move(value)) {}
  Atomic(const Atomic&) = delete;
  Atomic& operator=(const Atomic&) = delete;

  T get() const {
    std::lock_guard lock(_mutex);
    return _value;
  }
  void set(T value) {
    // What was there is destroyed by `value`'s end, outside the lock: its destructor may do anything.
    std::lock_guard lock(_mutex);
    std::swap(_value, value);
  }

 private:
  mutable std::mutex _mutex;
  T _value{};
};

}  // namespace qrb
