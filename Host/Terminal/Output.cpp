#include "Output.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <utility>

namespace host {

namespace {

constexpr std::size_t kFlushSize = std::size_t{64} << 10;
// What a pipe that says it is writable takes without blocking.
constexpr std::size_t kChunkSize = 4096;
constexpr std::chrono::milliseconds kLastPatience{1000};

std::string_view escapeCode(Style style) {
  switch (style) {
    case Style::plain:
      return "";
    case Style::bold:
      return "\033[1m";
    case Style::dim:
      return "\033[2m";
    case Style::red:
      return "\033[31m";
    case Style::green:
      return "\033[32m";
    case Style::yellow:
      return "\033[33m";
    case Style::blue:
      return "\033[34m";
    case Style::cyan:
      return "\033[36m";
  }
  return "";
}

}  // namespace

bool wantsColour(int descriptor) {
  if (::isatty(descriptor) == 0) return false;
  const char* refusal = std::getenv("NO_COLOR");
  if (refusal != nullptr && *refusal != '\0') return false;
  const char* terminal = std::getenv("TERM");
  return terminal == nullptr || std::string_view(terminal) != "dumb";
}

Output::Output()
    : _isTerminal(::isatty(STDOUT_FILENO) != 0),
      _hasColour(wantsColour(STDOUT_FILENO)),
      _stop(::eventfd(0, EFD_CLOEXEC)) {
  struct stat status {};
  _mayBlock = ::fstat(STDOUT_FILENO, &status) == 0 && !S_ISREG(status.st_mode);
}

void Output::setHooks(std::function<void()> beforeTerminalWrite, std::function<void()> onLoss) {
  _beforeTerminalWrite = std::move(beforeTerminalWrite);
  _onLoss = std::move(onLoss);
}

void Output::write(std::string_view text) {
  _pending.append(text);
  if (_pending.size() >= kFlushSize) flush();
}

void Output::write(Style style, std::string_view text) {
  if (!_hasColour || style == Style::plain) return write(text);
  _pending.append(escapeCode(style)).append(text).append("\033[0m");
  if (_pending.size() >= kFlushSize) flush();
}

void Output::flush() {
  if (_pending.empty()) return;
  if (_isTerminal && _beforeTerminalWrite) _beforeTerminalWrite();
  std::string_view rest = _pending;
  while (!rest.empty() && !isLost()) {
    if (_mayBlock && !waitUntilWritable()) break;
    ssize_t count = ::write(STDOUT_FILENO, rest.data(), _mayBlock ? std::min(rest.size(), kChunkSize) : rest.size());
    if (count >= 0) {
      rest.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno != EINTR && errno != EAGAIN) {
      lose(errno);
    }
  }
  _pending.clear();
}

// False when nobody takes more and waiting is over.
bool Output::waitUntilWritable() {
  pollfd sources[] = {{STDOUT_FILENO, POLLOUT, 0}, {_stop, POLLIN, 0}};
  while (::poll(sources, 2, -1) < 0) {
    if (errno != EINTR) return true;  // write() will say what is wrong
  }
  if (sources[0].revents != 0) return true;
  // A slow reader is given the time to take what is complete; one that has stopped reading is not waited for again.
  int patience = std::exchange(_hasGivenUp, true) ? 0 : static_cast<int>(kLastPatience.count());
  bool isWritable = ::poll(sources, 1, patience) != 0;
  _hasGivenUp = !isWritable;
  return isWritable;
}

void Output::stopWaiting() {
  std::uint64_t one = 1;
  [[maybe_unused]] ssize_t written = ::write(_stop, &one, sizeof one);
}

void Output::lose(int error) {
  int none = 0;
  if (_error.compare_exchange_strong(none, error) && _onLoss) _onLoss();
}

}  // namespace host
