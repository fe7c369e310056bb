#include "ToolRunner.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

namespace qrb {
namespace {

using namespace std::chrono_literals;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using Outcome = ToolResult::Outcome;

ToolCommand shell(const std::string& script) {
  ToolCommand command;
  command.path = "/bin/sh";
  command.arguments = {"-c", script};
  return command;
}

struct Captured {
  ToolResult result;
  std::string output;
};

Captured capture(const ToolCommand& command) {
  Captured captured;
  captured.result = ToolRunner().run(command, [&](std::string_view chunk) {
    captured.output += chunk;
    return true;
  });
  return captured;
}

TEST(ToolRunner, FeedsAndReadsAtOnceWithoutDeadlock) {
  // Far more than both pipes hold; cat writes while it is being fed.
  std::string bytes(10'000'000, '\0');
  for (std::size_t index = 0; index < bytes.size(); ++index) {
    bytes[index] = static_cast<char>(index * 2654435761U >> 13);
  }
  ToolCommand command;
  command.path = "cat";
  command.standardInput = bytes;
  Captured captured = capture(command);
  EXPECT_TRUE(captured.result.succeeded());
  EXPECT_TRUE(captured.output == bytes);
}

TEST(ToolRunner, GivesTheToolASecondInputAndLeavesNoFileOfIt) {
  std::string bytes(3'000'000, 'x');
  ToolCommand command = shell("cat; cat /dev/fd/3; ls -l /proc/self/fd/3");
  command.standardInput = "first ";
  command.secondInput = bytes;
  Captured captured = capture(command);
  EXPECT_TRUE(captured.result.succeeded()) << captured.result.errorText;
  EXPECT_THAT(captured.output, StartsWith("first " + bytes));
  EXPECT_THAT(captured.output, HasSubstr("memfd:"));
}

TEST(ToolRunner, OutputArrivesWhileTheToolRuns) {
  // The tool goes on only after the test has seen its first line.
  DescriptorPair gate = makePipe();
  ToolCommand command = shell("echo first; read line < /proc/" + std::to_string(::getpid()) + "/fd/" +
                              std::to_string(gate.first.get()) + "; echo second");
  std::string output;
  ToolResult result = ToolRunner().run(command, [&](std::string_view chunk) {
    output += chunk;
    if (output == "first\n") {
      EXPECT_TRUE(writeFully(gate.second.get(), "go\n"));
    }
    return true;
  });
  EXPECT_TRUE(result.succeeded());
  EXPECT_EQ(output, "first\nsecond\n");
}

TEST(ToolRunner, AToolThatDoesNotReadItsInputIsNoError) {
  ToolCommand command = shell("exit 5");
  command.standardInput = std::string(5'000'000, 'x');
  auto previous = ::signal(SIGPIPE, SIG_DFL);
  ToolResult result = ToolRunner().run(command);
  ::signal(SIGPIPE, previous);
  EXPECT_EQ(result.status, (ExitStatus{ExitStatus::Kind::exited, 5}));
}

TEST(ToolRunner, RefusingOutputStopsTheToolGentlyThenByForce) {
  struct Case {
    std::string script;
    std::chrono::milliseconds grace;
    ExitStatus status;
    std::string error;
  };
  using Kind = ExitStatus::Kind;
  for (const Case& each :
       {Case{"trap 'echo cleaned >&2; exit 9' TERM; while :; do echo more; done", 60s, {Kind::exited, 9}, "cleaned\n"},
        Case{"trap '' TERM; while :; do echo more; done", 1ms, {Kind::signalled, SIGKILL}, ""}}) {
    ToolRunner runner;
    runner.setGracePeriod(each.grace);
    int calls = 0;
    ToolResult result = runner.run(shell(each.script), [&](std::string_view) { return ++calls < 3; });
    EXPECT_EQ(result.outcome, Outcome::stopped);
    EXPECT_EQ(result.status, each.status) << each.script;
    EXPECT_EQ(result.errorText, each.error);
    EXPECT_EQ(calls, 3) << "not called again once it has refused";
  }
}

TEST(ToolRunner, AToolThatTakesTooLongIsEndedGentlyAndOneThatDoesNotIsLeftAlone) {
  ToolRunner runner;
  runner.setTimeLimit(1ms);
  ToolResult result = runner.run(shell("trap 'exit 9' TERM; while :; do :; done"));
  EXPECT_EQ(result.outcome, Outcome::tookTooLong);
  runner.setTimeLimit(60s);
  EXPECT_TRUE(runner.run(shell("exit 0")).succeeded());
}

TEST(ToolRunner, ProgressOnStandardErrorCanStopTheTool) {
  std::string progress;
  ToolResult result = ToolRunner().run(shell("while :; do echo 10% >&2; done"), {}, [&](std::string_view chunk) {
    progress += chunk;
    return progress.size() < 10;
  });
  EXPECT_EQ(result.outcome, Outcome::stopped);
  EXPECT_THAT(progress, StartsWith("10%\n"));
}

TEST(ToolRunner, EndsTheToolWhenTheHostIsGone) {
  DescriptorPair connection = makeSocketPair();
  // Something unread from a host that lives must neither end the tool nor be taken.
  ASSERT_TRUE(writeFully(connection.second.get(), "later"));
  ToolRunner runner;
  runner.setHostConnectionDescriptor(connection.first.get());
  EXPECT_EQ(runner.run(shell("exit 0")).outcome, Outcome::ended);
  ToolResult result = runner.run(shell("echo begun; exec cat /dev/zero > /dev/null"), [&](std::string_view) {
    connection.second.reset();
    return true;
  });
  EXPECT_EQ(result.outcome, Outcome::cancelled);
  EXPECT_EQ(result.status, (ExitStatus{ExitStatus::Kind::signalled, SIGTERM}));
}

TEST(ToolRunner, DoesNotWaitForWhatTheToolLeftRunning) {
  // Like a tool that tidies up in the background: the pipe stays open and keeps filling.
  Captured captured = capture(shell("cat /dev/zero & echo $!; echo done"));
  EXPECT_TRUE(captured.result.succeeded());
  EXPECT_THAT(captured.output, HasSubstr("done\n"));
}

TEST(ToolRunner, ChangesTheEnvironmentAsAsked) {
  ::setenv("QRB_KEPT", "kept", 1);
  ::setenv("QRB_GONE", "gone", 1);
  ::setenv("QRB_CHANGED", "old", 1);
  ToolCommand command = shell("echo $QRB_KEPT,$QRB_GONE,$QRB_CHANGED,$QRB_NEW; env | grep -c QRB_CHANGED=");
  command.unsetEnvironment = {"QRB_GONE", "QRB_NEW"};
  command.environment = {{"QRB_CHANGED", "earlier"}, {"QRB_CHANGED", "new"}, {"QRB_NEW", "a=b"}};
  EXPECT_EQ(capture(command).output, "kept,,new,a=b\n1\n");
}

TEST(ToolRunner, LongErrorsKeepTheirBeginningAndEnd) {
  const ToolResult result =
      ToolRunner().run(shell("echo begin >&2; head -c 1000000 /dev/zero | tr '\\0' x >&2; echo end >&2"));
  EXPECT_LE(result.errorText.size(), 64U * 1024 + 100);
  EXPECT_THAT(result.errorText, StartsWith("begin\n"));
  EXPECT_THAT(result.errorText, EndsWith("end\n"));
  EXPECT_THAT(result.errorText, HasSubstr(std::to_string(1'000'010 - 64 * 1024) + " bytes left out"));
}

TEST(ToolRunner, ABoundedTextLosesNothingThatFits) {
  for (std::size_t piece : {std::size_t(1), std::size_t(3), std::size_t(10), std::size_t(1000)}) {
    BoundedText text(20);
    std::string all;
    while (all.size() + piece <= 20) {
      all += std::string(piece, static_cast<char>('a' + all.size()));
      text.append(all.substr(all.size() - piece));
    }
    EXPECT_EQ(text.text(), all);
  }
}

TEST(ToolRunner, ManyRunsLeaveNothingBehind) {
  auto descriptors = [] { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); };
  ToolRunner().run(shell(":"));
  auto before = descriptors();
  ToolCommand command = shell("cat");
  command.standardInput = "x";
  for (int index = 0; index < 50; ++index) {
    ASSERT_EQ(capture(command).output, "x");
  }
  EXPECT_EQ(descriptors(), before);
  EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
}

}  // namespace
}  // namespace qrb
