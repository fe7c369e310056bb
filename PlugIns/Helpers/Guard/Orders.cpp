#include "Orders.h"

#include <unistd.h>

#include <cerrno>

bool Orders::fill() {
  _read.erase(0, _place);
  _place = 0;
  constexpr std::size_t piece = 64 * 1024;
  std::size_t before = _read.size();
  _read.resize(before + piece);
  ssize_t got;
  do {
    got = ::read(STDIN_FILENO, _read.data() + before, piece);
  } while (got < 0 && errno == EINTR);
  _read.resize(before + static_cast<std::size_t>(got > 0 ? got : 0));
  return got > 0;
}

std::optional<std::string> Orders::nextLine() {
  for (;;) {
    std::size_t end = _read.find('\n', _place);
    if (end != std::string::npos) {
      std::string line = _read.substr(_place, end - _place);
      _place = end + 1;
      return line;
    }
    if (!fill()) return std::nullopt;
  }
}

std::optional<std::string> Orders::nextBytes(std::size_t count) {
  while (_read.size() - _place < count) {
    if (!fill()) return std::nullopt;
  }
  std::string bytes = _read.substr(_place, count);
  _place += count;
  return bytes;
}

void say(const std::string& line) {
  std::string text = line + "\n";
  while (::write(STDOUT_FILENO, text.data(), text.size()) < 0 && errno == EINTR) {
  }
}
