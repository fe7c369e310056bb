#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "Looking.h"

namespace qrb::hostile {

/// Cases, looked at by several processes at once, each a host of its own: a case that crashes or fills the host costs
/// that process, is told, and the campaign goes on.
class Campaign {
 public:
  /// Makes the templates and the folder that all cases lie in. Throws std::runtime_error or std::system_error.
  explicit Campaign(Options options);
  ~Campaign();
  Campaign(const Campaign&) = delete;
  Campaign& operator=(const Campaign&) = delete;

  /// Prints what is found as it is found, and the sums. Whether nothing was. To be called once, while the process has
  /// no other thread.
  bool run();

 private:
  struct Worker {
    pid_t process = -1;
    int connection = -1;
    /// Of the case that it looks at; only while it is busy.
    std::uint64_t number = 0;
    bool isBusy = false;
    std::chrono::steady_clock::time_point since;
  };

  bool isOver() const;
  void start(Worker& worker);
  void end(Worker& worker);
  void giveWork();
  void serve();
  void take(Worker& worker);
  void report(std::uint64_t number, const std::string& kind, const std::string& detail);
  void findLateMarks();

  const Options _options;
  RunFolders _run;
  std::vector<Template> _templates;
  std::vector<Worker> _workers;
  std::chrono::steady_clock::time_point _begin;
  std::uint64_t _next = 0;
  std::uint64_t _done = 0;
  std::size_t _started = 0;
  std::map<std::string, std::uint64_t> _counts;
};

}  // namespace qrb::hostile
