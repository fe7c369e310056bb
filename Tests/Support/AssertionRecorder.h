#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Assertion.h"

namespace qrb::test {

/// Collects assertions instead of aborting, for as long as it lives.
class AssertionRecorder {
 public:
  AssertionRecorder()
      : _previous(setAssertionHandler(
            [this](std::string_view, int, std::string_view message) { messages.emplace_back(message); })) {}
  ~AssertionRecorder() { setAssertionHandler(std::move(_previous)); }
  AssertionRecorder(const AssertionRecorder&) = delete;
  AssertionRecorder& operator=(const AssertionRecorder&) = delete;

  std::vector<std::string> messages;

 private:
  AssertionHandler _previous;
};

}  // namespace qrb::test
