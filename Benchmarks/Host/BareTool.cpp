#include "BareTool.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "Measuring.h"

namespace {

using measuring::Clock;

struct Spawned {
  pid_t pid = -1;
  int output = -1;
};

Spawned spawn(const std::string& folder, const std::vector<std::string>& arguments) {
  int pipe[2];
  if (::pipe2(pipe, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  std::vector<char*> pointers;
  for (const std::string& argument : arguments) pointers.push_back(const_cast<char*>(argument.c_str()));
  pointers.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_adddup2(&actions, pipe[1], STDOUT_FILENO);
  ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  ::posix_spawn_file_actions_addchdir_np(&actions, folder.c_str());
  Spawned spawned;
  int problem = ::posix_spawnp(&spawned.pid, pointers[0], &actions, nullptr, pointers.data(), environ);
  ::posix_spawn_file_actions_destroy(&actions);
  ::close(pipe[1]);
  spawned.output = pipe[0];
  if (problem != 0) throw std::runtime_error("cannot run " + arguments[0]);
  return spawned;
}

}  // namespace

nlohmann::json runBareTool(const std::string& folder, const std::vector<std::string>& arguments, int marks) {
  Clock::time_point start = Clock::now();
  Spawned spawned = spawn(folder, arguments);
  static std::vector<char> buffer(std::size_t{256} << 10);
  std::size_t total = 0;
  long seen = 0;
  double first = 0;
  ssize_t count = 0;
  while ((count = ::read(spawned.output, buffer.data(), buffer.size())) > 0) {
    total += static_cast<std::size_t>(count);
    if (marks == 0 || first > 0) continue;
    seen += std::count(buffer.begin(), buffer.begin() + count, '\x01');
    if (seen >= marks) first = measuring::milliseconds(Clock::now() - start);
  }
  ::close(spawned.output);
  int status = 0;
  rusage usage{};
  ::wait4(spawned.pid, &status, 0, &usage);
  double wall = measuring::milliseconds(Clock::now() - start);
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) throw std::runtime_error(arguments[0] + " failed");
  return {{"wall", wall}, {"cpu", measuring::milliseconds(usage)}, {"bytes", total}, {"first", first}};
}
