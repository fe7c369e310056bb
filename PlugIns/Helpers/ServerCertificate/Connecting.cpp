#include "Connecting.h"

#include <fcntl.h>
#include <gnutls/gnutls.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace {

/// How long one of several addresses may leave this program without an answer before the next is tried.
constexpr int kPatienceWithOneOfSeveral = 5000;
/// More than any proxy has to say before the tunnel.
constexpr std::size_t kMostOfAnswer = 16384;

bool connectWithin(int descriptor, const addrinfo& address, int patience) {
  if (::connect(descriptor, address.ai_addr, address.ai_addrlen) == 0) return true;
  if (errno != EINPROGRESS) return false;
  pollfd ready{descriptor, POLLOUT, 0};
  int error = ETIMEDOUT;
  socklen_t size = sizeof error;
  if (::poll(&ready, 1, patience) == 1) ::getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &size);
  errno = error;
  return error == 0;
}

/// A socket connected to the first address that answers.
int connectTo(const std::string& host, const std::string& port) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  std::string server = host + ":" + port;
  if (int error = ::getaddrinfo(host.c_str(), port.c_str(), &hints, &found); error != 0) {
    throw std::runtime_error(server + " could not be found: " + ::gai_strerror(error));
  }
  std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> addresses(found, &::freeaddrinfo);
  for (const addrinfo* address = found; address != nullptr; address = address->ai_next) {
    int descriptor = ::socket(address->ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    int patience = address->ai_next != nullptr ? kPatienceWithOneOfSeveral : -1;
    if (descriptor >= 0 && connectWithin(descriptor, *address, patience)) {
      ::fcntl(descriptor, F_SETFL, ::fcntl(descriptor, F_GETFL) & ~O_NONBLOCK);
      return descriptor;
    }
    int error = errno;
    if (descriptor >= 0) ::close(descriptor);
    errno = error;
  }
  throw std::runtime_error(server + " could not be reached: " + std::strerror(errno));
}

std::string base64(const std::string& text) {
  gnutls_datum_t bytes{reinterpret_cast<unsigned char*>(const_cast<char*>(text.data())),
                       static_cast<unsigned>(text.size())};
  gnutls_datum_t encoded{};
  if (gnutls_base64_encode2(&bytes, &encoded) < 0) throw std::runtime_error("The login at the proxy cannot be sent");
  std::string result(reinterpret_cast<const char*>(encoded.data), encoded.size);
  gnutls_free(encoded.data);
  return result;
}

void send(int descriptor, const std::string& text) {
  for (std::size_t sent = 0; sent < text.size();) {
    ssize_t count = ::send(descriptor, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
    if (count < 0) throw std::runtime_error(std::string("The proxy does not listen: ") + std::strerror(errno));
    sent += static_cast<std::size_t>(count);
  }
}

/// Up to the empty line and not a byte further, for what follows is the server's.
std::string readAnswer(int descriptor) {
  std::string answer;
  while (!answer.ends_with("\r\n\r\n") && !answer.ends_with("\n\n")) {
    char byte;
    ssize_t count = ::recv(descriptor, &byte, 1, 0);
    if (count <= 0 || answer.size() >= kMostOfAnswer) throw std::runtime_error("The proxy did not answer as one does");
    answer.push_back(byte);
  }
  return answer;
}

void askProxy(int descriptor, const std::string& host, const std::string& port, const Proxy& proxy) {
  std::string server = (host.find(':') == std::string::npos ? host : "[" + host + "]") + ":" + port;
  std::string request = "CONNECT " + server + " HTTP/1.1\r\nHost: " + server + "\r\n";
  if (!proxy.login.empty()) request += "Proxy-Authorization: Basic " + base64(proxy.login) + "\r\n";
  send(descriptor, request + "\r\n");
  std::string answer = readAnswer(descriptor);
  std::string line = answer.substr(0, answer.find_first_of("\r\n"));
  // "HTTP/1.1 200 Connection established"
  std::size_t blank = line.find(' ');
  bool isAnswer = line.starts_with("HTTP/1.") && blank != std::string::npos;
  if (isAnswer && line.compare(blank + 1, 1, "2") == 0) return;
  for (char& byte : line) {
    if (byte < ' ' || byte > '~') byte = '?';
  }
  throw std::runtime_error("The proxy " + proxy.host + ":" + proxy.port + " does not connect to " + server + ": " +
                           (isAnswer ? line.substr(blank + 1) : line));
}

}  // namespace

int connectToServer(const std::string& host, const std::string& port, const Proxy& proxy) {
  if (proxy.host.empty()) return connectTo(host, port);
  int descriptor = connectTo(proxy.host, proxy.port);
  askProxy(descriptor, host, port, proxy);
  return descriptor;
}
