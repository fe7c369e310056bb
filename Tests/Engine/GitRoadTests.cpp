#include <signal.h>

#include <random>

#include "EngineTesting.h"
#include "GitRepository.h"

namespace qrb::test {
namespace {

// The whole road, with the Git plug-in and git itself at its end.
class GitRoadTest : public EngineTest {
 protected:
  void SetUp() override {
    EngineTest::SetUp();
    ServiceDirectories::unregisterAll();
    ServiceDirectories::registerDirectory(QRB_SERVICES);
    for (int number = 0; number < 30; ++number) {
      _repository.write("folder/file " + std::to_string(number), std::to_string(number));
      _repository.commit("commit " + std::to_string(number));
    }
    _repository.write("folder/file 3", "changed");
    _repository.write("new", "untracked");
  }

  QRBSourceControlWorkingCopyPtr gitWorkingCopy() {
    return QRBSourceControlWorkingCopy::initWithFileURLUnidentifiableRepository(
        URL::fileURL(_repository.root(), true),
        QRBSourceControlRepository::initWithURL(URL::fileURL(_repository.root(), true), system()));
  }

  void expectRepositoryClean() {
    EXPECT_FALSE(std::filesystem::exists(_repository.pathOf(".git/index.lock")));
    EXPECT_EQ(_repository.run({"fsck", "--strict"}), "");
  }

  GitRepository _repository;
};

using StatusOutcome = Outcome<QRBSourceControlPathStatusesPtr, QRBSourceControlPathStatusesPtr>;
using HistoryOutcome = Outcome<std::vector<QRBSourceControlLogItemPtr>>;

TEST_F(GitRoadTest, TwoHundredRequestsCancelledAtRandomMomentsLeaveNothingBehind) {
  auto copy = gitWorkingCopy();
  std::mt19937 random(7);
  struct Running {
    QRBSourceControlOperationPtr operation;
    std::shared_ptr<StatusOutcome> status;
    std::shared_ptr<HistoryOutcome> history;
  };
  std::vector<Running> all(200);
  std::size_t cancelled = 0;
  for (std::size_t index = 0; index < all.size(); ++index) {
    Running& running = all[index];
    if (index % 2 == 0) {
      running.status = StatusOutcome::make();
      running.operation = manager()->filesAndStatusOfWorkingCopy(copy, true, running.status->completion());
    } else {
      running.history = HistoryOutcome::make();
      running.operation =
          manager()->historyOfWorkingCopy(copy, nullptr, nullptr, 0, 0, {}, 0, {}, running.history->completion());
    }
    // Now and then one of those still running, which may be anywhere on its way.
    Running& victim = all[random() % (index + 1)];
    for (unsigned spin = random() % 50'000; spin > 0; --spin) std::atomic_signal_fence(std::memory_order_seq_cst);
    victim.operation->cancel();
  }
  for (Running& running : all) running.operation->cancel();
  for (Running& running : all) {
    Error error = running.status ? running.status->error() : running.history->error();
    EXPECT_TRUE(!error || isCancellation(error)) << error.description();
    if (error) ++cancelled;
  }
  settleProcesses();
  for (Running& running : all) {
    EXPECT_EQ(running.status ? running.status->calls() : running.history->calls(), 1u);
    EXPECT_TRUE(running.operation->isFinished());
  }
  EXPECT_GT(cancelled, 0u);
  EXPECT_TRUE(descendants().empty());
  expectRepositoryClean();
}

TEST_F(GitRoadTest, APlugInKilledWhileGitRunsTakesGitWithIt) {
  auto copy = gitWorkingCopy();
  std::mt19937 random(11);
  std::size_t killed = 0;
  for (int round = 0; round < 100; ++round) {
    auto outcome = HistoryOutcome::make();
    manager()->historyOfWorkingCopy(copy, nullptr, nullptr, 0, 0, {}, 0, {}, outcome->completion());
    std::vector<ProcessEntry> children;
    while ((children = childProcesses()).empty() && outcome->calls() == 0) std::this_thread::yield();
    for (unsigned spin = random() % 200'000; spin > 0; --spin) std::atomic_signal_fence(std::memory_order_seq_cst);
    for (const ProcessEntry& child : children) {
      if (::kill(child.id, SIGKILL) == 0) ++killed;
    }
    auto [items, error] = outcome->wait();
    EXPECT_TRUE(error ? isCommunicationFailure(error) : items.size() == 30u) << error.description();
  }
  settleProcesses();
  EXPECT_GT(killed, 0u);
  EXPECT_TRUE(descendants().empty());
  expectRepositoryClean();
}

}  // namespace
}  // namespace qrb::test
