#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Process.h"
#include "ProcessEnding.h"

namespace qrb {

/// A command-line tool to run.
struct ToolCommand {
  /// As LaunchOptions::path: a bare name is looked up in PATH.
  std::string path;
  /// Without argument 0, which is the path.
  std::vector<std::string> arguments;
  /// The tool gets this process's environment without the names in `unsetEnvironment` and with these put in; a name
  /// given here wins, and of two the later.
  std::vector<std::pair<std::string, std::string>> environment;
  std::vector<std::string> unsetEnvironment;
  std::optional<std::string> workingDirectory;
  /// Fed to the tool while it runs; empty means that its standard input is /dev/null.
  std::string standardInput;
  /// What the tool can read as the file `secondInputPath`, for tools that take more than one input; no file of that
  /// content is ever on disk. Empty means that there is no such file.
  std::string secondInput;
  static constexpr const char* secondInputPath = "/dev/fd/3";
  /// The tool has no business with pipes and devices in the file system: where it waits at one, it is ended.
  bool expectsFilesOnly = false;
};

/// How a tool ended.
struct ToolResult {
  enum class Outcome {
    ended,          ///< By itself; see `status`.
    stopped,        ///< A callback returned false.
    cancelled,      ///< The host is gone.
    launchFailed,   ///< It never ran; see `launchFailure`.
    tookTooLong,    ///< It had not ended when its time was over.
    obstructed,     ///< It waited at a pipe or device in place of a file; see `obstacle`.
    failedToListen  ///< The system failed while the tool's output was read; the tool was ended, see `launchFailure`.
  };
  Outcome outcome = Outcome::ended;
  ExitStatus status;
  std::optional<LaunchFailure> launchFailure;
  /// The absolute path of what was in the way.
  std::string obstacle;
  /// What the tool wrote to standard error. A long text is cut to its beginning and its end, with a line between that
  /// says how many bytes are missing.
  std::string errorText;

  /// Ended by itself with exit code 0.
  bool succeeded() const { return outcome == Outcome::ended && status.succeeded(); }
  /// A signal ended it that this process has not sent.
  bool wasKilled() const { return outcome == Outcome::ended && status.kind == ExitStatus::Kind::signalled; }
  /// Why it failed, for users: why it was not launched, else by what it was killed, `tool` being what to call it, with
  /// what it had written before; else what it wrote, or how it ended where it wrote nothing.
  std::string complaint(const std::string& tool) const;
};

/// Runs tools for a plug-in, one at a time, on the calling thread and without any other: a tool's input, output, errors
/// and end, and the end of the host, are waited for together. The tool is a member of this process's group, gets
/// SIGTERM when the calling thread ends, and inherits no descriptor. SIGPIPE may be at its default. One thread at a
/// time.
class ToolRunner {
 public:
  /// Gets the next piece of what the tool wrote, as soon as it is there; false stops the tool. The bytes are valid
  /// during the call only.
  using Output = std::function<bool(std::string_view chunk)>;

  /// What goes on around a tool while it runs. Descriptors are lent; -1 is none.
  struct Surroundings {
    /// The connection to the host: its hanging up ends the tool, since nobody is left to tell. Nothing is read from it.
    int hostConnection = -1;
    /// How long a tool that is to stop may take over SIGTERM before it gets SIGKILL.
    std::chrono::milliseconds gracePeriod = ProcessEnding::usualPatience;
    /// How long a tool may run before it is to stop; absent where it may take what it needs.
    std::optional<std::chrono::milliseconds> timeLimit;
    /// What is to be served while a tool runs, because the tool waits for it: `onReadable` is called, on the calling
    /// thread, whenever it can be read.
    int sideChannel = -1;
    std::function<void()> onReadable;
  };

  void setHostConnectionDescriptor(int descriptor) { _surroundings.hostConnection = descriptor; }
  void setGracePeriod(std::chrono::milliseconds period) { _surroundings.gracePeriod = period; }
  void setTimeLimit(std::chrono::milliseconds limit) { _surroundings.timeLimit = limit; }
  void setSideChannel(int descriptor, std::function<void()> onReadable) {
    _surroundings.sideChannel = descriptor;
    _surroundings.onReadable = std::move(onReadable);
  }

  /// Runs the command to its end. An empty `onOutput` discards the output. `onError` gets what goes to standard error,
  /// for progress, in addition to its being collected. Once a callback has returned false neither is called again.
  ToolResult run(const ToolCommand& command, const Output& onOutput = {}, const Output& onError = {}) const;

 private:
  Surroundings _surroundings;
};

/// Keeps the beginning and the end of a text of any length within a bound.
class BoundedText {
 public:
  explicit BoundedText(std::size_t bound) : _half(bound / 2) {}
  void append(std::string_view text);
  std::string text() const;

 private:
  const std::size_t _half;
  std::string _head;
  std::string _tail;
  std::size_t _dropped = 0;
};

}  // namespace qrb
