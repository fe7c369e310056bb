#include "Secrecy.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

#include "Sandbox.h"
#include "TemporaryDirectory.h"

namespace qrb::test {
namespace {

/// Whether a core file is made of a process that does something, has no limit of its own, and aborts.
template <class Work>
bool dumpsCore(const Work& work) {
  const TemporaryDirectory folder;
  pid_t child = ::fork();
  if (child == 0) {
    std::filesystem::current_path(folder.path());
    work();
    rlimit limit{};
    ::getrlimit(RLIMIT_CORE, &limit);
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_CORE, &limit);
    ::signal(SIGABRT, SIG_DFL);
    ::raise(SIGABRT);
  }
  int status = 0;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFSIGNALED(status));
  return WCOREDUMP(status);
}

TEST(Secrecy, aProcessThatForbidsCoreFilesMakesNoneWhateverItsLimit) {
  if (!dumpsCore([] {})) GTEST_SKIP() << "the system makes no core files";
  EXPECT_FALSE(dumpsCore(forbidCoreFiles));
}

/// The flags of the memory that holds an address, as the kernel tells them.
std::string memoryFlags(const void* address) {
  std::ifstream maps("/proc/self/smaps");
  bool isIt = false;
  for (std::string line; std::getline(maps, line);) {
    std::uintptr_t begin = 0;
    std::uintptr_t end = 0;
    if (std::sscanf(line.c_str(), "%lx-%lx ", &begin, &end) == 2) {
      auto wanted = reinterpret_cast<std::uintptr_t>(address);
      isIt = begin <= wanted && wanted < end;
    }
    if (isIt && line.starts_with("VmFlags:")) return line + " ";
  }
  return {};
}

TEST(Secrecy, aSecretStaysOutOfCoreFilesWhoeverMakesThem) {
  SecretText secret("s3cr3t");
  EXPECT_EQ(secret.view(), "s3cr3t");
  EXPECT_NE(memoryFlags(secret.view().data()).find(" dd "), std::string::npos);
}

TEST(Secrecy, wipingLeavesNothingOfWhatTheTextHeld) {
  std::string text(100, 's');
  text.resize(50);
  const char* const bytes = text.data();
  wipe(text);
  EXPECT_TRUE(text.empty());
  EXPECT_EQ(std::string(bytes, 100), std::string(100, '\0'));
}

/// Whether it succeeds in a process of its own that has entered a sandbox.
bool succeedsIn(const SandboxRules& rules, const std::function<bool()>& deed) {
  pid_t child = ::fork();
  if (child == 0) {
    if (enterSandbox(rules) != 0) ::_exit(2);
    ::_exit(deed() ? 0 : 1);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) != 2) << "the sandbox was refused";
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

bool canOpen(const std::string& path, int flags) {
  int descriptor = ::open(path.c_str(), flags | O_CLOEXEC, 0600);
  if (descriptor >= 0) ::close(descriptor);
  return descriptor >= 0;
}

bool canRun(const char* program) {
  pid_t child = ::fork();
  if (child == 0) {
    ::execl(program, program, nullptr);
    ::_exit(126);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

/// Refused by the sandbox, and not for want of somebody who listens.
bool mayConnect() {
  int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(1);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  int result = ::connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address);
  bool isRefused = result != 0 && errno == EACCES;
  ::close(descriptor);
  return !isRefused;
}

TEST(Sandbox, leavesNothingButReadingAndWhatTheRulesName) {
  if (!sandboxSupport().files) GTEST_SKIP() << "This kernel has none.";
  const TemporaryDirectory folder;
  std::string inside = folder.path() / "inside";
  std::string outside = folder.path() / "outside";
  for (const std::string& place : {inside, outside}) {
    ASSERT_EQ(::mkdir(place.c_str(), 0700), 0);
    ASSERT_EQ(::mkdir((place + "/empty").c_str(), 0700), 0);
    ASSERT_TRUE(canOpen(place + "/file", O_CREAT | O_WRONLY));
  }
  std::string loader = "/lib64/ld-linux-x86-64.so.2";
  const SandboxRules none;
  SandboxRules writing{{}, {inside}, {}, false, false};
  SandboxRules removing{{}, {}, {outside}, false, false};
  SandboxRules running{{"/bin/true", loader, "/no/such/program"}, {}, {}, false, false};
  SandboxRules connecting{{}, {}, {}, false, true};
  pid_t self = ::getpid();
  const struct {
    const char* what;
    const SandboxRules& rules;
    bool mayBe;
    std::function<bool()> deed;
  } cases[] = {
      {"read", none, true, [&] { return canOpen(outside + "/file", O_RDONLY); }},
      {"read a device", none, false, [] { return canOpen("/dev/zero", O_RDONLY); }},
      {"list", none, true, [&] { return canOpen(outside, O_RDONLY | O_DIRECTORY); }},
      {"list processes", none, false, [&] { return canOpen("/proc/self/task", O_RDONLY | O_DIRECTORY); }},
      {"write to nothing", none, true, [&] { return canOpen("/dev/null", O_RDWR); }},
      {"write", none, false, [&] { return canOpen(outside + "/file", O_WRONLY); }},
      {"write beside", writing, false, [&] { return canOpen(outside + "/file", O_WRONLY); }},
      {"write inside", writing, true, [&] { return canOpen(inside + "/file", O_WRONLY); }},
      {"make", none, false, [&] { return canOpen(outside + "/new", O_CREAT | O_WRONLY); }},
      {"make inside", writing, true, [&] { return canOpen(inside + "/new", O_CREAT | O_WRONLY); }},
      {"cut short", none, !sandboxSupport().truncating,
       [&] { return ::truncate((outside + "/file").c_str(), 0) == 0; }},
      {"remove", none, false, [&] { return ::unlink((outside + "/file").c_str()) == 0; }},
      {"remove beside a folder", removing, false, [&] { return ::unlink((outside + "/file").c_str()) == 0; }},
      {"move out", writing, false,
       [&] { return ::rename((inside + "/file").c_str(), (outside + "/moved").c_str()) == 0; }},
      {"remove a folder", none, false, [&] { return ::rmdir((outside + "/empty").c_str()) == 0; }},
      {"remove an empty folder", removing, true, [&] { return ::rmdir((outside + "/empty").c_str()) == 0; }},
      {"run", none, false, [] { return canRun("/bin/true"); }},
      {"run the one named", running, true, [] { return canRun("/bin/true"); }},
      {"run another", running, false, [] { return canRun("/bin/false") || canRun("/bin/sh"); }},
      {"connect", none, !sandboxSupport().tcp, mayConnect},
      {"connect by leave", connecting, true, mayConnect},
      {"signal", none, !sandboxSupport().signalsAndSockets, [self] { return ::kill(self, 0) == 0; }},
  };
  for (const auto& each : cases) EXPECT_EQ(succeedsIn(each.rules, each.deed), each.mayBe) << each.what;
}

}  // namespace
}  // namespace qrb::test
