#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <memory>

#include "FileDescriptor.h"
#include "GitFileCommands.h"
#include "GitGuardian.h"
#include "GitLockFiles.h"
#include "GitRawDiff.h"
#include "GitTestRepository.h"

using namespace std::string_literals;
using testing::ElementsAre;

namespace {

namespace fs = std::filesystem;

void setTime(const fs::path& file, long seconds) {
  const timespec times[2] = {{seconds, 0}, {seconds, 0}};
  ASSERT_EQ(::utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
}

TEST(GitLockFiles, areRemovedThatWereMadeSinceATimeAndNothingElse) {
  const GitTestRepository repository;
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
  const pid_t process = ::fork();
  if (process == 0) {
    ::setpgid(0, 0);
    body();
    ::_exit(0);
  }
  ::waitpid(process, nullptr, 0);
}

class GitGuardianTest : public testing::Test {
 protected:
  GitGuardianTest()
      : _mark((_repository.root() / "mark").string()), _lock((_repository.root() / ".git/index.lock").string()) {
    ::mkfifo(fifo().c_str(), 0600);
  }

  std::string fifo() const { return (_repository.root() / "fifo").string(); }
  std::string root() const { return _repository.root().string(); }

  const GitTestRepository _repository;
  const std::string _mark;
  const std::string _lock;
};

TEST_F(GitGuardianTest, tidiesUpAfterAProcessThatWasKilled) {
  const qrb::FileDescriptor repaired(::open(fifo().c_str(), O_RDWR | O_CLOEXEC));
  inAGroup([this] {
    const auto repair = [this] {
      const int end = ::open(fifo().c_str(), O_WRONLY | O_CLOEXEC);
      [[maybe_unused]] const ssize_t written = ::write(end, fs::exists(_lock) ? "l" : "r", 1);
    };
    const GitGuardian guardian(root(), repair);
    std::ofstream(_lock).flush();
    ::kill(::getpid(), SIGKILL);
  });
  char byte = 0;
  ASSERT_EQ(::read(repaired.get(), &byte, 1), 1);
  EXPECT_EQ(byte, 'r') << "the lock is gone before the repair begins";
  EXPECT_FALSE(fs::exists(_lock));
}

TEST_F(GitGuardianTest, doesNothingAfterWorkThatCameToItsEnd) {
  inAGroup([this] {
    auto guardian = std::make_unique<GitGuardian>(root(), [this] { std::ofstream(_mark).flush(); });
    std::ofstream(_lock).flush();
    guardian.reset();
  });
  EXPECT_TRUE(fs::exists(_lock));
  EXPECT_FALSE(fs::exists(_mark));
}

TEST(GitRawDiff, saysWhatEachSideHas) {
  const GitTestRepository repository;
  repository.write("changed\n\xff", "1");
  repository.write("gone", "1");
  repository.commit("one");
  repository.write("changed\n\xff", "2");
  repository.write("new", "3");
  fs::remove(repository.root() / "gone");
  repository.commit("two");
  const auto changes = gitReadRawDiff(repository.run(gitRawDiffCommand("HEAD^", "HEAD")).output);
  ASSERT_EQ(changes.size(), 3u);
  EXPECT_EQ(changes[0].path, "changed\n\xff");
  std::string entry;
  gitAppendIndexEntry(entry, changes[0].newMode, changes[0].newObject, 0, changes[0].path);
  EXPECT_EQ(entry, "100644 " + repository.git({"hash-object", "changed\n\xff"}) + " 0\tchanged\n\xff\0"s);
  EXPECT_TRUE(changes[1].isDeletion());
  EXPECT_TRUE(changes[2].isAddition());
  for (const std::string& text :
       {""s, "x"s, ":\0"s, ":100644 100644 a b M\0"s, ":100644 9 a b M\0x\0"s, ":1 1 \0x\0"s}) {
    EXPECT_TRUE(gitReadRawDiff(text).empty()) << testing::PrintToString(text);
  }
}

}  // namespace
