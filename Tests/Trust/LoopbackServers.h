#pragma once

#include <gnutls/gnutls.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "ConnectionServer.h"
#include "TestAuthority.h"

namespace qrb::test {

/// Calls a function on a thread of its own for each connection, with its number from 0 on. All have ended when the
/// object goes.
class ThreadedServer {
 public:
  using Serve = std::function<void(int connection, int number)>;

  explicit ThreadedServer(Serve serve) : _serve(std::move(serve)) {
    std::tie(_listener, _port) = listenOnLoopback();
    _thread = std::thread([this] { accept(); });
  }
  ~ThreadedServer() {
    ::shutdown(_listener.get(), SHUT_RDWR);
    _thread.join();
    // Whoever still waits hears that nothing will come.
    for (const FileDescriptor& connection : _connections) ::shutdown(connection.get(), SHUT_RDWR);
    for (std::thread& each : _threads) each.join();
  }
  ThreadedServer(const ThreadedServer&) = delete;
  ThreadedServer& operator=(const ThreadedServer&) = delete;

  int port() const { return _port; }

 private:
  void accept() {
    for (int number = 0;; ++number) {
      FileDescriptor connection(::accept4(_listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
      if (!connection.valid()) return;
      int descriptor = connection.get();
      _connections.push_back(std::move(connection));
      _threads.emplace_back([this, descriptor, number] {
        _serve(descriptor, number);
        ::shutdown(descriptor, SHUT_RDWR);
      });
    }
  }

  const Serve _serve;
  FileDescriptor _listener;
  int _port = 0;
  std::vector<FileDescriptor> _connections;
  std::vector<std::thread> _threads;
  std::thread _thread;
};

inline FileDescriptor connectToLoopback(int port) {
  FileDescriptor connection(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
  address.sin_port = ::htons(static_cast<std::uint16_t>(port));
  if (::connect(connection.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) connection.reset();
  return connection;
}

inline bool sendAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    ssize_t sent = ::send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
  return true;
}

/// Hands on what comes on either side until one has no more.
template <class Read, class Write, class IsPending>
void shuttle(int client, int server, Read&& read, Write&& write, IsPending&& isPending) {
  char buffer[16384];
  for (;;) {
    pollfd ends[] = {{client, POLLIN, 0}, {server, POLLIN, 0}};
    if (!isPending() && ::poll(ends, 2, -1) < 0) return;
    if (isPending() || ends[0].revents != 0) {
      ssize_t got = read(buffer, sizeof buffer);
      if (got <= 0 || !sendAll(server, {buffer, static_cast<std::size_t>(got)})) return;
    }
    if (ends[1].revents != 0) {
      ssize_t got = ::recv(server, buffer, sizeof buffer, 0);
      if (got <= 0 || !write(buffer, static_cast<std::size_t>(got))) return;
    }
  }
}

/// Serves one TLS connection: what comes goes to a plain server, and back.
inline void serveTLS(int client, const IssuedCertificate& shown, const std::string& statusFile, int backend) {
  gnutls_certificate_credentials_t credentials = nullptr;
  gnutls_session_t session = nullptr;
  checkTLS(gnutls_certificate_allocate_credentials(&credentials), "credentials");
  gnutls_x509_crt_t chain[] = {shown.certificate()};
  checkTLS(gnutls_certificate_set_x509_key(credentials, chain, 1, shown.key()), "credentials");
  auto giveStatus = [](gnutls_session_t, void* file, gnutls_datum_t* status) {
    return gnutls_load_file(static_cast<const char*>(file), status);
  };
  if (!statusFile.empty()) {
    gnutls_certificate_set_ocsp_status_request_function(credentials, giveStatus, const_cast<char*>(statusFile.c_str()));
  }
  checkTLS(gnutls_init(&session, GNUTLS_SERVER | GNUTLS_NO_SIGNAL), "session");
  checkTLS(gnutls_set_default_priority(session), "session");
  checkTLS(gnutls_credentials_set(session, GNUTLS_CRD_CERTIFICATE, credentials), "session");
  gnutls_transport_set_int(session, client);
  int result;
  while ((result = gnutls_handshake(session)) < 0 && gnutls_error_is_fatal(result) == 0) {
  }
  FileDescriptor server = result == 0 ? connectToLoopback(backend) : FileDescriptor();
  if (server.valid()) {
    shuttle(
        client, server.get(), [&](char* bytes, std::size_t size) { return gnutls_record_recv(session, bytes, size); },
        [&](const char* bytes, std::size_t size) {
          return gnutls_record_send(session, bytes, size) == static_cast<ssize_t>(size);
        },
        [&] { return gnutls_record_check_pending(session) > 0; });
    gnutls_bye(session, GNUTLS_SHUT_WR);
  }
  gnutls_deinit(session);
  gnutls_certificate_free_credentials(credentials);
}

/// An HTTP proxy that connects to its own machine, whatever name it is given, and notes what it was asked.
class ConnectProxy {
 public:
  /// Whoever has another login than this ("Basic …") is asked for it again.
  explicit ConnectProxy(std::string login) : _login(std::move(login)) {}

  int port() const { return _server.port(); }
  std::vector<std::string> requests() {
    std::lock_guard lock(_mutex);
    return _requests;
  }

 private:
  std::string readRequest(int client) {
    std::string request;
    for (char byte; !request.ends_with("\r\n\r\n") && ::recv(client, &byte, 1, 0) == 1;) request.push_back(byte);
    std::lock_guard lock(_mutex);
    if (!request.empty()) _requests.push_back(request);
    return request;
  }

  void serve(int client) {
    std::string request = readRequest(client);
    while (!request.empty() && request.find("Proxy-Authorization: " + _login) == std::string::npos) {
      sendAll(client,
              "HTTP/1.1 407 Who are you\r\nProxy-Authenticate: Basic realm=\"proxy\"\r\nContent-Length: 0\r\n\r\n");
      request = readRequest(client);
    }
    std::string target = request.substr(0, request.find(" HTTP"));
    FileDescriptor server = connectToLoopback(std::atoi(target.substr(target.rfind(':') + 1).c_str()));
    if (!target.starts_with("CONNECT ") || !server.valid()) {
      sendAll(client, "HTTP/1.1 502 Nobody there\r\nContent-Length: 0\r\n\r\n");
      return;
    }
    sendAll(client, "HTTP/1.1 200 Connected\r\n\r\n");
    shuttle(
        client, server.get(), [&](char* bytes, std::size_t size) { return ::recv(client, bytes, size, 0); },
        [&](const char* bytes, std::size_t size) {
          return sendAll(client, {bytes, size});
        },
        [] { return false; });
  }

  const std::string _login;
  std::mutex _mutex;
  std::vector<std::string> _requests;
  ThreadedServer _server{[this](int client, int) { serve(client); }};
};

}  // namespace qrb::test
