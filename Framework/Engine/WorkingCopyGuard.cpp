#include <strings.h>
#include <sys/socket.h>

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
  const fs::path place = fs::weakly_canonical(target, failure);
  // What cannot be resolved cannot be made either.
  return !failure && std::any_of(place.begin(), place.end(), [](const fs::path& part) {
    return ::strcasecmp(part.c_str(), ".git") == 0 || ::strcasecmp(part.c_str(), ".svn") == 0;
  });
}

/// What the guard says next, without the end of the line; what came of it where it ended.
std::string readAnswer(const FileDescriptor& connection) {
  std::string answer;
  for (char byte = 0;;) {
    const ssize_t got = ::recv(connection.get(), &byte, 1, 0);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0 || byte == '\n') return answer;
    answer.push_back(byte);
  }
}

void order(const FileDescriptor& connection, const std::string& line) {
  const std::string text = line + "\n";
  // Where it is gone there is nobody to be told, and its end is seen next.
  while (::send(connection.get(), text.data(), text.size(), MSG_NOSIGNAL) < 0 && errno == EINTR) {
  }
}

void awaitEnd(const FileDescriptor& connection) {
  char byte = 0;
  for (ssize_t got = 1; got > 0 || (got < 0 && errno == EINTR);) got = ::recv(connection.get(), &byte, 1, 0);
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
  const std::string path = _place.isFileURL() ? _place.path().str() : std::string();
  if (!path.starts_with('/') || path.find_first_not_of('/') == std::string::npos) return {};
  const auto unusable = [&](const std::string& reason) {
    return QRBSourceControlError_InvalidURL(_place, system ? system->name() : String(), replacingInvalidUTF8(reason));
  };
  if (isInMetadata(path)) {
    return unusable("It would lie where working copies keep their metadata, which no repository may write.");
  }
  LaunchOptions options;
  options.path = ServiceDirectories::ownProgram("qrb-guard");
  options.arguments = {options.path, "working-copy", path.substr(0, path.find_last_not_of('/') + 1)};
  options.workingDirectory = "/";
  options.newSession = true;
  DescriptorPair connection = makeSocketPair();
  if (!connection) return unusable("No socket could be made.");
  options.stdinDescriptor = options.stdoutDescriptor = connection.second.get();
  if (ProcessReaper::shared().start() != 0) return unusable("No thread could be started.");
  auto launched = Process::launch(options);
  if (const auto* const failure = std::get_if<LaunchFailure>(&launched)) return unusable(failure->text);
  connection.second.reset();
  Watch watch{std::move(std::get<Process>(launched)), std::move(connection.first)};
  const std::string answer = readAnswer(watch.connection);
  if (answer == "claimed") {
    order(watch.connection, "group " + std::to_string(processGroup));
    _watch.with([&](std::optional<Watch>& held) { held = std::move(watch); });
    return {};
  }
  letGo(std::move(watch.process));
  if (answer == "occupied") return {};
  constexpr std::string_view refused = "refused ";
  return unusable(answer.starts_with(refused) ? answer.substr(refused.size()) : "No process could watch over it.");
}

void WorkingCopyGuard::keep() {
  std::optional<Watch> watch;
  _watch.with([&](std::optional<Watch>& held) { std::swap(held, watch); });
  if (!watch) return;
  order(watch->connection, "keep");
  // Its lock on the folder ends with it.
  awaitEnd(watch->connection);
  letGo(std::move(watch->process));
}

void WorkingCopyGuard::giveUp(Waiting waiting) {
  std::optional<Watch> watch;
  _watch.with([&](std::optional<Watch>& held) { std::swap(held, watch); });
  if (!watch) return;
  ::shutdown(watch->connection.get(), SHUT_WR);
  if (waiting == Waiting::untilRemoved) awaitEnd(watch->connection);
  letGo(std::move(watch->process));
}

}  // namespace qrb
