#include "ServiceConnection.h"

#include <fcntl.h>

#include <utility>

#include "Log.h"
#include "ProcessReaper.h"
#include "ServiceDirectories.h"
#include "ServiceOutput.h"

namespace qrb {

namespace {

struct Launched {
  FileDescriptor socket;
  FileDescriptor peerExit;
  std::optional<Process> process;
};

Launched launchService(const std::string& name) {
  std::string path = ServiceDirectories::executableNamed(name);
  if (path.empty()) {
    log(name, "no such service is installed");
    return {};
  }
  DescriptorPair sockets = makeSocketPair();
  if (!sockets) {
    log(name, "no descriptors are left to launch it");
    return {};
  }
  FileDescriptor output = collectServiceOutput(name);
  LaunchOptions options;
  options.path = path;
  options.stdinDescriptor = sockets.second.get();
  options.stdoutDescriptor = sockets.second.get();
  options.stderrDescriptor = output.get();
  options.newSession = true;
  auto outcome = Process::launch(options);
  if (const auto* failure = std::get_if<LaunchFailure>(&outcome)) {
    log(name, failure->text);
    return {};
  }
  Launched launched;
  launched.process = std::move(std::get<Process>(outcome));
  launched.peerExit = FileDescriptor(::fcntl(launched.process->pidfd(), F_DUPFD_CLOEXEC, 3));
  launched.socket = std::move(sockets.first);
  return launched;
}

ProcessReaper::Policy policyFor(ServiceConnection::Ending ending) {
  switch (ending) {
    case ServiceConnection::Ending::told:
      return ProcessReaper::Policy::expectExit;
    case ServiceConnection::Ending::killed:
      return ProcessReaper::Policy::forced;
    case ServiceConnection::Ending::lost:
      return ProcessReaper::Policy::diedAlready;
  }
  return ProcessReaper::Policy::forced;
}

}  // namespace

std::shared_ptr<ServiceConnection> ServiceConnection::launch(const std::string& serviceName) {
  Launched launched = launchService(serviceName);
  return std::shared_ptr<ServiceConnection>(new ServiceConnection(
      serviceName, std::move(launched.socket), std::move(launched.peerExit), std::move(launched.process)));
}

ServiceConnection::ServiceConnection(std::string name, FileDescriptor socket, FileDescriptor peerExit,
                                     std::optional<Process> process)
    : _name(std::move(name)),
      _socket(std::move(socket)),
      _peerExit(std::move(peerExit)),
      _process(std::move(process)) {}

ServiceConnection::~ServiceConnection() {
  invalidate(Ending::killed);
}

void ServiceConnection::resume(Options options) {
  Connection::Options connectionOptions;
  connectionOptions.sharing = options.oneShot ? Connection::Sharing::perConnection : Connection::Sharing::perMessage;
  connectionOptions.name = _name;
  _connection = Connection::make(std::move(_socket), std::move(_peerExit), std::move(connectionOptions));
  _connection->setCallHandler(std::move(options.callHandler));
  _connection->setInterruptionHandler(std::move(options.interruptionHandler));
  _connection->resume();
}

void ServiceConnection::invalidate(Ending ending) {
  std::optional<Process> process;
  {
    std::lock_guard lock(_mutex);
    if (std::exchange(_invalidated, true)) return;
    process.swap(_process);
  }
  if (_connection) _connection->invalidate();
  if (process) ProcessReaper::shared().adopt(std::move(*process), policyFor(ending));
}

}  // namespace qrb
