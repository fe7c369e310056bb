#pragma once

#include <array>
#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "ServiceConnectionPrivate.h"

namespace qrb {

/// Where one-shot services come from. While requests follow each other closely it keeps one process of the service
/// launched ahead, so that the next request need not wait for a start; a process still serves one request and no other.
/// What was launched ahead and is not wanted within a second is ended. One per program, never destroyed. Any thread.
class ServiceReserve {
 public:
  static ServiceReserve& shared();

  /// A process that nobody has used: as ServiceConnection::launch.
  std::shared_ptr<ServiceConnection> take(const std::string& serviceName);
  /// Ends what was launched ahead; what is being launched at this moment is waited for and ended.
  void clear();

 private:
  using Clock = std::chrono::steady_clock;

  /// One launched ahead serves only a request that would launch it the same way.
  struct Spare {
    std::shared_ptr<ServiceConnection> connection;
    ServiceSurroundings surroundings;
    Clock::time_point end;
  };
  /// When the last requests for a service began, the oldest first.
  using Recent = std::array<Clock::time_point, 3>;

  ServiceReserve() = default;
  ~ServiceReserve() = delete;

  bool followsClosely(const std::string& serviceName);
  void serve();
  void launchAhead(std::unique_lock<std::mutex>& lock);
  void endUnwanted(std::unique_lock<std::mutex>& lock);

  std::mutex _mutex;
  std::condition_variable _changed;
  std::map<std::string, Recent> _recent;
  std::map<std::string, Spare> _spares;
  /// By the service's name, what to launch it with.
  std::map<std::string, ServiceSurroundings> _wanted;
  /// Counts calls of clear(), so that a launch which one overtakes is not kept.
  std::uint64_t _clearings = 0;
  bool _serving = false;
  bool _launching = false;
};

}  // namespace qrb
