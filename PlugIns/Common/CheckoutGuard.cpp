#include "CheckoutGuard.h"

#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <utility>

#include "AskpassChannel.h"

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

}  // namespace

std::optional<CheckoutGuard> CheckoutGuard::begin(const std::string& target, std::string& reason) {
  if (isInMetadata(target)) {
    reason = "It would lie where working copies keep their metadata, which no repository may write.";
    return std::nullopt;
  }
  DescriptorPair connection = makeSocketPair();
  LaunchOptions options;
  options.path = helperProgram("qrb-checkout-guard");
  options.arguments = {options.path, target};
  options.workingDirectory = "/";
  options.stdinDescriptor = connection.second.get();
  options.stdoutDescriptor = connection.second.get();
  options.stderrDescriptor = connection.second.get();
  if (!connection) {
    reason = "No socket could be made.";
    return std::nullopt;
  }
  auto launched = Process::launch(options);
  if (const auto* const failure = std::get_if<LaunchFailure>(&launched)) {
    reason = failure->text;
    return std::nullopt;
  }
  connection.second.reset();
  CheckoutGuard guard(std::move(std::get<Process>(launched)), std::move(connection.first));
  const std::string answer = guard.readAnswer();
  if (!answer.starts_with('/')) {
    reason = answer;
    return std::nullopt;
  }
  guard._folder = answer;
  return guard;
}

CheckoutGuard::~CheckoutGuard() {
  _connection.reset();
  // Moved from, it has none.
  if (_process.pidfd() >= 0) _process.wait();
}

int CheckoutGuard::keep() {
  if (::send(_connection.get(), "k", 1, MSG_NOSIGNAL) != 1) return errno;
  const std::string answer = readAnswer();
  int number = EIO;
  std::from_chars(answer.data(), answer.data() + answer.size(), number);
  return number;
}

std::string CheckoutGuard::readAnswer() {
  std::string answer;
  for (char byte = 0;;) {
    const ssize_t got = ::read(_connection.get(), &byte, 1);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0 || byte == '\0') return answer;
    answer.push_back(byte);
  }
}

}  // namespace qrb
