#include "ServiceConnectionPrivate.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cstdlib>
#include <utility>

#include "LaunchThreadPrivate.h"
#include "Log.h"
#include "ProcessReaper.h"
#include "QRBSourceControlError.h"
#include "Scarcity.h"
#include "ServiceDirectories.h"
#include "ServiceOutputPrivate.h"
#include "UTF8.h"

namespace qrb {

namespace {

struct Launched {
  FileDescriptor socket;
  FileDescriptor peerExit;
  std::optional<Process> process;
  /// Why there is no process.
  std::string failure;
  /// It is this program that lacks something, not the service.
  bool lacksMeans = false;
};

Launched failedLaunch(const std::string& name, const std::string& reason, bool lacksMeans = true) {
  log(name, reason);
  Launched launched;
  launched.failure = name + ": " + reason;
  launched.lacksMeans = lacksMeans;
  return launched;
}

bool tellsOfScarcity(const LaunchFailure& failure) {
  int number = failure.errorNumber;
  return number == EAGAIN || number == ENOMEM || number == EMFILE || number == ENFILE;
}

Launched launchService(const std::string& name, LaunchOptions options) {
  if (options.path.empty()) return failedLaunch(name, "no such service is installed", false);
  if (ProcessReaper::shared().start() != 0)
    return failedLaunch(name, "no thread or descriptor is left to see to its end");
  DescriptorPair sockets = makeSocketPair();
  if (!sockets) return failedLaunch(name, "no descriptors are left to launch it");
  FileDescriptor output = collectServiceOutput(name);
  options.stdinDescriptor = sockets.second.get();
  options.stdoutDescriptor = sockets.second.get();
  options.stderrDescriptor = output.get();
  options.newSession = true;
  // What was installed with the library watches its host; others may not.
  bool isOwn = ServiceDirectories::isOwn(options.path);
  auto outcome = isOwn ? Process::launch(options) : LaunchThread::shared().launch(options);
  if (const auto* failure = std::get_if<LaunchFailure>(&outcome)) {
    return failedLaunch(name, failure->text, tellsOfScarcity(*failure));
  }
  Launched launched;
  launched.process = std::move(std::get<Process>(outcome));
  launched.peerExit = FileDescriptor(::fcntl(launched.process->pidfd(), F_DUPFD_CLOEXEC, 3));
  // Without it nobody would hear of the process's end while something that it started holds its socket.
  if (!launched.peerExit.valid()) return failedLaunch(name, "no descriptors are left to watch it");
  launched.socket = std::move(sockets.first);
  return launched;
}

// How long what has closed its connection is waited for, to tell how it ended, in milliseconds.
constexpr int kLongestEnding = 200;

ProcessReaper::Policy policyFor(ServiceConnection::Ending ending) {
  switch (ending) {
    case ServiceConnection::Ending::told:
      return ProcessReaper::Policy::expectExit;
    case ServiceConnection::Ending::killed:
      return ProcessReaper::Policy::forced;
  }
  return ProcessReaper::Policy::forced;
}

}  // namespace

const Error& scarcityError() {
  static const auto* error = new Error(QRBSourceControlError_PlugInCommunicationFailure(
      "This program lacks memory, threads or descriptors for the request. What helps: let it make fewer requests at "
      "once, close other programs, or raise its limits (ulimit)."));
  return *error;
}

ServiceSurroundings ServiceSurroundings::current(const std::string& serviceName) {
  ServiceSurroundings surroundings;
  surroundings.executable = ServiceDirectories::executableNamed(serviceName);
  for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
    surroundings.environment.emplace_back(*entry);
  }
  std::unique_ptr<char, decltype(&::free)> folder(::get_current_dir_name(), ::free);
  if (folder != nullptr) surroundings.workingDirectory = folder.get();
  surroundings.outputIsCollected = hasLogHandler();
  return surroundings;
}

std::shared_ptr<ServiceConnection> ServiceConnection::launch(const std::string& serviceName, Kind kind) {
  LaunchOptions options;
  options.path = ServiceDirectories::executableNamed(serviceName);
  return launch(serviceName, kind, std::move(options));
}

std::shared_ptr<ServiceConnection> ServiceConnection::launch(const std::string& serviceName, Kind kind,
                                                             const ServiceSurroundings& surroundings) {
  LaunchOptions options;
  options.path = surroundings.executable;
  options.environment = surroundings.environment;
  options.workingDirectory = surroundings.workingDirectory;
  return launch(serviceName, kind, std::move(options));
}

std::shared_ptr<ServiceConnection> ServiceConnection::launch(const std::string& serviceName, Kind kind,
                                                             LaunchOptions launchOptions) {
  Launched launched = launchService(serviceName, std::move(launchOptions));
  Connection::Options options;
  options.sharing = kind == Kind::oneShot ? Connection::Sharing::perConnection : Connection::Sharing::perMessage;
  options.name = serviceName;
  auto connection = Connection::make(std::move(launched.socket), std::move(launched.peerExit), std::move(options));
  return std::shared_ptr<ServiceConnection>(new ServiceConnection(serviceName, std::move(connection),
                                                                  std::move(launched.process),
                                                                  std::move(launched.failure), launched.lacksMeans));
}

ServiceConnection::ServiceConnection(std::string name, std::shared_ptr<Connection> connection,
                                     std::optional<Process> process, std::string launchFailure, bool lacksMeans)
    : _name(std::move(name)),
      _connection(std::move(connection)),
      _launchFailure(std::move(launchFailure)),
      _lacksMeans(lacksMeans),
      _process(std::move(process)) {}

ServiceConnection::~ServiceConnection() {
  invalidate(Ending::killed);
}

void ServiceConnection::resume(Handlers handlers) {
  _connection->setCallHandler(std::move(handlers.call));
  _connection->setInterruptionHandler(std::move(handlers.interruption));
  _connection->resume();
}

pid_t ServiceConnection::processGroup() const {
  std::lock_guard lock(_mutex);
  return _process ? _process->pid() : 0;
}

bool ServiceConnection::isOver() const {
  std::lock_guard lock(_mutex);
  if (!_process) return true;
  pollfd exit{_process->pidfd(), POLLIN, 0};
  return ::poll(&exit, 1, 0) > 0;
}

ServiceConnection::Loss ServiceConnection::loss() const {
  using EndKind = Connection::End::Kind;
  EndKind kind = _connection->end().kind;
  bool ofService = _lacksMeans || kind == EndKind::exceeded || kind == EndKind::scarce;
  return ofService ? Loss::ofService : Loss::ofProcess;
}

Error ServiceConnection::failure() const noexcept {
  Error failure = scarcityError();
  unlessScarce([&] {
    Connection::End end = _connection->end();
    std::string detail = end.detail;
    if (!_launchFailure.empty()) {
      detail = _launchFailure;
    } else if (detail.empty() && end.kind == Connection::End::Kind::scarce) {
      return;
    } else if (end.kind == Connection::End::Kind::lost) {
      detail = _name + ": " + howItWasLost() +
               (end.awaited.empty() ? "" : " before it answered \"" + end.awaited + '"') + ".";
    } else if (!detail.empty()) {
      detail = _name + ": " + detail;
    }
    failure = QRBSourceControlError_PlugInCommunicationFailure(detail.empty() ? String()
                                                                              : String(replacingInvalidUTF8(detail)));
  });
  return failure;
}

std::string ServiceConnection::howItWasLost() const {
  std::lock_guard lock(_mutex);
  if (!_process) return "the process was ended";
  // The end of the conversation comes a moment before that of the process.
  pollfd exit{_process->pidfd(), POLLIN, 0};
  ::poll(&exit, 1, kLongestEnding);
  std::optional<ExitStatus> status = _process->peek();
  return status ? "the process ended (" + status->description() + ")" : "the process closed its end of the connection";
}

void ServiceConnection::invalidate(Ending ending) {
  std::optional<Process> process;
  {
    std::lock_guard lock(_mutex);
    if (std::exchange(_invalidated, true)) return;
    process.swap(_process);
  }
  _connection->invalidate();
  if (process) ProcessReaper::shared().adopt(std::move(*process), policyFor(ending));
}

}  // namespace qrb
