#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace qrb {

/// Finds out whether a tool waits, perhaps for ever, at a pipe or device that somebody has put where it expects a file.
/// Opening one waits for another process that opens it too, and no tool asks before it opens.
///
/// Each look reads a few files of /proc. Where the system denies them, or anything is in doubt, nothing is found.
class ObstacleWatch {
 public:
  /// The tool's program by its path or name. Only programs of that name count, the tool and those that such start: what
  /// others wait for, such as hooks, is their own affair.
  explicit ObstacleWatch(const std::string& program);

  /// The absolute path of the pipe or device at which the tool, or one of its processes, waits now and has waited since
  /// the look before; none where there is none. The waiting process gets SIGTERM.
  std::optional<std::string> look(pid_t tool);

 private:
  struct Wait {
    pid_t thread = 0;
    /// The system call with its arguments and where in the program it is, as /proc tells it.
    std::string call;
    std::string path;
    bool operator==(const Wait&) const = default;
  };

  std::optional<Wait> find(pid_t process, int depth) const;
  bool isOwn(pid_t process) const;
  static std::optional<Wait> waitOf(pid_t process, pid_t thread);

  const std::string _name;
  std::optional<Wait> _last;
};

}  // namespace qrb
