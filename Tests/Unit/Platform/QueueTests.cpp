#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <barrier>
#include <future>
#include <latch>
#include <numeric>
#include <thread>
#include <vector>

#include "AssertionRecorder.h"
#include "ConditionLock.h"
#include "MainThreadExecutor.h"
#include "Result.h"
#include "SerialQueue.h"

namespace qrb {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;

TEST(SerialQueue, PlainDataIsSafeWhenManyThreadsChangeItThroughTheQueue) {
  SerialQueue queue("counter");
  std::vector<int> numbers;
  std::barrier together(8);
  std::vector<std::jthread> threads;
  std::latch asyncDone(8 * 250);
  for (int thread = 0; thread < 8; ++thread) {
    threads.emplace_back([&] {
      together.arrive_and_wait();
      for (int index = 0; index < 250; ++index) {
        queue.sync([&] { numbers.push_back(1); });
        queue.async([&] {
          numbers.push_back(1);
          asyncDone.count_down();
        });
      }
    });
  }
  threads.clear();
  asyncDone.wait();
  EXPECT_EQ(queue.sync([&] { return std::accumulate(numbers.begin(), numbers.end(), 0); }), 8 * 500);
}

TEST(SerialQueue, WorkOfOneThreadRunsInTheOrderItWasHandedIn) {
  SerialQueue queue("order");
  std::vector<int> order;
  std::promise<void> gate;
  queue.async([opened = gate.get_future().share()] { opened.wait(); });
  for (int index = 0; index < 100; ++index) {
    queue.async([&order, index] { order.push_back(index); });
  }
  gate.set_value();
  queue.sync([&] { order.push_back(100); });
  std::vector<int> expected(101);
  std::iota(expected.begin(), expected.end(), 0);
  EXPECT_EQ(order, expected);
}

TEST(SerialQueue, WorkHandedInByWorkRunsLaterNotInside) {
  SerialQueue queue("nested");
  std::vector<std::string> order;
  std::promise<void> done;
  queue.sync([&] {
    queue.async([&] {
      order.push_back("inner");
      done.set_value();
    });
    order.push_back("outer");
  });
  done.get_future().wait();
  EXPECT_THAT(order, ElementsAre("outer", "inner"));
}

TEST(SerialQueue, EnteringFromInsideIsReportedAndThenRuns) {
  qrb::test::AssertionRecorder assertions;
  SerialQueue queue("registry");
  int result = queue.sync([&] { return queue.sync([] { return 7; }) + 1; });
  EXPECT_EQ(result, 8);
  ASSERT_EQ(assertions.messages.size(), 1U);
  EXPECT_THAT(assertions.messages[0], HasSubstr("registry"));
  EXPECT_EQ(queue.sync([] { return 9; }), 9) << "the queue is free again";
}

TEST(SerialQueue, WorkOutlivesTheQueueThatItWasHandedTo) {
  std::promise<void> gate;
  std::promise<int> done;
  {
    SerialQueue queue("short");
    queue.async([opened = gate.get_future().share()] { opened.wait(); });
    queue.async([&] { done.set_value(3); });
  }
  gate.set_value();
  EXPECT_EQ(done.get_future().get(), 3);
}

TEST(ConditionLock, AsynchronousRepliesBecomeOneSequence) {
  // The shape of every multi-step action: take at 0, ask, and wait at -2 for a reply that moves -1 to -2.
  ConditionLock lock("history", 0);
  std::vector<std::string> order;
  for (int step = 0; step < 50; ++step) {
    lock.lockWhenCondition(0);
    order.push_back("ask");
    lock.unlockWithCondition(-1);
    std::jthread reply([&] {
      lock.lockWhenCondition(-1);
      order.push_back("reply");
      lock.unlockWithCondition(-2);
    });
    lock.lockWhenCondition(-2);
    EXPECT_EQ(order.back(), "reply");
    lock.unlockWithCondition(0);
  }
  EXPECT_EQ(order.size(), 100U);
}

TEST(ConditionLock, EachWaiterWakesForItsOwnCondition) {
  ConditionLock lock("stages", 0);
  std::vector<long> order;
  std::vector<std::jthread> threads;
  for (long stage : {4L, 2L, 3L, 1L}) {
    threads.emplace_back([&, stage] {
      lock.lockWhenCondition(stage);
      order.push_back(stage);
      lock.unlockWithCondition(stage + 1);
    });
  }
  lock.lock();
  lock.unlockWithCondition(1);
  lock.lockWhenCondition(5);
  EXPECT_THAT(order, ElementsAre(1, 2, 3, 4));
  lock.unlock();
}

TEST(MainThread, FunctionsWaitForTheHostToDrainThemInOrder) {
  std::vector<int> order;
  std::jthread([&] {
    runOnMainThread([&] {
      order.push_back(1);
      runOnMainThread([&] { order.push_back(3); });
    });
    runOnMainThread([&] { order.push_back(2); });
  }).join();
  EXPECT_TRUE(order.empty());
  EXPECT_EQ(drainMainQueue(), 3U);
  EXPECT_THAT(order, ElementsAre(1, 2, 3));
  EXPECT_EQ(drainMainQueue(), 0U);
}

TEST(MainThread, AnExecutorGetsWhatWaitedAndWhatFollows) {
  std::vector<int> order;
  runOnMainThread([&] { order.push_back(1); });
  setMainThreadExecutor([](std::function<void()> function) { function(); });
  runOnMainThread([&] { order.push_back(2); });
  setMainThreadExecutor({});
  EXPECT_EQ(drainMainQueue(), 0U);
  EXPECT_THAT(order, ElementsAre(1, 2));
}

TEST(AssertionDeathTest, TheDefaultPrintsWhereAndAborts) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(assertionFailure("Framework/Thing", 73, "do not"), testing::KilledBySignal(SIGABRT),
              "Framework/Thing:73: do not");
}

TEST(AssertionDeathTest, AResultIsUsedForWhatItIsOrNotAtAll) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  Error failure("domain", 1);
  EXPECT_EXIT(*Result<int>(failure), testing::KilledBySignal(SIGABRT), "A failure was asked for its value");
  EXPECT_EXIT(static_cast<void>(Result<int>(Error())), testing::KilledBySignal(SIGABRT), "A failure has no error");
  auto goOn = [&] {
    setAssertionHandler([](auto, auto, auto) {});
    *Result<int>(failure);
  };
  EXPECT_EXIT(goOn(), testing::KilledBySignal(SIGABRT), "") << "also where the handler comes back";
  auto only = *Result<std::unique_ptr<int>>(std::make_unique<int>(3));
  EXPECT_EQ(*only, 3);
}

}  // namespace
}  // namespace qrb
