#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <future>
#include <latch>
#include <mutex>
#include <thread>
#include <vector>

#include "Descriptors.h"
#include "OperationQueue.h"
#include "WorkerPool.h"

namespace qrb {
namespace {

using testing::ElementsAre;

/// What the started operations of a test have in common: who has been started and who is told to finish.
class Journal {
 public:
  void started(int number) {
    std::lock_guard lock(_mutex);
    _started.push_back(number);
    _changed.notify_all();
  }
  std::vector<int> waitForStarted(std::size_t count) {
    std::unique_lock lock(_mutex);
    _changed.wait(lock, [&] { return _started.size() >= count; });
    return _started;
  }

 private:
  std::mutex _mutex;
  std::condition_variable _changed;
  std::vector<int> _started;
};

/// Work whose start returns at once and which ends when the test says so, as a request does that awaits its reply.
class Request : public QueueOperation {
 public:
  Request(Journal& journal, int number, bool ready = true) : _journal(journal), _number(number), _ready(ready) {}

  void start() override {
    _executing = true;
    _journal.started(_number);
    if (isCancelled()) {
      finish();
    }
  }
  void finish() {
    willChange(Property::isFinished);
    _executing = false;
    _finished = true;
    didChange(Property::isFinished);
  }
  void becomeReady() {
    _ready = true;
    didChange(Property::isReady);
  }
  bool isReady() const override { return _ready; }
  bool isExecuting() const override { return _executing; }
  bool isFinished() const override { return _finished; }

 private:
  Journal& _journal;
  const int _number;
  std::atomic<bool> _ready;
  std::atomic<bool> _executing = false;
  std::atomic<bool> _finished = false;
};

std::vector<std::shared_ptr<Request>> addRequests(OperationQueue& queue, Journal& journal, int count) {
  std::vector<std::shared_ptr<Request>> requests;
  for (int number = 0; number < count; ++number) {
    requests.push_back(std::make_shared<Request>(journal, number));
    queue.addOperation(requests.back());
  }
  return requests;
}

TEST(OperationQueue, AnOperationCountsUntilItsEndIsAnnounced) {
  Journal journal;
  OperationQueue queue("two");
  queue.setMaxConcurrentOperationCount(2);
  auto requests = addRequests(queue, journal, 4);
  EXPECT_EQ(journal.waitForStarted(2).size(), 2U);
  // The third is started by the end of one of the first two and by nothing else.
  requests[1]->finish();
  EXPECT_EQ(journal.waitForStarted(3).back(), 2);
  EXPECT_EQ(queue.operations().size(), 3U);
  requests[0]->finish();
  requests[0]->finish();
  EXPECT_EQ(journal.waitForStarted(4).back(), 3) << "an end announced twice frees one place";
  requests[2]->finish();
  requests[3]->finish();
  queue.waitUntilAllOperationsAreFinished();
  EXPECT_TRUE(queue.operations().empty());
}

TEST(OperationQueue, NeverExceedsItsLimitAndLosesNothing) {
  OperationQueue queue("many");
  queue.setMaxConcurrentOperationCount(3);
  std::atomic<int> ran = 0;
  std::atomic<int> running = 0;
  std::atomic<int> highest = 0;
  for (int number = 0; number < 500; ++number) {
    queue.addOperation(std::make_shared<BlockOperation>([&] {
      int now = ++running;
      int seen = highest;
      while (now > seen && !highest.compare_exchange_weak(seen, now)) {
      }
      ++ran;
      --running;
    }));
  }
  queue.waitUntilAllOperationsAreFinished();
  EXPECT_EQ(ran, 500);
  EXPECT_LE(highest, 3);
}

TEST(OperationQueue, AStartThatBlocksDoesNotStarveTheOthers) {
  // Each block waits for all of them to run at once, so fewer threads than blocks would never end.
  constexpr int count = 12;
  OperationQueue queue("blocking");
  queue.setMaxConcurrentOperationCount(count);
  std::latch all(count);
  for (int number = 0; number < count; ++number) {
    queue.addOperation(std::make_shared<BlockOperation>([&] { all.arrive_and_wait(); }));
  }
  queue.waitUntilAllOperationsAreFinished();
}

TEST(OperationQueue, BlockedWorkOfOneQueueWaitsForRequestsOfAnother) {
  OperationQueue actions("actions");
  OperationQueue requests("requests");
  actions.setMaxConcurrentOperationCount(20);
  std::atomic<int> answered = 0;
  for (int number = 0; number < 20; ++number) {
    actions.addOperation(std::make_shared<BlockOperation>([&] {
      std::promise<void> reply;
      requests.addOperation(std::make_shared<BlockOperation>([&] { reply.set_value(); }));
      reply.get_future().wait();
      ++answered;
    }));
  }
  actions.waitUntilAllOperationsAreFinished();
  requests.waitUntilAllOperationsAreFinished();
  EXPECT_EQ(answered, 20);
}

TEST(OperationQueue, ThousandsOfRequestsNeedNoThreadsOfTheirOwn) {
  Journal journal;
  OperationQueue queue("thousands");
  queue.setMaxConcurrentOperationCount(5000);
  auto requests = addRequests(queue, journal, 5000);
  journal.waitForStarted(5000);
  EXPECT_LE(test::threadCount(), 64U);
  for (const auto& request : requests) {
    request->finish();
  }
  queue.waitUntilAllOperationsAreFinished();
}

TEST(OperationQueue, AnOperationThatEndedBeforeItsTurnIsNotStarted) {
  Journal journal;
  OperationQueue queue("early");
  queue.setMaxConcurrentOperationCount(1);
  auto requests = addRequests(queue, journal, 3);
  journal.waitForStarted(1);
  requests[1]->finish();
  EXPECT_EQ(queue.operations().size(), 2U);
  requests[0]->finish();
  EXPECT_THAT(journal.waitForStarted(2), ElementsAre(0, 2));
  requests[2]->finish();
  auto finishedBefore = std::make_shared<Request>(journal, 9);
  finishedBefore->finish();
  queue.addOperation(finishedBefore);
  queue.waitUntilAllOperationsAreFinished();
  EXPECT_FALSE(finishedBefore->isExecuting());
}

TEST(OperationQueue, WaitsForReadinessWithoutHoldingUpTheRest) {
  Journal journal;
  OperationQueue queue("ready");
  queue.setMaxConcurrentOperationCount(1);
  auto late = std::make_shared<Request>(journal, 0, false);
  auto next = std::make_shared<Request>(journal, 1);
  queue.addOperation(late);
  queue.addOperation(next);
  EXPECT_THAT(journal.waitForStarted(1), ElementsAre(1));
  next->finish();
  late->becomeReady();
  EXPECT_THAT(journal.waitForStarted(2), ElementsAre(1, 0));
  late->finish();
  queue.waitUntilAllOperationsAreFinished();
}

TEST(OperationQueue, CancellingAllSkipsTheBlocksThatHaveNotBegun) {
  OperationQueue queue("cancel");
  queue.setMaxConcurrentOperationCount(1);
  std::promise<void> begun;
  std::promise<void> gate;
  std::atomic<int> ran = 0;
  auto first = std::make_shared<BlockOperation>([&] {
    ++ran;
    begun.set_value();
    gate.get_future().wait();
  });
  first->addExecutionBlock([&] { ++ran; });
  queue.addOperation(first);
  for (int number = 0; number < 10; ++number) {
    queue.addOperation(std::make_shared<BlockOperation>([&] { ++ran; }));
  }
  begun.get_future().wait();
  queue.cancelAllOperations();
  gate.set_value();
  queue.waitUntilAllOperationsAreFinished();
  EXPECT_EQ(ran, 1);
  EXPECT_TRUE(first->isFinished());
}

TEST(OperationQueue, WorkOutlivesTheQueueAndIsReleasedAtItsEnd) {
  Journal journal;
  std::promise<void> gone;
  auto tell = [&](Request* ended) {
    delete ended;
    gone.set_value();
  };
  std::shared_ptr<Request> request(new Request(journal, 0), tell);
  std::promise<void> ran;
  auto block = std::make_shared<BlockOperation>([&] { ran.set_value(); });
  {
    OperationQueue queue("short");
    queue.setMaxConcurrentOperationCount(1);
    queue.addOperation(request);
    queue.addOperation(block);
    block.reset();
  }
  journal.waitForStarted(1);
  request->finish();
  ran.get_future().wait();
  request.reset();
  gone.get_future().wait();
}

TEST(OperationQueue, FinishingOnManyThreadsLosesNoPlace) {
  Journal journal;
  OperationQueue queue("race");
  queue.setMaxConcurrentOperationCount(8);
  auto requests = addRequests(queue, journal, 400);
  std::atomic<std::size_t> next = 0;
  std::vector<std::jthread> finishers;
  for (int thread = 0; thread < 4; ++thread) {
    finishers.emplace_back([&] {
      for (std::size_t index = next++; index < requests.size(); index = next++) {
        int started = journal.waitForStarted(index + 1)[index];
        requests[static_cast<std::size_t>(started)]->finish();
      }
    });
  }
  finishers.clear();
  queue.waitUntilAllOperationsAreFinished();
  Journal again;
  auto more = addRequests(queue, again, 8);
  EXPECT_EQ(again.waitForStarted(8).size(), 8U);
  for (const auto& request : more) {
    request->finish();
  }
}

}  // namespace
}  // namespace qrb
