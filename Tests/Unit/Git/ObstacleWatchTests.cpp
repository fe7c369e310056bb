#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "ObstacleWatch.h"
#include "Process.h"
#include "TemporaryDirectory.h"

namespace qrb::test {
namespace {

/// As a hook of git's would: its waiting is nobody's business.
TEST(ObstacleWatch, findsWhatItsOwnProgramWaitsForAndNoOther) {
  const TemporaryDirectory directory;
  const std::string pipe = directory.path() / "pipe";
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  LaunchOptions options;
  options.path = "/bin/sh";
  options.arguments = {"sh", "-c", "cat '" + pipe + "'; exit 3"};
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
  EXPECT_EQ(*found, pipe);
  EXPECT_EQ(process->wait(), (ExitStatus{ExitStatus::Kind::exited, 3}));
}

}  // namespace
}  // namespace qrb::test
