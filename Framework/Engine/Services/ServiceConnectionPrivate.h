#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Connection.h"
#include "Process.h"

namespace qrb {

/// All that a service inherits when it is launched at this moment. To be read where the host expects its environment to
/// be read: while it makes a request.
struct ServiceSurroundings {
  /// Empty when no service of the name is installed.
  std::string executable;
  std::vector<std::string> environment;
  std::string workingDirectory;
  bool outputIsCollected = false;

  static ServiceSurroundings current(const std::string& serviceName);
  bool operator==(const ServiceSurroundings&) const = default;
};

/// The communication failure of a program that lacks memory, threads or descriptors. Made once, so that there is one to
/// give when none can be made.
const Error& scarcityError();

/// A service process and the connection to it. One thread at a time, except where said.
class ServiceConnection {
 public:
  enum class Kind {
    /// The process serves one request, and the connection remembers what crossed.
    oneShot,
    /// The process is kept for any number of requests, and the connection remembers nothing.
    kept,
  };
  struct Handlers {
    /// Serves what the process calls back; empty when it may not.
    Connection::CallHandler call;
    /// Called once when the process is lost while no reply is awaited.
    std::function<void()> interruption;
  };

  /// Starts the service of that name. A service that cannot be found or launched gives a connection that is over
  /// already: every request on it fails at once. The connection reads nothing before `resume`.
  static std::shared_ptr<ServiceConnection> launch(const std::string& serviceName, Kind kind);
  /// Starts it in surroundings that were current at another moment.
  static std::shared_ptr<ServiceConnection> launch(const std::string& serviceName, Kind kind,
                                                   const ServiceSurroundings& surroundings);
  ~ServiceConnection();
  ServiceConnection(const ServiceConnection&) = delete;
  ServiceConnection& operator=(const ServiceConnection&) = delete;

  /// Sets the handlers and begins to read. To be called once.
  void resume(Handlers handlers);
  const std::shared_ptr<Connection>& connection() const noexcept { return _connection; }
  /// The service's.
  const std::string& name() const noexcept { return _name; }
  /// The process group that the service and its tools are, 0 where there is none any more. Any thread.
  pid_t processGroup() const;
  /// Whether no request can be served any more: the process has ended, whether or not the connection has noticed, or
  /// never was. Any thread.
  bool isOver() const;

  /// Why no request can be served any more. Any thread.
  enum class Loss {
    /// The process is gone, broke the protocol or is not installed. How far it had come with its requests is not known.
    ofProcess,
    /// It delivered too much, or this program lacked what it needs: no answer will be of any use.
    ofService,
  };
  Loss loss() const;
  /// The communication failure, with what is known of the reason: which service, what it sent or how it ended, and what
  /// was to be answered. To be called before invalidate(). Waits a moment for the end of a process that has closed its
  /// connection. Any thread; needs no memory where there is none.
  Error failure() const noexcept;

  /// How an invalidated service is expected to end.
  enum class Ending {
    /// It has been told to finish and exits by itself; it is killed if it does not within a grace period.
    told,
    /// It is killed at once; the tools it runs are asked to end and killed after a grace period.
    killed,
  };
  /// Ends the connection; no handler begins after this returns on the calling thread. The process is seen to its end
  /// in the background. Any thread, any number of times; only the first call counts.
  void invalidate(Ending ending);

 private:
  static std::shared_ptr<ServiceConnection> launch(const std::string& serviceName, Kind kind, LaunchOptions options);
  std::string howItWasLost() const;
  ServiceConnection(std::string name, std::shared_ptr<Connection> connection, std::optional<Process> process,
                    std::string launchFailure, bool lacksMeans);

  const std::string _name;
  const std::shared_ptr<Connection> _connection;
  /// Why there never was a process; empty when there was.
  const std::string _launchFailure;
  const bool _lacksMeans;
  mutable std::mutex _mutex;
  std::optional<Process> _process;
  bool _invalidated = false;
};

}  // namespace qrb
