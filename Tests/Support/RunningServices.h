#pragma once

#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "Descriptors.h"
#include "FileDescriptor.h"

namespace qrb::test {

inline std::string textOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// The processes of a service or plug-in of that name that this process launched.
inline std::vector<pid_t> processesOf(const std::string& name) {
  std::vector<pid_t> result;
  for (const ProcessEntry& entry : childProcesses()) {
    std::string program = textOfProcess(entry.id, "cmdline");
    if (program.substr(0, program.find('\0')).ends_with("." + name)) result.push_back(entry.id);
  }
  return result;
}

/// Kills every process of that name and waits for its end.
inline void killService(const std::string& name) {
  for (pid_t process : processesOf(name)) {
    FileDescriptor end(static_cast<int>(::syscall(SYS_pidfd_open, process, 0)));
    ::kill(process, SIGKILL);
    pollfd over{end.get(), POLLIN, 0};
    if (end.valid()) ::poll(&over, 1, -1);
  }
}

}  // namespace qrb::test
