#include "Jobs.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <optional>
#include <utility>

#include "FileSystem.h"

namespace {

/// The numbers of a line, none where something else stands there.
std::optional<std::vector<std::size_t>> readNumbers(std::string_view line) {
  std::vector<std::size_t> numbers;
  while (!line.empty()) {
    std::size_t number = 0;
    auto [end, failure] = std::from_chars(line.data(), line.data() + line.size(), number);
    if (failure != std::errc()) return std::nullopt;
    numbers.push_back(number);
    line.remove_prefix(static_cast<std::size_t>(end - line.data()));
    if (!line.empty() && line.front() != ' ') return std::nullopt;
    if (!line.empty()) line.remove_prefix(1);
  }
  return numbers;
}

}  // namespace

bool Jobs::add(std::string_view announcement, Orders& orders) {
  auto numbers = readNumbers(announcement);
  if (!numbers || numbers->size() < 3) return false;
  Job job;
  job.number = static_cast<int>(numbers->front());
  for (std::size_t place = 2; place < numbers->size(); ++place) {
    auto argument = orders.nextBytes((*numbers)[place]);
    if (!argument) return false;
    job.arguments.push_back(std::move(*argument));
  }
  auto input = orders.nextBytes((*numbers)[1]);
  if (!input) return false;
  job.input = std::move(*input);
  _jobs.push_back(std::move(job));
  return true;
}

void Jobs::withdraw(int number) {
  _jobs.remove_if([number](const Job& job) { return job.number == number; });
}

void Jobs::run() const {
  for (const Job& job : _jobs) run(job);
}

void Jobs::run(const Job& job) {
  qrb::FileDescriptor input = qrb::holdInMemory(job.input);
  if (!input.valid()) return;
  std::vector<char*> arguments;
  for (const std::string& argument : job.arguments) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_adddup2(&actions, input.get(), STDIN_FILENO);
  ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_RDWR, 0);
  ::posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
  // What this process ignores is nothing that programs are used to.
  posix_spawnattr_t attributes;
  sigset_t all;
  ::sigfillset(&all);
  ::posix_spawnattr_init(&attributes);
  ::posix_spawnattr_setsigdefault(&attributes, &all);
  ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
  pid_t process = -1;
  if (::posix_spawn(&process, arguments.front(), &actions, &attributes, arguments.data(), environ) == 0) {
    while (::waitpid(process, nullptr, 0) < 0 && errno == EINTR) {
    }
  }
  ::posix_spawnattr_destroy(&attributes);
  ::posix_spawn_file_actions_destroy(&actions);
}
