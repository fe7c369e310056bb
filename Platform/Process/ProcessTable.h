#pragma once

#include <sys/types.h>

#include <functional>
#include <string>

namespace qrb {

/// What the system's process table tells of one process.
struct ProcessEntry {
  pid_t id = 0;
  /// The name of its program, cut to what the system keeps of it.
  std::string name;
  pid_t group = 0;
  /// It has ended, and whoever started it has not taken notice yet.
  bool isOver = false;
};

/// Calls `visit` for one process after the other until it answers false. A process that begins meanwhile may be missed.
void forEachProcess(const std::function<bool(const ProcessEntry&)>& visit);

/// Whether a process group has a member that runs, besides one that is not asked about (0: none).
bool isGroupRunning(pid_t group, pid_t besides = 0);

}  // namespace qrb
