#pragma once

#include <dirent.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

/// What this process holds of the system, read from /proc: for tests that nothing is left behind. A count is of one
/// moment; where something still ends, wait for that end and then count.
namespace qrb::test {

/// What /proc says of one process.
struct ProcessEntry {
  pid_t id = 0;
  std::string name;  ///< of the program, cut to 15 bytes by the kernel
  char state = '?';  ///< 'Z' for one that ended and was not waited for
  pid_t parent = 0;
  pid_t group = 0;
  pid_t session = 0;
};

namespace detail {

inline std::vector<long> numbersIn(const char* directory) {
  const std::unique_ptr<DIR, int (*)(DIR*)> stream(opendir(directory), closedir);
  if (!stream) {
    throw std::system_error(errno, std::generic_category(), directory);
  }
  std::vector<long> numbers;
  while (const dirent* entry = readdir(stream.get())) {
    char* end = nullptr;
    long number = std::strtol(entry->d_name, &end, 10);
    // The folder's own descriptor is open only for this reading.
    if (end != entry->d_name && *end == '\0' &&
        !(std::string(directory) == "/proc/self/fd" && number == dirfd(stream.get()))) {
      numbers.push_back(number);
    }
  }
  std::sort(numbers.begin(), numbers.end());
  return numbers;
}

}  // namespace detail

/// The numbers of the open descriptors of this process, ascending.
inline std::vector<int> openDescriptors() {
  std::vector<long> numbers = detail::numbersIn("/proc/self/fd");
  return {numbers.begin(), numbers.end()};
}

/// The number of threads of this process, the caller included.
inline size_t threadCount() {
  return detail::numbersIn("/proc/self/task").size();
}

/// Every process of the machine that satisfies the condition, those that ended and were not waited for included.
inline std::vector<ProcessEntry> processesWhere(const std::function<bool(const ProcessEntry&)>& condition) {
  std::vector<ProcessEntry> result;
  for (long id : detail::numbersIn("/proc")) {
    std::ifstream file("/proc/" + std::to_string(id) + "/stat");
    std::string line;
    // A process that ends between opening and reading leaves no line.
    std::getline(file, line, '\0');
    // The name stands in brackets and may itself hold any character, so the last closing one ends it.
    size_t open = line.find('(');
    size_t close = line.rfind(')');
    if (open == std::string::npos || close == std::string::npos) {
      continue;  // it ended since the folder was read
    }
    ProcessEntry entry;
    entry.id = static_cast<pid_t>(id);
    entry.name = line.substr(open + 1, close - open - 1);
    if (std::sscanf(line.c_str() + close + 1, " %c %d %d %d", &entry.state, &entry.parent, &entry.group,
                    &entry.session) == 4 &&
        condition(entry)) {
      result.push_back(entry);
    }
  }
  return result;
}

/// The children of this process, zombies included.
inline std::vector<ProcessEntry> childProcesses() {
  return processesWhere([self = getpid()](const ProcessEntry& entry) { return entry.parent == self; });
}

/// The members of a session, zombies included.
inline std::vector<ProcessEntry> processesOfSession(pid_t session) {
  return processesWhere([session](const ProcessEntry& entry) { return entry.session == session; });
}

/// A file of the system's about a process, or what of it could be read before the process ended.
inline std::string textOfProcess(pid_t process, const std::string& name) {
  std::ostringstream text;
  // By its buffer, which takes an error of reading for the end.
  text << std::ifstream("/proc/" + std::to_string(process) + "/" + name, std::ios::binary).rdbuf();
  return text.str();
}

/// The processes in whose environment, as they were started with, NAME=value stands: the way to find what descends
/// from a start wherever it went. Only the caller's own processes can be seen.
inline std::vector<ProcessEntry> processesWithEnvironment(const std::string& assignment) {
  return processesWhere([needle = '\0' + assignment + '\0'](const ProcessEntry& entry) {
    std::string environment = '\0' + textOfProcess(entry.id, "environ");
    return environment.find(needle) != std::string::npos;
  });
}

}  // namespace qrb::test
