#pragma once

#include <sys/types.h>

#include <algorithm>
#include <chrono>
#include <thread>

#include "ProcessTable.h"

/// Asks again, at growing intervals, until the answer is yes or the patience is over.
template <class Question>
bool becomesTrue(std::chrono::steady_clock::duration patience, Question&& question) {
  auto end = std::chrono::steady_clock::now() + patience;
  for (auto pause = std::chrono::milliseconds(1); !question();
       pause = std::min(pause * 2, std::chrono::milliseconds(20))) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(pause);
  }
  return true;
}

/// Waits until nothing of a process group runs but one process that is not asked about (0: none). Whoever started the
/// group ends it; where that one is gone as well, it has lost what it talks to and is not waited for without end. False
/// where it goes on.
inline bool awaitEndOfGroup(pid_t group, pid_t besides = 0) {
  return becomesTrue(std::chrono::seconds(30), [=] { return !qrb::isGroupRunning(group, besides); });
}
