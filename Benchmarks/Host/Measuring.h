#pragma once

#include <sys/resource.h>

#include <chrono>
#include <vector>

/// How long something took and what it cost, in the units that the report prints.
namespace measuring {

using Clock = std::chrono::steady_clock;

inline double milliseconds(Clock::duration duration) {
  return std::chrono::duration<double, std::milli>(duration).count();
}

/// User and system time together.
double milliseconds(const rusage& usage);

/// CPU time of this process so far, and of its children that have ended and were waited for, with theirs.
double ownCPU();
double childrenCPU();

/// CPU time of one living process without the processes it started, and of those of them that have ended. To 10 ms.
struct ProcessCPU {
  double own = 0;
  double ended = 0;
};
ProcessCPU cpuOf(int pid);

/// Processes below this one, in any generation.
std::vector<int> descendants();

/// Memory that this process has in RAM, in bytes.
double residentBytes();

/// Waits until every child has ended and was waited for, by whoever does that.
void waitForChildren();

}  // namespace measuring
