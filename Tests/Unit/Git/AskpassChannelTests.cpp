#include "AskpassChannel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "AskpassProtocol.h"
#include "Process.h"
#include "TemporaryDirectory.h"

using namespace std::string_literals;

namespace qrb {
namespace {

/// Runs the program that tools ask, as they do.
class AskpassTest : public testing::Test {
 protected:
  struct Asked {
    Process process;
    FileDescriptor output;
  };

  Asked ask(const std::vector<std::string>& arguments, bool inOtherSession = false) {
    DescriptorPair output = makePipe();
    LaunchOptions options;
    options.path = QRB_ASKPASS;
    options.arguments = {QRB_ASKPASS};
    options.arguments.insert(options.arguments.end(), arguments.begin(), arguments.end());
    options.environment.emplace();
    for (const auto& [name, value] : _channel.environment()) options.environment->push_back(name + "=" + value);
    options.stdoutDescriptor = output.second.get();
    options.newSession = inOtherSession;
    options.workingDirectory = _folder.path();
    auto launched = Process::launch(options);
    return {std::move(std::get<Process>(launched)), std::move(output.first)};
  }
  /// Waits until somebody asks.
  bool awaitQuestion() const {
    pollfd ready{_channel.descriptor(), POLLIN, 0};
    return ::poll(&ready, 1, 60'000) == 1;
  }
  static std::string outputOf(const Asked& asked) {
    std::string text;
    char buffer[4096];
    for (ssize_t got; (got = ::read(asked.output.get(), buffer, sizeof buffer)) > 0;) {
      text.append(buffer, static_cast<std::size_t>(got));
    }
    return text;
  }

  const test::TemporaryDirectory _folder;
  std::vector<AskpassQuestion> _questions;
  std::optional<std::string> _answer;
  AskpassChannel _channel{[this](const AskpassQuestion& question) {
    _questions.push_back(question);
    return _answer;
  }};
};

/// Sets the limit of core files as high as it goes, for the programs that are started meanwhile.
class CoreFilesAllowed {
 public:
  CoreFilesAllowed() {
    ::getrlimit(RLIMIT_CORE, &_before);
    rlimit highest{_before.rlim_max, _before.rlim_max};
    ::setrlimit(RLIMIT_CORE, &highest);
  }
  ~CoreFilesAllowed() { ::setrlimit(RLIMIT_CORE, &_before); }

 private:
  rlimit _before{};
};

TEST_F(AskpassTest, diesWithoutACoreFile) {
  const CoreFilesAllowed allowed;
  // Both leave a core file by default, and no sanitizer takes them.
  for (int signal : {SIGQUIT, SIGABRT}) {
    Asked asked = ask({"Password for 'https://me@server': "});
    ASSERT_TRUE(awaitQuestion());
    ASSERT_EQ(::kill(asked.process.pid(), signal), 0);
    siginfo_t end{};
    ASSERT_EQ(::waitid(P_PID, static_cast<id_t>(asked.process.pid()), &end, WEXITED | WNOWAIT), 0);
    EXPECT_EQ(end.si_status, signal);
    EXPECT_EQ(end.si_code, CLD_KILLED);
    _channel.serve();
  }
}

TEST_F(AskpassTest, withoutAnAnswerGitHearsOfAFailureAndSSHOfNoKey) {
  Asked asked = ask({"Username for 'https://h': "});
  ASSERT_TRUE(awaitQuestion());
  _channel.serve();
  EXPECT_EQ(outputOf(asked), "");
  EXPECT_FALSE(asked.process.wait().succeeded());
  Asked keys = ask({"HOSTNAME", "h", "ssh-ed25519", "AAAA", "SHA256:x"});
  ASSERT_TRUE(awaitQuestion());
  _channel.serve();
  EXPECT_EQ(outputOf(keys), "");
  EXPECT_TRUE(keys.process.wait().succeeded()) << "ssh takes a failure for its own";
  ASSERT_EQ(_questions.size(), 2u);
  EXPECT_EQ(_questions[1].kind, kAskpassHostKeyKind);
  EXPECT_EQ(_questions[1].values[4], "SHA256:x");
}

TEST_F(AskpassTest, aProcessThatIsNoToolOfThisOneGetsNothing) {
  _answer = "secret";
  Asked asked = ask({"Password for 'https://u@h': "}, true);
  ASSERT_TRUE(awaitQuestion());
  _channel.serve();
  EXPECT_EQ(outputOf(asked), "");
  EXPECT_FALSE(asked.process.wait().succeeded());
  EXPECT_TRUE(_questions.empty());
}

TEST(AskpassQuestion, onlyWholeQuestionsAreRead) {
  for (const std::string& packet : {""s, "\0"s, "prompt\0"s, "prompt\0a"s, "prompt\0a\0b\0"s, "other\0a\0"s,
                                    "host-key\0a\0b\0c\0d\0"s, "host-key\0a\0b\0c\0d\0e\0f\0"s}) {
    EXPECT_FALSE(parseAskpassQuestion(packet)) << testing::PrintToString(packet);
  }
  EXPECT_TRUE(parseAskpassQuestion("prompt\0\0"s));
  EXPECT_TRUE(parseAskpassQuestion("host-key\0a\0b\0c\0d\0e\0"s));
}

}  // namespace
}  // namespace qrb
