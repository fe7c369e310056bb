#include "GuardProcess.h"

#include <sys/socket.h>

#include <cerrno>
#include <utility>

namespace qrb {

namespace {

void sendAll(int socket, std::string_view bytes) {
  while (!bytes.empty()) {
    ssize_t sent = ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent <= 0) return;
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
}

}  // namespace

std::variant<GuardProcess, LaunchFailure> GuardProcess::launch(const std::string& program,
                                                               const std::vector<std::string>& arguments, Place place,
                                                               int lentDescriptor) {
  DescriptorPair sockets = makeSocketPair();
  if (!sockets) return LaunchFailure{LaunchFailure::Step::descriptors, errno, "No socket could be made."};
  LaunchOptions options;
  options.path = program;
  options.arguments = {program};
  options.arguments.insert(options.arguments.end(), arguments.begin(), arguments.end());
  options.workingDirectory = "/";
  options.newSession = place == Place::ownSession;
  options.stdinDescriptor = options.stdoutDescriptor = sockets.second.get();
  options.inheritedDescriptor = lentDescriptor;
  auto launched = Process::launch(options);
  if (auto* failure = std::get_if<LaunchFailure>(&launched)) return std::move(*failure);
  return GuardProcess(std::move(std::get<Process>(launched)), std::move(sockets.first));
}

std::string GuardProcess::answer() {
  std::string line;
  for (char byte = 0;;) {
    ssize_t got = ::recv(_connection.get(), &byte, 1, 0);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0 || byte == '\n') return line;
    line.push_back(byte);
  }
}

void GuardProcess::order(const std::string& line, std::string_view bytes) {
  sendAll(_connection.get(), line + "\n");
  sendAll(_connection.get(), bytes);
}

void GuardProcess::endOrders() {
  ::shutdown(_connection.get(), SHUT_WR);
}

void GuardProcess::awaitEnd() {
  char byte = 0;
  for (ssize_t got = 1; got > 0 || (got < 0 && errno == EINTR);) got = ::recv(_connection.get(), &byte, 1, 0);
}

}  // namespace qrb
