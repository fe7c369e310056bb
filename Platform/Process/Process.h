#pragma once

#include <sys/types.h>

#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "FileDescriptor.h"

namespace qrb {

/// How a process ended.
struct ExitStatus {
  enum class Kind {
    exited,     ///< It called exit; `value` is the exit code.
    signalled,  ///< A signal ended it; `value` is the signal's number.
    unknown,    ///< It is over, but somebody else took its status: the program ignores SIGCHLD or reaps every child.
  };
  Kind kind = Kind::unknown;
  int value = 0;

  /// Exited with code 0.
  bool succeeded() const { return kind == Kind::exited && value == 0; }
  /// For logs: "exit code 1", "signal 9 (SIGKILL, Killed)" or "status unknown".
  std::string description() const;
  bool operator==(const ExitStatus&) const = default;
};

/// What to run and how. Descriptors are lent: launching neither closes nor keeps them.
struct LaunchOptions {
  /// The executable. Without a slash it is looked up in this process's PATH, whose relative entries are passed over
  /// (the current folder may belong to somebody hostile). A relative path with a slash is resolved in
  /// `workingDirectory`.
  std::string path;
  /// Complete argument list including argument 0; empty means {path}.
  std::vector<std::string> arguments;
  /// Complete environment as "NAME=value"; absent means this process's.
  std::optional<std::vector<std::string>> environment;
  std::optional<std::string> workingDirectory;
  /// What becomes the child's descriptors 0, 1 and 2; -1 is /dev/null. Every other descriptor is closed in the child.
  int stdinDescriptor = -1;
  int stdoutDescriptor = -1;
  int stderrDescriptor = -1;
  /// What becomes the child's descriptor 3, which what it starts inherits too; -1 is none.
  int inheritedDescriptor = -1;
  /// Session and process group of its own and no controlling terminal.
  bool newSession = false;
  /// Sent to the child when the launching thread (not only its process) ends; 0 is none. So launch from a thread that
  /// outlives the child.
  int parentDeathSignal = 0;
};

/// Why a process could not be started. Nothing of it is left behind.
struct LaunchFailure {
  enum class Step { find, prepare, fork, session, descriptors, workingDirectory, execute };
  Step step = Step::prepare;
  int errorNumber = 0;
  /// For people: what could not be done, with which file, and why.
  std::string text;
};

/// The file that launching a name without a slash would execute; empty where none of PATH's folders has it.
std::string executableInPath(const std::string& name);

class ReaperPlace;

/// A child process and the duty to end and reap it. Everything goes through a pidfd, so no process number that the
/// system has given to somebody else is ever hit and no SIGCHLD handler is needed. A handle whose process has not been
/// reaped ends it when destroyed, as ProcessReaper's policy `forced` does, without blocking. One thread at a time,
/// except that kill() and signalGroup() may run while another thread is in wait().
class Process {
 public:
  /// Starts a program and returns once it is running (its exec has succeeded), or why it is not. Any thread. The child
  /// has default signal handlers and an empty signal mask.
  static std::variant<Process, LaunchFailure> launch(const LaunchOptions& options);

  /// No process, as one that was moved from.
  Process() noexcept;
  Process(Process&& other) noexcept;
  Process& operator=(Process&& other) noexcept;
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;
  ~Process();

  /// The process number, for messages; after reaping it may belong to another process. -1 when moved from.
  pid_t pid() const { return _pid; }
  /// Readable (poll, epoll) once the process is over. Owned here; -1 when moved from.
  int pidfd() const { return _pidfd.get(); }
  bool hasOwnGroup() const { return _ownGroup; }
  /// True once tryReap or wait has given the status.
  bool reaped() const { return _reaped; }

  /// Sends a signal to the process; false when it is over already.
  bool kill(int signal) const;
  /// Sends a signal to every process of the child's group, 0 to ask whether there is any; false when there is none, or
  /// when the child was not launched with newSession. The leader's number stays reserved for the group as long as the
  /// leader is not reaped or any member lives; do not call it once it has returned false.
  bool signalGroup(int signal) const;

  /// The status when the process is over, left for tryReap() or wait(); nothing while it runs.
  std::optional<ExitStatus> peek() const;
  /// Takes the status when the process is over; nothing while it runs. Later calls return the same status.
  std::optional<ExitStatus> tryReap();
  /// Blocks until the process is over and takes its status.
  ExitStatus wait();

 private:
  friend class ProcessReaper;
  Process(pid_t pid, FileDescriptor pidfd, bool ownGroup, std::unique_ptr<ReaperPlace> place);
  std::optional<ExitStatus> reap(int flags);
  std::optional<ExitStatus> look(int flags) const;

  pid_t _pid = -1;
  FileDescriptor _pidfd;
  bool _ownGroup = false;
  bool _reaped = false;
  ExitStatus _status;
  /// Taken before the process was made: handing it over needs no memory.
  std::unique_ptr<ReaperPlace> _place;
};

}  // namespace qrb
