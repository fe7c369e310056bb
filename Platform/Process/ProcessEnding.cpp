#include "ProcessEnding.h"

#include <signal.h>

#include <algorithm>

namespace qrb {

void ProcessEnding::begin(const Process& process, Clock::time_point now, std::chrono::milliseconds patience) {
  _state = State::asked;
  _killTime = now + patience;
  if (!process.signalGroup(SIGTERM)) process.kill(SIGTERM);
}

bool ProcessEnding::proceed(const Process& process, Clock::time_point now) {
  if (_state != State::asked || now < _killTime) return false;
  kill(process, now);
  return true;
}

void ProcessEnding::kill(const Process& process, Clock::time_point now) {
  _state = State::killed;
  _killTime = std::min(_killTime, now);
  process.kill(SIGKILL);
  process.signalGroup(SIGKILL);
}

}  // namespace qrb
