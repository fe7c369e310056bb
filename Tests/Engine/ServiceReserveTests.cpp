#include <signal.h>

#include <set>

#include "EngineTesting.h"

namespace qrb::test {
namespace {

class ServiceReserveTest : public EngineTest {
 protected:
  // More than it takes for the reserve to launch ahead.
  static constexpr int inARow = 12;

  /// Ends with one process launched ahead, and nothing else.
  static pid_t processLaunchedAhead() {
    for (;;) {
      for (int round = 0; round < inARow; ++round) EXPECT_FALSE(requestBaseRevision()->error());
      EXPECT_TRUE(ProcessReaper::shared().drain(kPatience));
      if (auto children = childProcesses(); children.size() == 1) return children.front().id;
    }
  }

  static pid_t servingProcess() {
    auto [revision, error] = requestBaseRevision()->wait();
    EXPECT_FALSE(error);
    return static_cast<pid_t>(std::stol(revision->identifier().str()));
  }
};

TEST_F(ServiceReserveTest, RequestsInARowAreEachServedByAProcessOfTheirOwn) {
  std::set<pid_t> processes;
  for (int round = 0; round < inARow; ++round) processes.insert(servingProcess());
  EXPECT_EQ(processes.size(), static_cast<std::size_t>(inARow));
}

TEST_F(ServiceReserveTest, AProcessLaunchedAheadServesTheNextRequest) {
  // On a machine so loaded that a second passes in between it is gone before it is asked; then once more.
  bool served = false;
  while (!served) served = processLaunchedAhead() == servingProcess();
  EXPECT_TRUE(served);
}

TEST_F(ServiceReserveTest, OneThatDiedWhileItWaitedFailsNoRequest) {
  for (int round = 0; round < 10; ++round) {
    ::kill(processLaunchedAhead(), SIGKILL);
    // Gone by itself already, or a corpse that only the next request finds.
    while (std::ranges::any_of(childProcesses(), [](const ProcessEntry& child) { return child.state != 'Z'; })) {
      std::this_thread::yield();
    }
    EXPECT_FALSE(requestBaseRevision()->error());
  }
}

TEST_F(ServiceReserveTest, OneLaunchedInOtherSurroundingsServesNobody) {
  std::string folder = std::filesystem::current_path();
  struct Change {
    const char* what;
    std::function<void()> make;
    std::function<void()> takeBack;
  };
  const Change changes[] = {
      {"environment", [] { ::setenv("QRB_TEST_CHANGE", "1", 1); }, [] { ::unsetenv("QRB_TEST_CHANGE"); }},
      {"working folder", [] { ASSERT_EQ(::chdir("/"), 0); }, [&] { ASSERT_EQ(::chdir(folder.c_str()), 0); }},
  };
  for (const Change& change : changes) {
    pid_t ahead = processLaunchedAhead();
    change.make();
    EXPECT_NE(servingProcess(), ahead) << change.what;
    change.takeBack();
  }
  pid_t ahead = processLaunchedAhead();
  usePlugIn("late");
  EXPECT_NE(servingProcess(), ahead) << "service directory";
}

TEST_F(ServiceReserveTest, OneThatNobodyWantsEndsByItself) {
  processLaunchedAhead();
  auto deadline = std::chrono::steady_clock::now() + kPatience;
  while (!childProcesses().empty() && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
  EXPECT_TRUE(childProcesses().empty());
}

}  // namespace
}  // namespace qrb::test
