#include "AskpassChannel.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <memory>

#include "AskpassProtocol.h"
#include "OwnProgram.h"
#include "Secrecy.h"

namespace qrb {
namespace {

/// Listens under a name that the system chooses, and returns that name; empty with an invalid listener when it cannot.
std::string listen(FileDescriptor& listener) {
  FileDescriptor made(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  socklen_t size = sizeof address.sun_family;
  if (!made.valid() || ::bind(made.get(), reinterpret_cast<const sockaddr*>(&address), size) != 0) return {};
  size = sizeof address;
  if (::listen(made.get(), 16) != 0 || ::getsockname(made.get(), reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    return {};
  }
  std::size_t length = size - offsetof(sockaddr_un, sun_path);
  if (length < 2) return {};
  listener = std::move(made);
  return {address.sun_path + 1, length - 1};
}

/// Besides this process's own tools, nobody in its session can be: it made the session.
bool isOwnTool(int connection) {
  ucred peer{};
  return askpassPeerIsOurs(connection, peer) && ::getsid(peer.pid) == ::getsid(0);
}

std::string receive(int connection) {
  timeval patience{1, 0};
  ::setsockopt(connection, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  std::unique_ptr<char[]> packet(new char[kAskpassLongestPacket]);
  ssize_t size = ::recv(connection, packet.get(), kAskpassLongestPacket, 0);
  return size > 0 ? std::string(packet.get(), static_cast<std::size_t>(size)) : std::string();
}

}  // namespace

std::optional<AskpassQuestion> parseAskpassQuestion(std::string_view packet) {
  if (!packet.ends_with('\0')) return std::nullopt;
  AskpassQuestion question;
  for (bool isFirst = true; !packet.empty(); isFirst = false) {
    std::string_view field = packet.substr(0, packet.find('\0'));
    packet.remove_prefix(field.size() + 1);
    if (isFirst) {
      question.kind = field;
    } else {
      question.values.emplace_back(field);
    }
  }
  bool isPrompt = question.kind == kAskpassPromptKind && question.values.size() == 1;
  bool isHostKey = question.kind == kAskpassHostKeyKind && question.values.size() == kAskpassHostKeyValues;
  if (!isPrompt && !isHostKey) return std::nullopt;
  return question;
}

AskpassChannel::AskpassChannel(Answer answer) : _answer(std::move(answer)) {
  _name = listen(_listener);
}

void AskpassChannel::serve() {
  for (;;) {
    FileDescriptor connection(::accept4(_listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (!connection.valid()) return;
    if (!isOwnTool(connection.get())) continue;
    auto question = parseAskpassQuestion(receive(connection.get()));
    auto text = question ? _answer(*question) : std::nullopt;
    std::string packet = text ? kAskpassYes + *text : std::string(1, kAskpassNo);
    ::send(connection.get(), packet.data(), packet.size(), MSG_NOSIGNAL);
    wipe(packet);
    if (text) wipe(*text);
  }
}

std::vector<std::pair<std::string, std::string>> AskpassChannel::environment() const {
  std::string program = askpassProgram();
  return {{kAskpassSocketVariable, _name},
          {"GIT_ASKPASS", program},
          {"SSH_ASKPASS", program},
          {"SSH_ASKPASS_REQUIRE", "force"}};
}

std::string askpassProgram() {
  return programBesideOwn("qrb-askpass");
}

}  // namespace qrb
