#include <strings.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <utility>

#include "Localization.h"
#include "ProcessReaper.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlSystem.h"
#include "ServiceDirectories.h"
#include "UTF8.h"
#include "WorkingCopyGuardPrivate.h"

namespace qrb {

namespace {

// Files of a repository that lie where a tool looks for its settings would tell it which programs to run. Where letters
// of both cases are one, tools find them under any of these names.
bool isInMetadata(const std::string& target) {
  namespace fs = std::filesystem;
  std::error_code failure;
  fs::path place = fs::weakly_canonical(target, failure);
  // What cannot be resolved cannot be made either.
  return !failure && std::any_of(place.begin(), place.end(), [](const fs::path& part) {
    return ::strcasecmp(part.c_str(), ".git") == 0 || ::strcasecmp(part.c_str(), ".svn") == 0;
  });
}

/// Nobody cuts short what may be much to remove.
void letGo(Process process) {
  ProcessReaper::GracePeriods grace;
  grace.exit = std::chrono::hours(24);
  ProcessReaper::shared().adopt(std::move(process), ProcessReaper::Policy::expectExit, {}, grace);
}

}  // namespace

WorkingCopyGuard::WorkingCopyGuard(const URL& place) : _place(place) {}

WorkingCopyGuard::~WorkingCopyGuard() {
  giveUp(Waiting::no);
}

Error WorkingCopyGuard::begin(const QRBSourceControlSystemPtr& system, pid_t processGroup) {
  std::string path = _place.isFileURL() ? _place.path().str() : std::string();
  if (!path.starts_with('/') || path.find_first_not_of('/') == std::string::npos) return {};
  auto unusable = [&](const std::string& reason) {
    return QRBSourceControlError_InvalidURL(_place, system ? system->name() : String(), replacingInvalidUTF8(reason));
  };
  if (isInMetadata(path)) {
    return unusable("It would lie where working copies keep their metadata, which no repository may write.");
  }
  if (ProcessReaper::shared().start() != 0) return unusable("No thread could be started.");
  // With a slash at the end, a link could not be told from what it names.
  auto launched = GuardProcess::launch(ServiceDirectories::ownProgram("qrb-guard"),
                                       {"working-copy", path.substr(0, path.find_last_not_of('/') + 1)},
                                       GuardProcess::Place::ownSession);
  if (const auto* failure = std::get_if<LaunchFailure>(&launched)) return unusable(failure->text);
  GuardProcess guard = std::move(std::get<GuardProcess>(launched));
  std::string answer = guard.answer();
  if (answer == "claimed") {
    guard.order("group " + std::to_string(processGroup));
    _guard.with([&](std::optional<GuardProcess>& held) { held.emplace(std::move(guard)); });
    return {};
  }
  letGo(guard.takeProcess());
  if (answer == "occupied") return {};
  constexpr std::string_view refused = "refused ";
  return unusable(answer.starts_with(refused) ? answer.substr(refused.size()) : "No process could watch over it.");
}

std::optional<GuardProcess> WorkingCopyGuard::take() {
  return _guard.with([](std::optional<GuardProcess>& held) { return std::exchange(held, std::nullopt); });
}

void WorkingCopyGuard::keep() {
  std::optional<GuardProcess> guard = take();
  if (!guard) return;
  guard->order("keep");
  // The guard's lock on the folder ends with it.
  guard->awaitEnd();
  letGo(guard->takeProcess());
}

void WorkingCopyGuard::giveUp(Waiting waiting) {
  std::optional<GuardProcess> guard = take();
  if (!guard) return;
  guard->endOrders();
  if (waiting == Waiting::untilRemoved) guard->awaitEnd();
  letGo(guard->takeProcess());
}

}  // namespace qrb
