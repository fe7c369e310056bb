#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <memory>

#include "FileDescriptor.h"
#include "GitDiffCommands.h"
#include "GitFileCommands.h"
#include "GitLockFiles.h"
#include "GitTestRepository.h"
#include "Guard.h"
#include "TemporaryDirectory.h"

using namespace std::string_literals;

namespace {

namespace fs = std::filesystem;

void setTime(const fs::path& file, long seconds) {
  const timespec times[2] = {{seconds, 0}, {seconds, 0}};
  ASSERT_EQ(::utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
}

TEST(GitLockFiles, areRemovedThatWereMadeSinceATimeAndNothingElse) {
  GitTestRepository repository;
  repository.write("file", "1");
  repository.commit("one");
  repository.git({"worktree", "add", "-q", "other"});
  const char* removed[] = {".git/index.lock", ".git/HEAD.lock", ".git/refs/heads/a/b.lock",
                           ".git/objects/maintenance.lock", ".git/worktrees/other/index.lock"};
  const char* kept[] = {".git/old.lock", "file.lock", ".git/index", ".git/hooks/x.lock"};
  for (const char* file : removed) {
    repository.write(file, "");
    setTime(repository.root() / file, 1000);
  }
  for (const char* file : kept) {
    repository.write(file, "");
    setTime(repository.root() / file, 1001);
  }
  setTime(repository.root() / ".git/old.lock", 999);
  gitRemoveLockFiles((repository.root() / "other").string(), {1000, 0});
  for (const char* file : removed) EXPECT_FALSE(fs::exists(repository.root() / file)) << file;
  for (const char* file : kept) EXPECT_TRUE(fs::exists(repository.root() / file)) << file;
}

/// Runs work in a process and a group of its own, and returns when the process is over.
template <class Body>
void inAGroup(Body&& body) {
  pid_t process = ::fork();
  if (process == 0) {
    ::setpgid(0, 0);
    body();
    ::_exit(0);
  }
  ::waitpid(process, nullptr, 0);
}

/// The jobs write into a pipe with a name, whose reader so waits for them.
class GuardTest : public testing::Test {
 protected:
  GuardTest() {
    ::mkfifo(fifo().c_str(), 0600);
    _said.reset(::open(fifo().c_str(), O_RDWR | O_CLOEXEC));
  }

  std::string fifo() const { return (_folder.path() / "fifo").string(); }
  /// Says a word, and then what it reads.
  qrb::Guard::Job job(const std::string& word) const {
    return {{"/bin/sh", "-c", "{ printf %s \"$0\"; cat; } > \"$1\"", word, fifo()}, "\n<" + word};
  }
  std::string said(std::size_t length) const {
    std::string text(length, '\0');
    for (std::size_t place = 0; place < length;) {
      ssize_t got = ::read(_said.get(), text.data() + place, length - place);
      if (got <= 0) return text;
      place += static_cast<std::size_t>(got);
    }
    return text;
  }

  const qrb::test::TemporaryDirectory _folder;
  qrb::FileDescriptor _said;
};

TEST_F(GuardTest, runsWhatStandsWhenTheProcessIsKilledAndNothingElseOfItsGroupRuns) {
  inAGroup([this] {
    qrb::Guard guard(-1, QRB_GUARD);
    auto first = guard.add(job("first"));
    { const auto withdrawn = guard.add(job("withdrawn")); }
    auto second = guard.add(job("second"));
    // What the killed process has started goes on for a moment, and says so.
    pollfd ending{static_cast<int>(::syscall(SYS_pidfd_open, ::getpid(), 0)), POLLIN, 0};
    if (::fork() == 0) {
      ::poll(&ending, 1, -1);
      int end = ::open(fifo().c_str(), O_WRONLY | O_CLOEXEC);
      [[maybe_unused]] const ssize_t written = ::write(end, "tool\n", 5);
      ::_exit(0);
    }
    ::kill(::getpid(), SIGKILL);
  });
  std::string expected = "tool\nfirst\n<firstsecond\n<second";
  EXPECT_EQ(said(expected.size()), expected);
}

TEST_F(GuardTest, runsNothingAfterWorkThatCameToItsEnd) {
  inAGroup([this] {
    auto guard = std::make_unique<qrb::Guard>(-1, QRB_GUARD);
    auto standing = guard->add(job("first"));
    guard.reset();
    int end = ::open(fifo().c_str(), O_WRONLY | O_CLOEXEC);
    [[maybe_unused]] const ssize_t written = ::write(end, "over", 4);
    ::kill(::getpid(), SIGKILL);
  });
  EXPECT_EQ(said(4), "over");
  pollfd more{_said.get(), POLLIN, 0};
  EXPECT_EQ(::poll(&more, 1, 0), 0);
}

}  // namespace
