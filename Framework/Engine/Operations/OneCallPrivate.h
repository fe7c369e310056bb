#pragma once

#include <functional>
#include <utility>

#include "Guarded.h"
#include "Scarcity.h"

namespace qrb {

/// A caller's completion, of which only the first call counts. What it holds is let go with that call, though replies
/// that are still to come hold on to this. Any thread.
template <class... Values>
class OneCall {
 public:
  using Function = std::function<void(const Values&...)>;

  explicit OneCall(Function function) : _function(std::move(function)) {}

  /// Once called the caller has been answered, whatever he lacks memory for himself.
  void operator()(const Values&... value) {
    Function called;
    _function.with([&](Function& held) { called.swap(held); });
    if (called) unlessScarce([&] { called(value...); });
  }

 private:
  Guarded<Function> _function;
};

}  // namespace qrb
