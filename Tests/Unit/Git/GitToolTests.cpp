#include "GitTool.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "FileDescriptor.h"
#include "GitCommandParts.h"
#include "GitTestRepository.h"
#include "ObstacleWatch.h"
#include "Process.h"
#include "TemporaryDirectory.h"

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

GitCommand addEverything(GitAccess access = GitAccess::write) {
  GitCommand command = gitMakeCommand({"add", "--all"});
  command.access = access;
  return command;
}

class GitToolTest : public testing::Test {
 protected:
  GitToolTest() {
    _repository.write("file", "1");
    _repository.write(".git/index.lock", "");
  }

  std::string lock() const { return (_repository.root() / ".git/index.lock").string(); }

  GitTestRepository _repository;
};

TEST_F(GitToolTest, AWritingCommandRunsOnceTheLockOfAnotherProcessIsGone) {
  GitTool tool(_repository.root().string(), -1);
  int refused = 0;
  GitOutcome outcome = tool.run(addEverything(), {}, [&](std::string_view) {
    // The other process ends while the command is waiting for its third turn.
    if (++refused == 2) fs::remove(lock());
    return true;
  });
  EXPECT_TRUE(outcome) << outcome.failure.message;
  EXPECT_EQ(refused, 2);
  EXPECT_EQ(_repository.git({"ls-files"}), "file");
}

TEST_F(GitToolTest, ALockThatStaysIsReportedByItsName) {
  GitTool tool(_repository.root().string(), -1);
  // Short enough to be over soon; however slow the machine is, git is asked once more.
  tool.setLockPatience(1ms);
  int tries = 0;
  GitOutcome outcome = tool.run(addEverything(), {}, [&](std::string_view) { return ++tries > 0; });
  EXPECT_TRUE(outcome.failedWith(GitFailureKind::locked));
  EXPECT_EQ(outcome.failure.detail, lock());
  EXPECT_GT(tries, 1);
  EXPECT_TRUE(fs::exists(lock())) << "it is another process's";
}

TEST_F(GitToolTest, NothingIsTriedAgainThatOnlyReads) {
  GitTool tool(_repository.root().string(), -1);
  int tries = 0;
  const GitOutcome outcome =
      tool.run(addEverything(GitAccess::read), {}, [&](std::string_view) { return ++tries > 0; });
  EXPECT_TRUE(outcome.failedWith(GitFailureKind::locked));
  EXPECT_EQ(tries, 1);
}

TEST_F(GitToolTest, NobodyWaitsForALockOnceTheHostIsGone) {
  int ends[2];
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
  GitTool tool(_repository.root().string(), ends[0]);
  tool.setLockPatience(1h);
  GitOutcome outcome = tool.run(addEverything(), {}, [&](std::string_view) {
    ::close(ends[1]);
    return true;
  });
  EXPECT_FALSE(outcome);
  ::close(ends[0]);
}

}  // namespace

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
