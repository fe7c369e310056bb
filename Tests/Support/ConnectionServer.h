#pragma once

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "FileDescriptor.h"

namespace qrb::test {

/// A socket that listens on loopback, on a port of the system's choice. Throws std::system_error.
inline std::pair<FileDescriptor, int> listenOnLoopback() {
  FileDescriptor listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  if (!listener.valid() || ::bind(listener.get(), reinterpret_cast<sockaddr*>(&address), length) != 0 ||
      ::listen(listener.get(), 16) != 0 ||
      ::getsockname(listener.get(), reinterpret_cast<sockaddr*>(&address), &length) != 0) {
    throw std::system_error(errno, std::generic_category(), "listen on loopback");
  }
  return {std::move(listener), ::ntohs(address.sin_port)};
}

/// A server made of a program that serves one connection on its standard input and output: one process of it for each.
/// All have ended when the object goes.
class ConnectionServer {
 public:
  /// The environment is the whole of it; what the program writes to standard error is thrown away.
  ConnectionServer(std::vector<std::string> command, std::vector<std::string> environment)
      : _command(std::move(command)), _environment(std::move(environment)) {
    std::tie(_listener, _port) = listenOnLoopback();
    _thread = std::thread([this] { accept(); });
  }
  ~ConnectionServer() {
    ::shutdown(_listener.get(), SHUT_RDWR);
    _thread.join();
    {
      std::lock_guard lock(_mutex);
      for (pid_t process : _running) ::kill(process, SIGKILL);
    }
    for (std::thread& waiter : _waiters) waiter.join();
  }
  ConnectionServer(const ConnectionServer&) = delete;
  ConnectionServer& operator=(const ConnectionServer&) = delete;

  int port() const { return _port; }

 private:
  void accept() {
    for (;;) {
      FileDescriptor client(::accept4(_listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
      if (!client.valid()) return;
      pid_t process = start(client);
      if (process < 0) continue;
      std::lock_guard lock(_mutex);
      _running.push_back(process);
      _waiters.emplace_back([this, process] { reap(process); });
    }
  }

  pid_t start(const FileDescriptor& client) {
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, client.get(), STDIN_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, client.get(), STDOUT_FILENO);
    ::posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    auto pointers = [](std::vector<std::string>& texts) {
      std::vector<char*> result;
      for (std::string& text : texts) result.push_back(text.data());
      result.push_back(nullptr);
      return result;
    };
    pid_t process = -1;
    ::posix_spawnp(&process, _command.front().c_str(), &actions, nullptr, pointers(_command).data(),
                   pointers(_environment).data());
    ::posix_spawn_file_actions_destroy(&actions);
    return process;
  }

  void reap(pid_t process) {
    siginfo_t info{};
    // Not reaped before it is off the list, so that no other process is ever killed in its place.
    while (::waitid(P_PID, static_cast<id_t>(process), &info, WEXITED | WNOWAIT) != 0 && errno == EINTR) {
    }
    std::lock_guard lock(_mutex);
    std::erase(_running, process);
    ::waitpid(process, nullptr, 0);
  }

  std::vector<std::string> _command;
  std::vector<std::string> _environment;
  FileDescriptor _listener;
  int _port = 0;
  std::mutex _mutex;
  std::vector<pid_t> _running;
  std::vector<std::thread> _waiters;
  std::thread _thread;
};

}  // namespace qrb::test
