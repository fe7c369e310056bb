#include "ServiceOutputPrivate.h"

#include <sys/epoll.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <mutex>
#include <thread>
#include <unordered_map>

#include "BackgroundThread.h"
#include "Log.h"

namespace qrb {

namespace {

// A service that writes without line ends must not fill the host's memory.
constexpr std::size_t kLongestLine = std::size_t{16} << 10;

// One thread reads every service's stderr: it is rarely used, and a thread or a poll entry for each would be a price
// that every request pays.
class OutputCollector {
 public:
  static OutputCollector& shared() {
    static auto* collector = new OutputCollector;
    return *collector;
  }

  FileDescriptor collect(const std::string& name) {
    DescriptorPair pipe = makePipe();
    if (!pipe || !pipe.first.setNonBlocking(true)) return {};
    std::lock_guard lock(_mutex);
    if (!_epoll.valid()) {
      _epoll.reset(::epoll_create1(EPOLL_CLOEXEC));
      if (!_epoll.valid()) return {};
      if (!startBackgroundThread([this] { serve(); })) {
        _epoll.reset();
        return {};
      }
    }
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = pipe.first.get();
    if (::epoll_ctl(_epoll.get(), EPOLL_CTL_ADD, pipe.first.get(), &event) != 0) return {};
    int descriptor = pipe.first.get();
    _sources.emplace(descriptor, std::make_unique<Source>(Source{std::move(pipe.first), name, {}}));
    return std::move(pipe.second);
  }

 private:
  struct Source {
    FileDescriptor descriptor;
    std::string name;
    std::string line;
  };

  void serve() {
    for (;;) {
      epoll_event events[16];
      int count = ::epoll_wait(_epoll.get(), events, 16, -1);
      if (count < 0 && errno != EINTR) return;
      for (int index = 0; index < count; ++index) readFrom(events[index].data.fd);
    }
  }

  void readFrom(int descriptor) {
    Source* source = nullptr;
    {
      std::lock_guard lock(_mutex);
      auto place = _sources.find(descriptor);
      if (place == _sources.end()) return;
      source = place->second.get();
    }
    char bytes[4096];
    ssize_t count = ::read(descriptor, bytes, sizeof bytes);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (count > 0) return take(*source, {bytes, static_cast<std::size_t>(count)});
    if (!source->line.empty()) log(source->name, source->line);
    std::lock_guard lock(_mutex);
    _sources.erase(descriptor);
  }

  static void take(Source& source, std::string_view bytes) {
    for (char byte : bytes) {
      if (byte != '\n') source.line += byte;
      if (byte == '\n' || source.line.size() >= kLongestLine) {
        log(source.name, source.line);
        source.line.clear();
      }
    }
  }

  std::mutex _mutex;
  FileDescriptor _epoll;
  std::unordered_map<int, std::unique_ptr<Source>> _sources;
};

}  // namespace

FileDescriptor collectServiceOutput(const std::string& serviceName) {
  return hasLogHandler() ? OutputCollector::shared().collect(serviceName) : FileDescriptor();
}

}  // namespace qrb
