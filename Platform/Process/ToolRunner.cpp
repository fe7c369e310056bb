#include "ToolRunner.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <memory>

#include "FileSystem.h"
#include "ObstacleWatch.h"

namespace qrb {
namespace {

using Clock = ProcessEnding::Clock;
using Outcome = ToolResult::Outcome;

/// How long a tool may be silent before what it waits for is looked at.
constexpr int silence = 1000;
constexpr std::size_t chunkSize = 256 * 1024;
constexpr std::size_t errorTextBound = 64 * 1024;
/// A larger pipe means fewer changes between the tool and this process. This is the most that an unprivileged process
/// may ask for by default.
constexpr int pipeSize = 1024 * 1024;

std::vector<std::string> environmentFor(const ToolCommand& command) {
  std::vector<std::string> result;
  auto isReplaced = [&](std::string_view name) {
    return std::any_of(command.unsetEnvironment.begin(), command.unsetEnvironment.end(),
                       [&](const std::string& other) { return name == other; }) ||
           std::any_of(command.environment.begin(), command.environment.end(),
                       [&](const auto& other) { return name == other.first; });
  };
  for (char** entry = environ; entry && *entry; ++entry) {
    std::string_view text(*entry);
    if (!isReplaced(text.substr(0, text.find('=')))) {
      result.emplace_back(text);
    }
  }
  // A program that asks for a name gets the first that it finds.
  for (auto entry = command.environment.begin(); entry != command.environment.end(); ++entry) {
    bool isLast = std::none_of(entry + 1, command.environment.end(),
                               [&](const auto& later) { return later.first == entry->first; });
    if (isLast) {
      result.push_back(entry->first + '=' + entry->second);
    }
  }
  return result;
}

/// A write whose failing with EPIPE raises no SIGPIPE, whatever the program does with that signal.
ssize_t writeWithoutSignal(int descriptor, std::string_view bytes) {
  sigset_t pipeSignal;
  sigset_t previous;
  sigset_t pending;
  ::sigemptyset(&pipeSignal);
  ::sigaddset(&pipeSignal, SIGPIPE);
  ::sigpending(&pending);
  bool wasPending = ::sigismember(&pending, SIGPIPE) == 1;
  ::pthread_sigmask(SIG_BLOCK, &pipeSignal, &previous);
  ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
  int error = errno;
  if (written < 0 && error == EPIPE && !wasPending) {
    timespec now{};
    while (::sigtimedwait(&pipeSignal, nullptr, &now) < 0 && errno == EINTR) {
    }
  }
  ::pthread_sigmask(SIG_SETMASK, &previous, nullptr);
  errno = error;
  return written;
}

/// One run, from launch to end: what is open, what is to be fed, and why it is to stop.
class Run {
 public:
  Run(const ToolCommand& command, const ToolRunner::Output& onOutput, const ToolRunner::Output& onError,
      const ToolRunner::Surroundings& surroundings)
      : _command(command), _onOutput(onOutput), _onError(onError), _surroundings(surroundings) {
    if (command.expectsFilesOnly) {
      _watch.emplace(command.path);
    }
    if (surroundings.timeLimit) {
      _endAt = Clock::now() + *surroundings.timeLimit;
    }
  }

  ToolResult perform() {
    if (!start()) {
      return std::move(_result);
    }
    while (!_over) {
      step();
    }
    // What was written before the end is still in the pipes; what a process left behind by the tool may write is not
    // waited for.
    readAll(_output, _onOutput, false);
    readAll(_error, _onError, true);
    _result.errorText = _errorText.text();
    return std::move(_result);
  }

 private:
  enum Slot : std::size_t { processSlot, outputSlot, errorSlot, inputSlot, hostSlot, sideSlot, slotCount };

  bool start();
  bool fail(LaunchFailure failure);
  void step();
  int timeout() const;
  void signalWhenDue();
  void lookForObstacle();
  void stop(Outcome why);
  void feed();
  std::size_t readOnce(FileDescriptor& descriptor, const ToolRunner::Output& callback, bool isError);
  void readAll(FileDescriptor& descriptor, const ToolRunner::Output& callback, bool isError);

  const ToolCommand& _command;
  const ToolRunner::Output& _onOutput;
  const ToolRunner::Output& _onError;
  const ToolRunner::Surroundings& _surroundings;

  std::optional<Process> _process;
  std::optional<ObstacleWatch> _watch;
  FileDescriptor _input;
  FileDescriptor _output;
  FileDescriptor _error;
  std::string_view _toFeed;
  std::unique_ptr<char[]> _buffer{new char[chunkSize]};
  BoundedText _errorText{errorTextBound};
  bool _over = false;
  /// What makes the tool stop, begun by stop().
  ProcessEnding _ending;
  std::optional<Clock::time_point> _endAt;
  ToolResult _result;
};

bool Run::fail(LaunchFailure failure) {
  _result.outcome = Outcome::launchFailed;
  _result.launchFailure = std::move(failure);
  return false;
}

bool Run::start() {
  DescriptorPair output = makePipe();
  DescriptorPair error = output ? makePipe() : DescriptorPair();
  DescriptorPair input = error && !_command.standardInput.empty() ? makePipe() : DescriptorPair();
  if (!error || (!_command.standardInput.empty() && !input)) {
    return fail({LaunchFailure::Step::prepare, errno,
                 "The pipes for \"" + _command.path + "\" could not be made: " + ::strerrordesc_np(errno)});
  }
  FileDescriptor secondInput;
  if (!_command.secondInput.empty()) {
    secondInput = holdInMemory(_command.secondInput);
    if (!secondInput.valid()) {
      return fail({LaunchFailure::Step::prepare, errno,
                   "The input for \"" + _command.path + "\" could not be kept: " + ::strerrordesc_np(errno)});
    }
  }
  // Refused when the user's pipes take too much memory already: slower, not wrong.
  ::fcntl(output.first.get(), F_SETPIPE_SZ, pipeSize);
  if (input) {
    ::fcntl(input.second.get(), F_SETPIPE_SZ, pipeSize);
    input.second.setNonBlocking(true);
  }
  output.first.setNonBlocking(true);
  error.first.setNonBlocking(true);
  LaunchOptions options;
  options.path = _command.path;
  options.arguments.push_back(_command.path);
  options.arguments.insert(options.arguments.end(), _command.arguments.begin(), _command.arguments.end());
  options.environment = environmentFor(_command);
  options.workingDirectory = _command.workingDirectory;
  options.stdinDescriptor = input.first.get();
  options.stdoutDescriptor = output.second.get();
  options.stderrDescriptor = error.second.get();
  options.inheritedDescriptor = secondInput.get();
  options.parentDeathSignal = SIGTERM;
  auto launched = Process::launch(options);
  if (auto* failure = std::get_if<LaunchFailure>(&launched)) {
    return fail(std::move(*failure));
  }
  _process.emplace(std::move(std::get<Process>(launched)));
  _input = std::move(input.second);
  _output = std::move(output.first);
  _error = std::move(error.first);
  _toFeed = _command.standardInput;
  return true;
}

void Run::step() {
  std::array<pollfd, slotCount> slots{};
  slots[processSlot] = {_process->pidfd(), POLLIN, 0};
  slots[outputSlot] = {_output.get(), POLLIN, 0};
  slots[errorSlot] = {_error.get(), POLLIN, 0};
  slots[inputSlot] = {_input.get(), POLLOUT, 0};
  // No POLLIN: the host may have sent something for later, which must not wake this loop again and again.
  slots[hostSlot] = {_ending.hasBegun() ? -1 : _surroundings.hostConnection, POLLRDHUP, 0};
  slots[sideSlot] = {_surroundings.sideChannel, POLLIN, 0};
  int ready = ::poll(slots.data(), slots.size(), timeout());
  if (ready < 0) {
    if (errno != EINTR) {
      _result.launchFailure = {LaunchFailure::Step::descriptors, errno, "The tool's output could not be waited for"};
      stop(Outcome::failedToListen);
      _ending.kill(*_process, Clock::now());
      _result.status = _process->wait();
      _over = true;
    }
    return;
  }
  if (ready == 0 && _watch && !_ending.hasBegun()) {
    lookForObstacle();
  }
  if (slots[hostSlot].revents != 0) {
    stop(Outcome::cancelled);
  }
  if (slots[outputSlot].revents != 0) {
    readOnce(_output, _onOutput, false);
  }
  if (slots[errorSlot].revents != 0) {
    readOnce(_error, _onError, true);
  }
  if (slots[inputSlot].revents != 0) {
    feed();
  }
  if (slots[sideSlot].revents != 0) {
    _surroundings.onReadable();
  }
  signalWhenDue();
  if (slots[processSlot].revents != 0) {
    if (auto status = _process->tryReap()) {
      _result.status = *status;
      _over = true;
    }
  }
}

int Run::timeout() const {
  auto until = [](Clock::time_point time) {
    auto wait = std::chrono::ceil<std::chrono::milliseconds>(time - Clock::now()).count();
    return static_cast<int>(std::clamp<long long>(wait, 0, INT_MAX));
  };
  if (_ending.hasKilled()) {
    return -1;
  }
  if (_ending.hasBegun()) {
    return until(_ending.killTime());
  }
  int look = _watch ? silence : -1;
  if (!_endAt) {
    return look;
  }
  return look < 0 ? until(*_endAt) : std::min(look, until(*_endAt));
}

void Run::signalWhenDue() {
  Clock::time_point now = Clock::now();
  if (_endAt && now >= *_endAt) {
    stop(Outcome::tookTooLong);
  }
  _ending.proceed(*_process, now);
}

void Run::lookForObstacle() {
  if (auto path = _watch->look(_process->pid())) {
    _result.obstacle = std::move(*path);
    stop(Outcome::obstructed);
  }
}

void Run::stop(Outcome why) {
  if (_ending.hasBegun()) {
    return;
  }
  _result.outcome = why;
  _input.reset();
  _ending.begin(*_process, Clock::now(), _surroundings.gracePeriod);
}

void Run::feed() {
  ssize_t written = writeWithoutSignal(_input.get(), _toFeed);
  if (written < 0 && (errno == EAGAIN || errno == EINTR)) {
    return;
  }
  if (written > 0) {
    _toFeed.remove_prefix(static_cast<std::size_t>(written));
  }
  // A tool that stops reading is free to do so; its exit code tells whether that was an error.
  if (written < 0 || _toFeed.empty()) {
    _input.reset();
  }
}

/// Returns how many bytes came.
std::size_t Run::readOnce(FileDescriptor& descriptor, const ToolRunner::Output& callback, bool isError) {
  ssize_t got = ::read(descriptor.get(), _buffer.get(), chunkSize);
  if (got < 0 && errno == EINTR) {
    return 0;
  }
  if (got <= 0) {
    if (got == 0 || errno != EAGAIN) {
      descriptor.reset();
    }
    return 0;
  }
  std::string_view chunk(_buffer.get(), static_cast<std::size_t>(got));
  if (isError) {
    _errorText.append(chunk);
  }
  // While it stops the tool is still listened to: it must not be held up by a full pipe.
  if (!_ending.hasBegun() && callback && !callback(chunk)) {
    stop(Outcome::stopped);
  }
  return chunk.size();
}

/// Reads what is in the pipe now and not what comes meanwhile: another process may go on writing to it for ever.
void Run::readAll(FileDescriptor& descriptor, const ToolRunner::Output& callback, bool isError) {
  int waiting = 0;
  if (!descriptor.valid() || ::ioctl(descriptor.get(), FIONREAD, &waiting) != 0) {
    return;
  }
  for (std::size_t left = waiting > 0 ? static_cast<std::size_t>(waiting) : 0; left > 0 && descriptor.valid();) {
    left -= std::min(left, readOnce(descriptor, callback, isError));
  }
}

}  // namespace

std::string ToolResult::complaint(const std::string& tool) const {
  if (launchFailure) {
    return launchFailure->text;
  }
  std::size_t end = errorText.find_last_not_of(" \t\r\n");
  std::string written = end == std::string::npos ? std::string() : errorText.substr(0, end + 1);
  if (wasKilled()) {
    std::string text = tool + " was killed by " + status.description() + ".";
    return written.empty() ? text : text + " Before that it wrote:\n" + written;
  }
  return written.empty() ? tool + " ended with " + status.description() : written;
}

ToolResult ToolRunner::run(const ToolCommand& command, const Output& onOutput, const Output& onError) const {
  return Run(command, onOutput, onError, _surroundings).perform();
}

void BoundedText::append(std::string_view text) {
  std::size_t toHead = std::min(text.size(), _half - _head.size());
  _head.append(text.substr(0, toHead));
  text.remove_prefix(toHead);
  _tail.append(text);
  // Cut seldom: each cut moves the whole tail.
  if (_tail.size() > 2 * _half) {
    _dropped += _tail.size() - _half;
    _tail.erase(0, _tail.size() - _half);
  }
}

std::string BoundedText::text() const {
  std::size_t excess = _tail.size() > _half ? _tail.size() - _half : 0;
  if (_dropped + excess == 0) {
    return _head + _tail;
  }
  return _head + "\n[" + std::to_string(_dropped + excess) + " bytes left out]\n" + _tail.substr(excess);
}

}  // namespace qrb
