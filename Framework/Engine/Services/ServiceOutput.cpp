#include "ServiceOutputPrivate.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <vector>

#include "BackgroundThread.h"
#include "Log.h"
#include "Scarcity.h"
#include "ServiceProcesses.h"

namespace qrb {

namespace {

// A service that writes without line ends must not fill the host's memory.
constexpr std::size_t kLongestLine = std::size_t{16} << 10;
constexpr std::size_t kPieceSize = 4096;
constexpr std::size_t kLargestPipe = std::size_t{1} << 20;

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
    if (!_epoll.valid() && !start()) return {};
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = pipe.first.get();
    if (::epoll_ctl(_epoll.get(), EPOLL_CTL_ADD, pipe.first.get(), &event) != 0) return {};
    int descriptor = pipe.first.get();
    _sources.emplace(descriptor, std::make_unique<Source>(Source{std::move(pipe.first), name, {}}));
    return std::move(pipe.second);
  }

  void drain() {
    std::unique_lock lock(_mutex);
    if (!_epoll.valid()) return;
    std::uint64_t wanted = ++_drainsWanted;
    ::eventfd_write(_drainRequests.get(), 1);
    _drained.wait(lock, [&] { return _drainsDone >= wanted; });
  }

 private:
  struct Source {
    FileDescriptor descriptor;
    std::string name;
    std::string line;
  };

  // With the mutex held.
  bool start() {
    FileDescriptor epoll(::epoll_create1(EPOLL_CLOEXEC));
    _drainRequests.reset(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = _drainRequests.get();
    if (!epoll.valid() || !_drainRequests.valid()) return false;
    if (::epoll_ctl(epoll.get(), EPOLL_CTL_ADD, _drainRequests.get(), &event) != 0) return false;
    _epoll = std::move(epoll);
    if (startBackgroundThread([this] { serve(); })) return true;
    _epoll.reset();
    return false;
  }

  void serve() {
    for (;;) {
      epoll_event events[16];
      int count = ::epoll_wait(_epoll.get(), events, 16, -1);
      if (count < 0 && errno != EINTR) return;
      for (int index = 0; index < count; ++index) {
        // A line that there is no memory for is lost.
        unlessScarce([&, descriptor = events[index].data.fd] {
          descriptor == _drainRequests.get() ? readEverything() : static_cast<void>(readFrom(descriptor));
        });
      }
    }
  }

  void readEverything() {
    eventfd_t count = 0;
    ::eventfd_read(_drainRequests.get(), &count);
    std::uint64_t wanted = 0;
    std::vector<int> descriptors;
    unlessScarce([&] {
      {
        std::lock_guard lock(_mutex);
        wanted = _drainsWanted;
        for (const auto& [descriptor, source] : _sources) descriptors.push_back(descriptor);
      }
      for (int descriptor : descriptors) {
        // No more than a pipe can hold, so that one who never stops writing keeps nobody waiting.
        for (std::size_t read = 0; read < kLargestPipe && readFrom(descriptor); read += kPieceSize) {
        }
      }
    });
    std::lock_guard lock(_mutex);
    _drainsDone = wanted;
    _drained.notify_all();
  }

  // False when there is nothing more for now.
  bool readFrom(int descriptor) {
    Source* source = nullptr;
    {
      std::lock_guard lock(_mutex);
      auto place = _sources.find(descriptor);
      if (place == _sources.end()) return false;
      source = place->second.get();
    }
    char bytes[kPieceSize];
    ssize_t count = ::read(descriptor, bytes, sizeof bytes);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) return false;
    if (count > 0) {
      take(*source, {bytes, static_cast<std::size_t>(count)});
      return true;
    }
    if (!source->line.empty()) log(source->name, source->line);
    std::lock_guard lock(_mutex);
    _sources.erase(descriptor);
    return false;
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
  FileDescriptor _drainRequests;
  std::condition_variable _drained;
  std::uint64_t _drainsWanted = 0;
  std::uint64_t _drainsDone = 0;
  std::unordered_map<int, std::unique_ptr<Source>> _sources;
};

}  // namespace

FileDescriptor collectServiceOutput(const std::string& serviceName) {
  return hasLogHandler() ? OutputCollector::shared().collect(serviceName) : FileDescriptor();
}

void drainServiceOutput() {
  if (hasLogHandler()) OutputCollector::shared().drain();
}

}  // namespace qrb
