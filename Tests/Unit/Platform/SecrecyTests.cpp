#include "Secrecy.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>

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

}  // namespace
}  // namespace qrb::test
