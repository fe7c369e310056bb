#include "Transfers.h"

#include <atomic>
#include <future>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

#include "Measuring.h"
#include "QRBSourceControl.h"
#include "QRBSourceControlConstants.h"
#include "QRBSourceControlManager.h"
#include "QRBSourceControlRemoteRepository.h"

namespace transfers {
namespace {

using measuring::Clock;
using nlohmann::json;

const QRBSourceControlSystemPtr& git() {
  static const auto system = QRBSourceControlSystem::systemWithIdentifier(QRBSourceControlGitPlugInIdentifier);
  return system;
}

QRBSourceControlRemoteRepositoryPtr remoteAt(const std::string& address,
                                             const QRBSourceControlSystemPtr& system = git()) {
  return QRBSourceControlRemoteRepository::initUnsavedWithURL(qrb::URL(address), system);
}

QRBSourceControlRepositoryPtr repositoryAt(const std::string& folder) {
  return QRBSourceControlRepository::initWithURL(qrb::URL::fileURL(folder, true), git());
}

/// Starts a request with a progress block and a completion that takes the error last, and waits for its end.
template <class Start>
json measure(const Start& start) {
  std::promise<std::pair<Clock::time_point, qrb::Error>> settled;
  std::atomic<int> reports = 0;
  Clock::time_point begin = Clock::now();
  start([&](const qrb::String&, double) { ++reports; },
        [&](const qrb::Error& error) {
          settled.set_value({Clock::now(), error});
        });
  auto [end, error] = settled.get_future().get();
  if (error) throw std::runtime_error(error.description());
  measuring::waitForChildren();
  return {{"wall", measuring::milliseconds(end - begin)}, {"progress", reports.load()}};
}

}  // namespace

json clone(const json& request) {
  bool isSubversion = request.value("system", "") == "Subversion";
  auto remote = isSubversion
                    ? remoteAt(request.at("from"),
                               QRBSourceControlSystem::systemWithIdentifier(QRBSourceControlSubversionPlugInIdentifier))
                    : remoteAt(request.at("from"));
  qrb::URL place = qrb::URL::fileURL(std::string(request.at("to")), true);
  return measure([&](auto progress, auto done) {
    remote->createWorkingCopyAtURL(
        place, nullptr, nullptr, progress,
        [done](const QRBSourceControlWorkingCopyPtr&, const qrb::Error& error) { done(error); });
  });
}

json fetch(const json& request) {
  auto remote = remoteAt(request.at("from"));
  auto repository = repositoryAt(request.at("folder"));
  return measure(
      [&](auto progress, auto done) { repository->downloadUpdatesFromRemoteRepository(remote, progress, done); });
}

json push(const json& request) {
  auto remote = remoteAt(request.at("to"));
  auto repository = repositoryAt(request.at("folder"));
  return measure(
      [&](auto progress, auto done) { repository->uploadCommitsToRemoteRepository(remote, nullptr, progress, done); });
}

}  // namespace transfers
