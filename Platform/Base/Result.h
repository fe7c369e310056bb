#pragma once

#include <cstdlib>
#include <optional>
#include <type_traits>
#include <utility>

#include "Assertion.h"
#include "Error.h"

namespace qrb {

/// What a step that can fail has come to: its value, or the error that says why there is none; never both, never
/// neither. A value, and as safe between threads as what it holds. Success without a value is what `Error` alone says.
template <class T>
class [[nodiscard]] Result {
  static_assert(std::is_object_v<T> && !std::is_same_v<T, Error>);
  // Whether there is one would be taken for the value.
  static_assert(!std::is_same_v<T, bool>);

 public:
  Result(T value) : _value(std::move(value)) {}
  /// None in place of an error is a programming error, and ends the program.
  Result(Error error) : _error(std::move(error)) { require(static_cast<bool>(_error), "A failure has no error"); }

  /// Whether there is a value.
  explicit operator bool() const noexcept { return _value.has_value(); }
  /// None where there is a value.
  const Error& error() const noexcept { return _error; }

  // The value. To ask for it where there is none is a programming error, and ends the program.

  T& operator*() & noexcept { return value(); }
  const T& operator*() const& noexcept { return const_cast<Result*>(this)->value(); }
  T&& operator*() && noexcept { return std::move(value()); }
  T* operator->() noexcept { return &value(); }
  const T* operator->() const noexcept { return &const_cast<Result*>(this)->value(); }

  /// The value, or `otherwise` where there is none: for those who are told of value and error side by side.
  T valueOr(T otherwise) const& { return _value.value_or(std::move(otherwise)); }
  T valueOr(T otherwise) && { return std::move(_value).value_or(std::move(otherwise)); }

 private:
  static void require(bool holds, const char* problem) {
    if (holds) return;
    assertionFailure("Platform/Result", __LINE__, problem);
    // Whoever is told of it may return; what there is not cannot be handed out.
    std::abort();
  }

  T& value() noexcept {
    require(_value.has_value(), "A failure was asked for its value");
    return *_value;
  }

  std::optional<T> _value;
  Error _error;
};

}  // namespace qrb
