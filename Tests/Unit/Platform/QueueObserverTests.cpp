#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <latch>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "Observer.h"

namespace qrb {
namespace {

using testing::ElementsAre;

TEST(Observers, HearInOrderUntilTheirTokenGoes) {
  ObserverList<std::string> list;
  std::vector<std::string> heard;
  auto first = list.observe([&](const std::string& word) { heard.push_back("1" + word); });
  auto second = list.observe([&](const std::string& word) { heard.push_back("2" + word); });
  list.notify("a");
  first.reset();
  list.notify("b");
  second = list.observe([&](const std::string& word) { heard.push_back("3" + word); });
  list.notify("c");
  EXPECT_THAT(heard, ElementsAre("1a", "2a", "2b", "3c"));
}

TEST(Observers, MayUnsubscribeThemselvesAndEachOtherFromInside) {
  ObserverList<> list;
  int own = 0;
  int other = 0;
  ObserverToken ownToken;
  ObserverToken otherToken;
  // What the callback holds must survive until the callback has returned, even though its token is gone.
  auto held = std::make_shared<int>(5);
  std::weak_ptr<int> watched = held;
  ownToken = list.observe([&, held = std::move(held)] {
    ownToken.reset();
    otherToken.reset();
    own += *held;
  });
  otherToken = list.observe([&] { ++other; });
  list.notify();
  list.notify();
  EXPECT_EQ(own, 5);
  EXPECT_EQ(other, 0) << "unsubscribed before its turn came";
  EXPECT_TRUE(watched.expired());
}

TEST(Observers, TokensOutliveTheList) {
  std::optional<ObserverList<>> list(std::in_place);
  auto held = std::make_shared<int>(0);
  std::weak_ptr<int> watched = held;
  auto token = list->observe([held = std::move(held)] {});
  list.reset();
  EXPECT_TRUE(token);
  token.reset();
  EXPECT_TRUE(watched.expired());
}

TEST(Observers, DestroyingATokenWaitsForTheCallInFlight) {
  ObserverList<> list;
  std::latch inside(1);
  std::promise<void> gate;
  std::atomic<bool> returned = false;
  auto token = std::make_optional(list.observe([&] {
    inside.count_down();
    gate.get_future().wait();
    returned = true;
  }));
  std::jthread notifier([&] { list.notify(); });
  inside.wait();
  std::jthread opener([&] { gate.set_value(); });
  token.reset();
  EXPECT_TRUE(returned);
}

TEST(Observers, DetachingDoesNotWaitForTheCallInFlight) {
  ObserverList<> list;
  std::latch inside(1);
  std::promise<void> gate;
  int calls = 0;
  auto token = list.observe([&] {
    ++calls;
    inside.count_down();
    gate.get_future().wait();
  });
  std::jthread notifier([&] { list.notify(); });
  inside.wait();
  token.detach();
  list.notify();
  gate.set_value();
  notifier.join();
  EXPECT_EQ(calls, 1);
}

TEST(Observers, ADestroyedObserverIsNeverTouchedWhileOthersNotify) {
  ObserverList<int> list;
  std::atomic<bool> stop = false;
  std::vector<std::jthread> notifiers;
  for (int thread = 0; thread < 3; ++thread) {
    notifiers.emplace_back([&] {
      while (!stop) {
        list.notify(1);
      }
    });
  }
  // Each observer writes into memory that is gone right after its token: a late call is a data race or a use after
  // free.
  std::atomic<long> heard = 0;
  for (int round = 0; round < 500; ++round) {
    auto memory = std::make_unique<std::atomic<int>>(0);
    auto token = list.observe([&heard, raw = memory.get()](int value) {
      *raw += value;
      ++heard;
    });
    if (round % 50 == 0) {
      while (*memory == 0) {
        std::this_thread::yield();
      }
    }
  }
  stop = true;
  EXPECT_GE(heard, 10);
}

}  // namespace
}  // namespace qrb
