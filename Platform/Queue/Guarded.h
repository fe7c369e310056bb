#pragma once

#include <mutex>
#include <utility>

namespace qrb {

/// A value that can only be reached with its mutex held. `with` calls its function with the value and returns what the
/// function returns; let no reference out, and call nothing unknown inside.
template <typename T>
class Guarded {
 public:
  Guarded() = default;
  explicit Guarded(T value) : _value(std::move(value)) {}

  template <typename Function>
  decltype(auto) with(Function&& function) {
    std::lock_guard lock(_mutex);
    return std::forward<Function>(function)(_value);
  }
  template <typename Function>
  decltype(auto) with(Function&& function) const {
    std::lock_guard lock(_mutex);
    return std::forward<Function>(function)(_value);
  }

 private:
  mutable std::mutex _mutex;
  T _value{};
};

}  // namespace qrb
