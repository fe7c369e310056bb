#include "Log.h"

#include <mutex>

namespace qrb {

namespace {

struct Sink {
  std::mutex mutex;
  LogHandler handler;
};

// Never destroyed: threads may still log while the process exits.
Sink& sink() {
  static auto* shared = new Sink;
  return *shared;
}

}  // namespace

void setLogHandler(LogHandler handler) {
  std::lock_guard lock(sink().mutex);
  sink().handler = std::move(handler);
}

bool hasLogHandler() {
  std::lock_guard lock(sink().mutex);
  return static_cast<bool>(sink().handler);
}

void log(std::string_view source, std::string_view text) {
  std::lock_guard lock(sink().mutex);
  if (sink().handler) sink().handler(source, text);
}

}  // namespace qrb
