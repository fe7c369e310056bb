#include "CheckoutGuard.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <utility>

#include "AskpassChannel.h"

namespace qrb {

std::optional<CheckoutGuard> CheckoutGuard::begin(const std::string& target, std::string& reason) {
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
