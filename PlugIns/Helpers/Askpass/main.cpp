// The program that git and ssh start where they would ask a user: it hands the question on to the plug-in that started
// them, and prints the answer. With one argument it is asked for a secret, with five for the key of a server.

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "AskpassProtocol.h"
#include "Secrecy.h"

namespace {

int connectToPlugIn() {
  const char* name = std::getenv(kAskpassSocketVariable);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  // The name comes after a zero byte, which means that no file is meant.
  std::size_t length = name != nullptr ? std::strlen(name) : 0;
  if (length == 0 || length >= sizeof address.sun_path) return -1;
  std::memcpy(address.sun_path + 1, name, length);
  int connection = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
  ucred peer{};
  auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + length);
  if (connection < 0 || ::connect(connection, reinterpret_cast<const sockaddr*>(&address), size) != 0 ||
      !askpassPeerIsOurs(connection, peer)) {
    return -1;
  }
  return connection;
}

bool print(const char* text, std::size_t size) {
  while (size > 0) {
    ssize_t written = ::write(STDOUT_FILENO, text, size);
    if (written <= 0) return false;
    text += written;
    size -= static_cast<std::size_t>(written);
  }
  return true;
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2 && count != kAskpassHostKeyValues + 1) {
    std::fputs("This program hands questions of git and ssh to a source control plug-in, which starts it.\n", stderr);
    return 2;
  }
  qrb::forbidCoreFiles();
  std::string question(count == 2 ? kAskpassPromptKind : kAskpassHostKeyKind);
  for (int index = 1; index < count; ++index) question.append(1, '\0').append(arguments[index]);
  question.append(1, '\0');
  int connection = connectToPlugIn();
  if (connection < 0 || ::send(connection, question.data(), question.size(), MSG_NOSIGNAL) < 0) return 1;
  static char answer[kAskpassLongestPacket];
  ssize_t size = ::recv(connection, answer, sizeof answer - 1, 0);
  if (size < 1) return 1;
  // ssh takes a failure for one of its own, and no key for none that is known.
  if (answer[0] != kAskpassYes) return count == 2 ? 1 : 0;
  answer[size] = '\n';
  bool isPrinted = print(answer + 1, static_cast<std::size_t>(size));
  ::explicit_bzero(answer, sizeof answer);
  return isPrinted ? 0 : 1;
}
