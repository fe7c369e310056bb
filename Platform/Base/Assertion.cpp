#include "Assertion.h"

#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <utility>

namespace qrb {
namespace {

struct Current {
  std::mutex mutex;
  AssertionHandler handler;
};

Current& current() {
  // Never destroyed: errors are reported while the program's static objects go, too.
  static auto* const instance = new Current;
  return *instance;
}

}  // namespace

void assertionFailure(std::string_view file, int line, std::string_view message) {
  AssertionHandler handler;
  {
    Current& shared = current();
    std::lock_guard lock(shared.mutex);
    handler = shared.handler;
  }
  if (handler) {
    handler(file, line, message);
    return;
  }
  std::fprintf(stderr, "%.*s:%d: %.*s\n", static_cast<int>(file.size()), file.data(), line,
               static_cast<int>(message.size()), message.data());
  std::abort();
}

AssertionHandler setAssertionHandler(AssertionHandler handler) {
  Current& shared = current();
  std::lock_guard lock(shared.mutex);
  return std::exchange(shared.handler, std::move(handler));
}

}  // namespace qrb
