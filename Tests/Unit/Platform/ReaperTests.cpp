#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <future>
#include <thread>

#include "ProcessReaper.h"

namespace qrb {
namespace {

using namespace std::chrono_literals;
using Policy = ProcessReaper::Policy;

constexpr auto aLongTime = 60s;
constexpr ProcessReaper::GracePeriods atOnce{.exit = 1ms, .group = 1ms};
constexpr ProcessReaper::GracePeriods patient{.exit = aLongTime, .group = aLongTime};

/// A shell that leads its own group, and the pipe through which it and its children tell that they are ready. The pipe
/// ends when the last of them is gone.
struct Group {
  explicit Group(const std::string& script) {
    DescriptorPair pipe = makePipe();
    LaunchOptions options;
    options.path = "/bin/sh";
    options.arguments = {"sh", "-c", script};
    options.newSession = true;
    options.stdoutDescriptor = pipe.second.get();
    auto result = Process::launch(options);
    process.emplace(std::move(std::get<Process>(result)));
    number = process->pid();
    output = std::move(pipe.first);
  }
  /// The next line, or "" when all who could write are gone.
  std::string line() const {
    std::string text;
    for (char byte; ::read(output.get(), &byte, 1) == 1 && byte != '\n';) {
      text += byte;
    }
    return text;
  }
  bool isEmpty() const { return ::kill(-number, 0) != 0 && errno == ESRCH; }

  std::optional<Process> process;
  pid_t number;
  FileDescriptor output;
};

class Reaper : public testing::Test {
 protected:
  // Orphans come to this program, so that what the tests see of a group does not depend on how soon, or whether, the
  // system's first process reaps them.
  void SetUp() override { ::prctl(PR_SET_CHILD_SUBREAPER, 1); }
  void TearDown() override {
    EXPECT_TRUE(reaper.drain(aLongTime));
    ::prctl(PR_SET_CHILD_SUBREAPER, 0);
  }
  ProcessReaper& reaper = ProcessReaper::shared();
};

// A tool that cleans up on SIGTERM as git does, below a leader that is killed.
const char* const cleaningTool = "sh -c 'trap \"echo cleaned; exit\" TERM; echo ready; while :; do :; done' & wait";
// A tool and its own child that both ignore SIGTERM.
const char* const stubbornFamily =
    "trap '' TERM; sh -c 'sh -c \"echo ready; exec cat /dev/zero > /dev/null\" & exec cat /dev/zero > /dev/null' & "
    "wait";

TEST_F(Reaper, KillingTheLeaderLetsItsToolCleanUp) {
  Group group(cleaningTool);
  EXPECT_EQ(group.line(), "ready");
  std::promise<ExitStatus> status;
  reaper.adopt(
      std::move(*group.process), Policy::forced, [&](ExitStatus each) { status.set_value(each); }, patient);
  EXPECT_EQ(status.get_future().get(), (ExitStatus{ExitStatus::Kind::signalled, SIGKILL}));
  EXPECT_EQ(group.line(), "cleaned");
  EXPECT_EQ(group.line(), "") << "nobody is left to write";
  EXPECT_TRUE(reaper.drain(aLongTime));
  EXPECT_TRUE(group.isEmpty());
}

TEST_F(Reaper, NothingStubbornSurvives) {
  for (Policy policy : {Policy::forced, Policy::diedAlready, Policy::expectExit}) {
    Group group(stubbornFamily);
    EXPECT_EQ(group.line(), "ready");
    reaper.adopt(std::move(*group.process), policy, {}, atOnce);
    EXPECT_EQ(group.line(), "");
    EXPECT_TRUE(reaper.drain(aLongTime));
    EXPECT_TRUE(group.isEmpty());
  }
}

TEST_F(Reaper, ACrashedLeaderTakesItsGroupAlong) {
  for (Policy policy : {Policy::diedAlready, Policy::expectExit}) {
    Group group("sh -c 'echo ready; exec cat /dev/zero > /dev/null' & kill -SEGV $$");
    EXPECT_EQ(group.line(), "ready");
    std::promise<ExitStatus> status;
    reaper.adopt(
        std::move(*group.process), policy, [&](ExitStatus each) { status.set_value(each); }, patient);
    EXPECT_EQ(status.get_future().get().kind, ExitStatus::Kind::signalled);
    EXPECT_EQ(group.line(), "");
    EXPECT_TRUE(reaper.drain(aLongTime));
    EXPECT_TRUE(group.isEmpty());
  }
}

TEST_F(Reaper, AnExpectedExitIsLeftInPeace) {
  DescriptorPair gate = makePipe();
  LaunchOptions options;
  options.path = "/bin/sh";
  options.arguments = {"sh", "-c", "read line; exit 4"};
  options.stdinDescriptor = gate.first.get();
  options.newSession = true;
  auto result = Process::launch(options);
  std::promise<ExitStatus> status;
  reaper.adopt(
      std::move(std::get<Process>(result)), Policy::expectExit, [&](ExitStatus each) { status.set_value(each); },
      patient);
  EXPECT_FALSE(reaper.drain(0ms)) << "it is still running";
  gate.second.reset();
  EXPECT_EQ(status.get_future().get(), (ExitStatus{ExitStatus::Kind::exited, 4}));
}

TEST_F(Reaper, AnUnwantedHandleEndsItsProcess) {
  Group group(stubbornFamily);
  EXPECT_EQ(group.line(), "ready");
  pid_t leader = group.number;
  group.process.reset();
  EXPECT_TRUE(reaper.drain(aLongTime));
  EXPECT_EQ(::waitpid(leader, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
  EXPECT_TRUE(group.isEmpty());
}

TEST_F(Reaper, AnOrdinaryProgramNeedNotAdoptOrphansForTheirEnd) {
  ::prctl(PR_SET_CHILD_SUBREAPER, 0);
  Group group(stubbornFamily);
  EXPECT_EQ(group.line(), "ready");
  reaper.adopt(std::move(*group.process), Policy::forced, {}, atOnce);
  EXPECT_EQ(group.line(), "") << "all of them are gone";
}

TEST_F(Reaper, WorksInAProgramThatIgnoresSIGCHLD) {
  auto previous = ::signal(SIGCHLD, SIG_IGN);
  Group group(stubbornFamily);
  EXPECT_EQ(group.line(), "ready");
  std::promise<ExitStatus> status;
  reaper.adopt(
      std::move(*group.process), Policy::forced, [&](ExitStatus each) { status.set_value(each); }, atOnce);
  EXPECT_EQ(status.get_future().get().kind, ExitStatus::Kind::unknown);
  EXPECT_EQ(group.line(), "");
  EXPECT_TRUE(reaper.drain(aLongTime));
  ::signal(SIGCHLD, previous);
}

TEST_F(Reaper, LeavesTheProgramsOwnChildrenAlone) {
  pid_t own = ::fork();
  if (own == 0) {
    ::_exit(42);
  }
  Group group("exit 0");
  reaper.adopt(std::move(*group.process), Policy::expectExit);
  EXPECT_TRUE(reaper.drain(aLongTime));
  int status = 0;
  ASSERT_EQ(::waitpid(own, &status, 0), own);
  EXPECT_EQ(WEXITSTATUS(status), 42);
}

TEST_F(Reaper, HundredsAtOnceAreReapedWithoutALeak) {
  auto descriptors = [] { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); };
  ASSERT_EQ(reaper.prepare(), 0);  // what it makes once is there before anything is counted
  auto before = descriptors();
  std::atomic<int> exits = 0;
  std::vector<std::jthread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&, thread] {
      for (int index = 0; index < 50; ++index) {
        LaunchOptions options;
        options.path = "/bin/cat";
        options.newSession = true;
        auto result = Process::launch(options);
        reaper.adopt(std::move(std::get<Process>(result)), thread % 2 ? Policy::forced : Policy::expectExit,
                     [&](ExitStatus) { ++exits; });
      }
    });
  }
  threads.clear();
  EXPECT_TRUE(reaper.drain(aLongTime));
  EXPECT_EQ(exits, 200);
  EXPECT_EQ(descriptors(), before);
  EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
}

TEST_F(Reaper, ACallbackMayAdoptTheNext) {
  Group first("exit 1");
  Group second("exit 2");
  std::promise<ExitStatus> status;
  reaper.adopt(std::move(*first.process), Policy::expectExit, [&](ExitStatus) {
    reaper.adopt(std::move(*second.process), Policy::expectExit, [&](ExitStatus each) { status.set_value(each); });
  });
  EXPECT_TRUE(reaper.drain(aLongTime));
  EXPECT_EQ(status.get_future().get().value, 2);
}

}  // namespace
}  // namespace qrb
