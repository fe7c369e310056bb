#include "Log.h"

#include <memory>
#include <mutex>

#include "URLsInText.h"

namespace qrb {

namespace {

struct Sink {
  // Recursive: what a handler does may be worth a line to the log.
  std::recursive_mutex mutex;
  std::shared_ptr<const LogHandler> handler;
};

// Never destroyed: threads may still log while the process exits.
Sink& sink() {
  static auto* shared = new Sink;
  return *shared;
}

}  // namespace

void setLogHandler(LogHandler handler) {
  std::lock_guard lock(sink().mutex);
  sink().handler = handler ? std::make_shared<const LogHandler>(std::move(handler)) : nullptr;
}

bool hasLogHandler() {
  std::lock_guard lock(sink().mutex);
  return sink().handler != nullptr;
}

void log(std::string_view source, std::string_view text) {
  std::lock_guard lock(sink().mutex);
  // A copy: the handler may replace itself.
  if (auto handler = sink().handler) (*handler)(source, withoutPasswordsOfURLs(text));
}

}  // namespace qrb
