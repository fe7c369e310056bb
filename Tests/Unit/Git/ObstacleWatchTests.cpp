#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>

#include "FileDescriptor.h"
#include "ObstacleWatch.h"
#include "Process.h"
#include "TemporaryDirectory.h"

namespace qrb::test {
namespace {

/// The shell waits for its program, as a hook of git's would: other programs' waiting is nobody's business.
void expectFound(const std::string& obstacle) {
  LaunchOptions options;
  options.path = "/bin/sh";
  options.arguments = {"sh", "-c", "cat '" + obstacle + "'; exit 3"};
  auto launched = Process::launch(options);
  auto* const process = std::get_if<Process>(&launched);
  ASSERT_TRUE(process);
  ObstacleWatch other(std::filesystem::canonical("/bin/sh"));
  ObstacleWatch own("cat");
  std::optional<std::string> found;
  // Each look but the first few finds it there already.
  while (!found) {
    ASSERT_FALSE(other.look(process->pid()));
    ASSERT_FALSE(other.look(process->pid()));
    found = own.look(process->pid());
  }
  EXPECT_EQ(*found, obstacle);
  EXPECT_EQ(process->wait(), (ExitStatus{ExitStatus::Kind::exited, 3}));
}

TEST(ObstacleWatch, findsWhatItsOwnProgramWaitsForAndNoOther) {
  const TemporaryDirectory directory;
  std::string pipe = directory.path() / "pipe";
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  expectFound(pipe);
  FileDescriptor terminal(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
  ASSERT_EQ(::grantpt(terminal.get()) | ::unlockpt(terminal.get()), 0);
  expectFound(::ptsname(terminal.get()));
}

}  // namespace
}  // namespace qrb::test
