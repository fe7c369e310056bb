#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>

#include "SequentialActionPrivate.h"

namespace qrb::test {
namespace {

/// A request that answers first, and finishes when somebody looks whether it has.
class AnsweringRequest : public QueueOperation, public QRBSourceControlCancellable {
 public:
  void start() override {}
  void cancel() override {}
  bool isExecuting() const override { return !_finished; }
  bool isFinished() const override {
    if (!_finished && !_looked.exchange(true)) _end = std::async(std::launch::async, [this] { end(); });
    return _finished;
  }
  bool hasFinished() const { return _finished; }
  bool suppressAuthenticationFailure() const override { return false; }
  void setSuppressAuthenticationFailure(bool) override {}
  std::shared_ptr<void> context() const override { return nullptr; }
  void setContext(const std::shared_ptr<void>&) override {}

 private:
  void end() const {
    _finished = true;
    didChange(Property::isFinished);
  }

  mutable std::atomic<bool> _finished = false;
  mutable std::atomic<bool> _looked = false;
  mutable std::future<void> _end;
};

TEST(SequentialActionTest, AStepIsOverWhenItsRequestHasFinishedAndNotBefore) {
  auto request = std::make_shared<AnsweringRequest>();
  std::promise<bool> finished;
  OperationQueue queue("steps");
  auto handle = SequentialAction::start(queue, "steps:", [&](SequentialAction& action) {
    action.step<>("Request", [&](auto completion) {
      completion({});
      return request;
    });
    finished.set_value(request->hasFinished());
  });
  EXPECT_TRUE(finished.get_future().get());
}

}  // namespace
}  // namespace qrb::test
