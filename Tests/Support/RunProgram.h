#pragma once

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace qrb::test {

/// How a program that a test ran came out.
struct ProgramResult {
  int status = 0;      ///< the exit status, or 128 + the signal that ended it, as a shell says it
  std::string output;  ///< standard output and, unless they are kept apart, standard error, in the order written
};

/// Runs a program to its end, without a shell: each argument arrives as the bytes given. The first one is looked for in
/// PATH. `environment` is the whole of it, as NAME=value; `directory` is where it runs; `input` is what it reads. With
/// `errors` standard error goes there. Throws std::system_error when it cannot be started.
inline ProgramResult runProgram(const std::vector<std::string>& arguments, const std::vector<std::string>& environment,
                                const std::string& directory, std::string_view input = {},
                                std::string* errors = nullptr) {
  auto check = [&](int error, const char* what) {
    if (error != 0) {
      throw std::system_error(error, std::generic_category(), std::string(what) + " " + arguments.front());
    }
  };
  auto pointers = [](const std::vector<std::string>& strings) {
    std::vector<char*> result;
    for (const std::string& string : strings) {
      result.push_back(const_cast<char*>(string.c_str()));  // posix_spawn takes char* and writes to none
    }
    result.push_back(nullptr);
    return result;
  };

  int inputFile = memfd_create("input", MFD_CLOEXEC);
  int errorFile = memfd_create("errors", MFD_CLOEXEC);
  check(pwrite(inputFile, input.data(), input.size(), 0) < 0 ? errno : 0, "input for");
  int pipeEnds[2];
  check(pipe2(pipeEnds, O_CLOEXEC) == 0 ? 0 : errno, "pipe2 for");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, inputFile, STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, pipeEnds[1], STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, errors != nullptr ? errorFile : pipeEnds[1], STDERR_FILENO);
  posix_spawn_file_actions_addchdir_np(&actions, directory.c_str());
  pid_t process = -1;
  int error = posix_spawnp(&process, arguments.front().c_str(), &actions, nullptr, pointers(arguments).data(),
                           pointers(environment).data());
  posix_spawn_file_actions_destroy(&actions);
  close(pipeEnds[1]);
  close(inputFile);
  if (error != 0) {
    close(pipeEnds[0]);
    close(errorFile);
  }
  check(error, "cannot start");

  ProgramResult result;
  char buffer[65536];
  ssize_t count;
  while ((count = read(pipeEnds[0], buffer, sizeof buffer)) > 0 || (count < 0 && errno == EINTR)) {
    if (count > 0) {
      result.output.append(buffer, static_cast<size_t>(count));
    }
  }
  close(pipeEnds[0]);
  int status = 0;
  while (waitpid(process, &status, 0) < 0) {
    check(errno == EINTR ? 0 : errno, "waitpid for");
  }
  if (errors != nullptr) {
    errors->resize(static_cast<size_t>(lseek(errorFile, 0, SEEK_END)));
    check(pread(errorFile, errors->data(), errors->size(), 0) < 0 ? errno : 0, "errors of");
  }
  close(errorFile);
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return result;
}

}  // namespace qrb::test
