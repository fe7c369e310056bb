
#include "EngineTesting.h"

namespace qrb::test {
namespace {

using CancellationTest = EngineTest;

TEST_F(CancellationTest, ARequestCancelledWhileItRunsSettlesOnceAndItsProcessIsGone) {
  for (const char* mode : {"hang", "hang-with-child"}) {
    usePlugIn(mode);
    QRBSourceControlOperationPtr operation;
    auto outcome = requestBaseRevision(&operation);
    while (childProcesses().empty()) std::this_thread::yield();
    operation->cancel();
    EXPECT_TRUE(isCancellation(outcome->error())) << mode;
    operation->cancel();
    settleProcesses();
    EXPECT_EQ(outcome->calls(), 1u) << mode;
    EXPECT_TRUE(operation->isFinished()) << mode;
    EXPECT_TRUE(operation->isCanceled()) << mode;
    // Nothing of the process group lives on, not even what ignores being asked to end.
    EXPECT_TRUE(descendants().empty()) << mode;
  }
}

TEST_F(CancellationTest, ARequestCancelledBeforeItStartsNeverRunsItsBlock) {
  bool ran = false;
  Error reported;
  auto operation = QRBSourceControlOperation::initWithSourceControlManager(
      manager(), nullptr, [&](const auto&, const auto&) { ran = true; },
      [&](const auto& ended, const auto& by, const Error& error) {
        reported = error;
        by->operationDidFinish(ended);
      });
  operation->cancel();
  EXPECT_TRUE(isCancellation(reported));
  EXPECT_TRUE(operation->isFinished());
  reported = {};
  manager()->addOperation(operation);
  operation->cancel();
  operation->retry();
  EXPECT_FALSE(reported);
  EXPECT_FALSE(ran);
}

}  // namespace
}  // namespace qrb::test
