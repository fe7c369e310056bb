#include "Process.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include "FileDescriptor.h"

namespace qrb {
namespace {

using testing::HasSubstr;
using Step = LaunchFailure::Step;

/// A folder that goes with the test.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string pattern = testing::TempDir() + "qrb-process-XXXXXX";
    path = ::mkdtemp(pattern.data());
  }
  ~TemporaryFolder() { std::filesystem::remove_all(path); }
  std::string file(const std::string& name, const std::string& text, mode_t mode) const {
    std::string result = path + '/' + name;
    std::ofstream(result) << text;
    ::chmod(result.c_str(), mode);
    return result;
  }
  std::string path;
};

LaunchOptions shell(const std::string& script) {
  LaunchOptions options;
  options.path = "/bin/sh";
  options.arguments = {"sh", "-c", script};
  return options;
}

Process launched(const LaunchOptions& options) {
  auto result = Process::launch(options);
  if (auto* const failure = std::get_if<LaunchFailure>(&result)) {
    throw std::runtime_error(failure->text);
  }
  return std::move(std::get<Process>(result));
}

std::string readToEnd(const FileDescriptor& descriptor) {
  std::string result;
  char buffer[4096];
  for (ssize_t got; (got = ::read(descriptor.get(), buffer, sizeof buffer)) > 0;) {
    result.append(buffer, static_cast<std::size_t>(got));
  }
  return result;
}

/// Runs to the end and returns what went to standard output.
std::string outputOf(LaunchOptions options) {
  DescriptorPair pipe = makePipe();
  options.stdoutDescriptor = pipe.second.get();
  Process process = launched(options);
  pipe.second.reset();
  std::string output = readToEnd(pipe.first);
  EXPECT_TRUE(process.wait().succeeded());
  return output;
}

std::size_t entriesOf(const char* folder) {
  return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

TEST(ProcessLaunch, SaysWhatCouldNotBeStartedAndWhy) {
  const TemporaryFolder folder;
  std::string plain = folder.file("plain", "text", 0644);
  std::string badInterpreter = folder.file("script", "#!/nonexistent/interpreter\n", 0755);
  std::string noFormat = folder.file("garbage", "neither script nor program", 0755);
  struct Case {
    std::string path;
    std::optional<std::string> workingDirectory;
    Step step;
    int error;
    std::string named;
  };
  for (const Case& each :
       {Case{folder.path + "/missing", {}, Step::execute, ENOENT, "missing"},
        Case{plain, {}, Step::execute, EACCES, plain}, Case{folder.path, {}, Step::execute, EACCES, folder.path},
        Case{badInterpreter, {}, Step::execute, ENOENT, badInterpreter},
        Case{noFormat, {}, Step::execute, ENOEXEC, noFormat},
        Case{"no-such-tool-anywhere", {}, Step::find, ENOENT, "no-such-tool-anywhere"},
        Case{"", {}, Step::find, ENOENT, ""}, Case{"/bin/true", plain, Step::workingDirectory, ENOTDIR, plain}}) {
    LaunchOptions options;
    options.path = each.path;
    options.workingDirectory = each.workingDirectory;
    auto result = Process::launch(options);
    const auto* const failure = std::get_if<LaunchFailure>(&result);
    ASSERT_NE(failure, nullptr) << each.path;
    EXPECT_EQ(failure->step, each.step) << each.path;
    EXPECT_EQ(failure->errorNumber, each.error) << failure->text;
    EXPECT_THAT(failure->text, HasSubstr(each.named));
  }
  EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a child was left behind";
}

TEST(ProcessLaunch, GivesTheChildExactlyWhatWasAsked) {
  const TemporaryFolder folder;
  LaunchOptions options = shell("printf '%s|' \"$0\" \"$1\" \"$FIRST\" \"$HOME\"; pwd -P");
  options.arguments.insert(options.arguments.end(), {"zero", "a b\n'c"});
  options.environment = {{"FIRST=x=y"}};
  options.workingDirectory = folder.path;
  EXPECT_EQ(outputOf(options), "zero|a b\n'c|x=y||" + std::filesystem::canonical(folder.path).string() + "\n");
}

TEST(ProcessLaunch, LooksUpABareNameInAbsoluteFoldersOnly) {
  const TemporaryFolder folder;
  folder.file("qrb-tool", "#!/bin/sh\necho hostile\n", 0755);
  std::string previousPath = ::getenv("PATH");
  std::string previousFolder = std::filesystem::current_path();
  std::filesystem::current_path(folder.path);
  LaunchOptions options;
  options.path = "qrb-tool";
  ::setenv("PATH", (".::" + previousPath).c_str(), 1);
  EXPECT_TRUE(std::holds_alternative<LaunchFailure>(Process::launch(options)));
  ::setenv("PATH", (previousPath + ":" + folder.path).c_str(), 1);
  EXPECT_EQ(outputOf(options), "hostile\n");
  ::setenv("PATH", previousPath.c_str(), 1);
  std::filesystem::current_path(previousFolder);
}

TEST(ProcessLaunch, PassesOnNoDescriptorButTheThree) {
  int inheritable = ::dup(STDERR_FILENO);  // Not close-on-exec, as a careless host has them.
  std::string open = outputOf(shell("ls -x /proc/self/fd"));
  ::close(inheritable);
  // The third is the folder that ls itself has open.
  EXPECT_THAT(open, testing::MatchesRegex("0 +1 +2 +3\n"));
}

TEST(ProcessLaunch, PlacesDescriptorsThatCrossEachOther) {
  // In a program of its own, since it gives up its 0, 1 and 2.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  auto crossed = [] {
    DescriptorPair pipe = makePipe();
    ::dup2(pipe.second.get(), 0);
    int kept = ::fcntl(2, F_DUPFD_CLOEXEC, 10);
    ::close(1);
    ::close(2);
    LaunchOptions options = shell("echo out; echo err >&2; cat");
    options.stdoutDescriptor = 0;
    options.stderrDescriptor = 0;
    Process process = launched(options);
    ::close(0);
    pipe.second.reset();
    std::string text = readToEnd(pipe.first);
    ::dup2(kept, 2);
    ::_exit(process.wait().succeeded() && text == "out\nerr\n" ? 0 : 1);
  };
  EXPECT_EXIT(crossed(), testing::ExitedWithCode(0), "");
}

TEST(ProcessLaunch, PassesOnAFourthDescriptorWhereverItIs) {
  DescriptorPair pipe = makePipe();
  FileDescriptor third(::fcntl(pipe.second.get(), F_DUPFD_CLOEXEC, 3));
  for (int descriptor : {pipe.second.get(), third.get()}) {
    LaunchOptions options = shell("echo through the fourth >&3; ls -x /proc/self/fd");
    options.inheritedDescriptor = descriptor;
    EXPECT_THAT(outputOf(options), testing::MatchesRegex("0 +1 +2 +3 +4\n"));
    char text[100] = {};
    EXPECT_GT(::read(pipe.first.get(), text, sizeof text - 1), 0);
    EXPECT_STREQ(text, "through the fourth\n");
  }
}

TEST(ProcessLaunch, GivesTheChildDefaultSignalsAndAnEmptyMask) {
  auto previous = ::signal(SIGTERM, SIG_IGN);
  sigset_t blocked, before;
  ::sigemptyset(&blocked);
  ::sigaddset(&blocked, SIGUSR1);
  ::pthread_sigmask(SIG_BLOCK, &blocked, &before);
  std::string status = outputOf(shell("grep -E 'Sig(Blk|Ign)' /proc/self/status"));
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  ::signal(SIGTERM, previous);
  EXPECT_EQ(status, "SigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n");
}

TEST(ProcessLaunch, ANewSessionIsAGroupWithoutATerminal) {
  LaunchOptions options = shell("read line");
  DescriptorPair input = makePipe();
  options.stdinDescriptor = input.first.get();
  options.newSession = true;
  Process process = launched(options);
  EXPECT_EQ(::getsid(process.pid()), process.pid());
  EXPECT_EQ(::getpgid(process.pid()), process.pid());
  EXPECT_TRUE(process.signalGroup(0));
  input.second.reset();
  process.wait();
  options.newSession = false;
  Process member = launched(options);
  EXPECT_EQ(::getpgid(member.pid()), ::getpgid(0));
  EXPECT_FALSE(member.signalGroup(SIGKILL)) << "that would be this group";
  member.wait();
}

TEST(ProcessLaunch, ADyingParentTakesTheChildWithIt) {
  // The death signal goes by thread: when the one that launched ends, the child gets it.
  LaunchOptions options;
  options.path = "sleep";
  options.arguments = {"sleep", "1000"};
  options.parentDeathSignal = SIGTERM;
  std::optional<Process> process;
  std::jthread([&] { process.emplace(launched(options)); }).join();
  EXPECT_EQ(process->wait(), (ExitStatus{ExitStatus::Kind::signalled, SIGTERM}));
}

TEST(Process, ReportsHowItEnded) {
  EXPECT_EQ(launched(shell("exit 7")).wait(), (ExitStatus{ExitStatus::Kind::exited, 7}));
  EXPECT_EQ(launched(shell("kill -SEGV $$")).wait(), (ExitStatus{ExitStatus::Kind::signalled, SIGSEGV}));
  Process process = launched(shell("exec cat < /dev/zero > /dev/null"));
  EXPECT_FALSE(process.tryReap());
  EXPECT_TRUE(process.kill(SIGKILL));
  ExitStatus status = process.wait();
  EXPECT_EQ(status, (ExitStatus{ExitStatus::Kind::signalled, SIGKILL}));
  EXPECT_EQ(process.tryReap(), status) << "the status stays";
  EXPECT_FALSE(process.kill(SIGKILL)) << "nobody is there to be hit";
}

TEST(Process, WorksInAProgramThatIgnoresOrTakesEveryChild) {
  auto previous = ::signal(SIGCHLD, SIG_IGN);
  Process ignored = launched(shell("exit 3"));
  ExitStatus status = ignored.wait();
  LaunchOptions missing;
  missing.path = "/nonexistent";
  EXPECT_TRUE(std::holds_alternative<LaunchFailure>(Process::launch(missing)));
  ::signal(SIGCHLD, previous);
  EXPECT_EQ(status.kind, ExitStatus::Kind::unknown);

  Process taken = launched(shell("exit 3"));
  // As such a program does: whatever child comes, until this one has.
  pid_t reaped;
  do {
    reaped = ::waitpid(-1, nullptr, 0);
  } while (reaped > 0 && reaped != taken.pid());
  EXPECT_EQ(reaped, taken.pid());
  EXPECT_EQ(taken.wait().kind, ExitStatus::Kind::unknown);
  EXPECT_FALSE(taken.kill(SIGKILL));
}

TEST(Process, HundredsFromManyThreadsLeaveNothingBehind) {
  launched(shell(":")).wait();
  std::size_t descriptors = entriesOf("/proc/self/fd");
  std::size_t threadsBefore = entriesOf("/proc/self/task");
  std::atomic<int> right = 0;
  std::vector<std::jthread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&right, thread] {
      for (int index = 0; index < 50; ++index) {
        LaunchOptions options = shell("exit " + std::to_string(index));
        options.newSession = thread % 2 == 0;
        right += launched(options).wait() == ExitStatus{ExitStatus::Kind::exited, index};
      }
    });
  }
  for (auto& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(right, 200);
  EXPECT_EQ(entriesOf("/proc/self/fd"), descriptors);
  EXPECT_LE(entriesOf("/proc/self/task"), threadsBefore);
  EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
}

}  // namespace
}  // namespace qrb
