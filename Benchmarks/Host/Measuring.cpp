#include "Measuring.h"

#include <dirent.h>
#include <unistd.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <thread>

namespace measuring {

namespace {

void addChildren(const std::string& process, std::vector<int>& found) {
  std::unique_ptr<DIR, int (*)(DIR*)> tasks(::opendir(("/proc/" + process + "/task").c_str()), ::closedir);
  if (tasks == nullptr) return;
  while (const dirent* entry = ::readdir(tasks.get())) {
    if (entry->d_name[0] == '.') continue;
    std::ifstream children("/proc/" + process + "/task/" + entry->d_name + "/children");
    for (int pid = 0; children >> pid;) {
      found.push_back(pid);
      addChildren(std::to_string(pid), found);
    }
  }
}

double usageOf(int who) {
  rusage usage{};
  ::getrusage(who, &usage);
  return milliseconds(usage);
}

}  // namespace

double milliseconds(const rusage& usage) {
  auto of = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
  };
  return of(usage.ru_utime) + of(usage.ru_stime);
}

double ownCPU() {
  return usageOf(RUSAGE_SELF);
}

double childrenCPU() {
  return usageOf(RUSAGE_CHILDREN);
}

ProcessCPU cpuOf(int pid) {
  std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
  std::string text;
  std::getline(file, text);
  // The name may hold blanks; what counts comes after it.
  std::istringstream fields(text.substr(std::min(text.rfind(')') + 1, text.size())));
  std::string skipped;
  for (int field = 3; field < 14; ++field) fields >> skipped;
  double user = 0;
  double system = 0;
  double endedUser = 0;
  double endedSystem = 0;
  fields >> user >> system >> endedUser >> endedSystem;
  double tick = 1e3 / static_cast<double>(::sysconf(_SC_CLK_TCK));
  return {(user + system) * tick, (endedUser + endedSystem) * tick};
}

std::vector<int> descendants() {
  std::vector<int> found;
  addChildren("self", found);
  return found;
}

double residentBytes() {
  std::ifstream file("/proc/self/statm");
  double pages = 0;
  file >> pages >> pages;
  return pages * static_cast<double>(::sysconf(_SC_PAGESIZE));
}

void waitForChildren() {
  while (!descendants().empty()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

}  // namespace measuring
