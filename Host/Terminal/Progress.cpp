#include "Progress.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string_view>

#include "Text.h"

namespace host {

namespace {

constexpr std::chrono::milliseconds kPatience{300};
constexpr int kBarWidth = 24;

void writeToError(std::string_view text) {
  // Nothing is lost with what cannot be shown.
  [[maybe_unused]] ssize_t written = ::write(STDERR_FILENO, text.data(), text.size());
}

std::string bar(double fraction) {
  int full = std::clamp(static_cast<int>(fraction * kBarWidth), 0, kBarWidth);
  std::string text = "[" + std::string(static_cast<std::size_t>(full), '#');
  text += std::string(static_cast<std::size_t>(kBarWidth - full), ' ') + "]";
  char percent[16];
  std::snprintf(percent, sizeof percent, " %3d%% ", std::clamp(static_cast<int>(fraction * 100), 0, 100));
  return text + percent;
}

}  // namespace

Progress::Progress() : _isTerminal(::isatty(STDERR_FILENO) != 0) {}

void Progress::start(std::string label) {
  std::lock_guard lock(_mutex);
  _running = true;
  _started = Clock::now();
  _text = std::move(label);
  _fraction = 0;
}

void Progress::update(std::string text, double fraction) {
  std::lock_guard lock(_mutex);
  if (!text.empty()) _text = std::move(text);
  _fraction = fraction;
}

void Progress::tick() {
  std::lock_guard lock(_mutex);
  auto now = Clock::now();
  if (!_isTerminal || !_running || now - _started < kPatience || now - _lastDrawn < interval) return;
  _lastDrawn = now;
  _drawn = true;
  char seconds[32];
  std::snprintf(seconds, sizeof seconds, " (%.0f s)", std::chrono::duration<double>(now - _started).count());
  std::string text = displayText(_text);
  std::replace(text.begin(), text.end(), '\n', ' ');
  writeToError("\r\033[K" + (_fraction > 0 ? bar(_fraction) : std::string()) + text.substr(0, 40) + seconds);
}

void Progress::clear() {
  std::lock_guard lock(_mutex);
  clearLocked();
}

void Progress::clearLocked() {
  if (_drawn) writeToError("\r\033[K");
  _drawn = false;
}

void Progress::stop() {
  std::lock_guard lock(_mutex);
  clearLocked();
  _running = false;
}

}  // namespace host
