// The two thin ways to receive what a request answers, on real requests.
#include "QRBSourceControlAwaiting.h"

#include <optional>

#include "EngineTesting.h"
#include "MainThreadExecutor.h"
#include "QRBSourceControlAccount.h"
#include "SerialQueue.h"

namespace qrb::test {

namespace {

class Awaiting : public EngineTest {
 protected:
  template <class Future>
  static bool isSettledInTime(Future& future) {
    return future.wait_for(kPatience) == std::future_status::ready;
  }
};

TEST_F(Awaiting, AFutureGivesTheValuesAndTheError) {
  struct Case {
    const char* plugIn;
    std::int64_t code;
  };
  for (const Case& each : {Case{"good", 0}, Case{"killed-without-reply", 4097}, Case{"failure-999", -999}}) {
    usePlugIn(each.plugIn);
    auto [completion, future] = futureCompletion<QRBSourceControlRevisionPtr>();
    manager()->baseRevisionOfWorkingCopy(workingCopy("orchard"), completion);
    ASSERT_TRUE(isSettledInTime(future)) << each.plugIn;
    auto [revision, error] = future.get();
    EXPECT_EQ(error.code(), each.code) << each.plugIn;
    ASSERT_EQ(revision != nullptr, each.code == 0) << each.plugIn;
    if (revision != nullptr) {
      EXPECT_TRUE(revision->identifier().str().ends_with(" orchard"));
    }
  }
}

TEST_F(Awaiting, AFutureOfACancelledRequestGivesTheCancellation) {
  usePlugIn("hang");
  auto [completion, future] = futureCompletion<QRBSourceControlRevisionPtr>();
  auto request = manager()->baseRevisionOfWorkingCopy(workingCopy(), completion);
  request->cancel();
  ASSERT_TRUE(isSettledInTime(future));
  EXPECT_TRUE(isCancellation(std::get<Error>(future.get())));
}

TEST_F(Awaiting, AFutureThatIsGivenUpDisturbsNobody) {
  auto outcome = RevisionOutcome::make();
  {
    auto [completion, future] = futureCompletion<QRBSourceControlRevisionPtr>();
    manager()->baseRevisionOfWorkingCopy(
        workingCopy(), [inner = completion, after = outcome->completion()](auto revision, Error error) {
          inner(revision, error);
          after(revision, error);
        });
  }
  EXPECT_NE(std::get<0>(outcome->wait()), nullptr);
}

TEST_F(Awaiting, ACompletionThatIsLetGoUncalledBreaksThePromise) {
  auto [completion, future] = futureCompletion<>();
  auto account = QRBSourceControlAccount::initWithName("server", URL("https://host/"), nullptr);
  EXPECT_EQ(account->validateAuthenticationWithCompletionBlock(std::move(completion)), nullptr);
  completion = nullptr;
  ASSERT_TRUE(isSettledInTime(future)) << "nobody holds the completion, yet the future waits for it";
  try {
    future.get();
    FAIL() << "there was no answer to give";
  } catch (const std::future_error& error) {
    EXPECT_EQ(error.code(), std::future_errc::broken_promise);
  }
}

TEST_F(Awaiting, AnExecutorGetsBatchesInOrderAndThenTheCompletionOnItsThread) {
  using Items = std::vector<QRBSourceControlLogItemPtr>;
  Executor here = [](std::function<void()> function) { runOnMainThread(std::move(function)); };
  std::thread::id thread = std::this_thread::get_id();
  Items streamed;
  std::optional<Items> replied;
  manager()->historyOfWorkingCopy(workingCopy(), nullptr, nullptr, 0, 1000, nullptr, 0,
                                  on(here,
                                     [&](const Items& items, double) {
                                       EXPECT_EQ(std::this_thread::get_id(), thread);
                                       EXPECT_FALSE(replied) << "batches must come before the completion";
                                       streamed.insert(streamed.end(), items.begin(), items.end());
                                     }),
                                  on(here, [&](const Items& items, Error error) {
                                    EXPECT_EQ(std::this_thread::get_id(), thread);
                                    EXPECT_FALSE(error) << error.description();
                                    replied = items;
                                  }));
  while (!replied) drainMainQueue(kPatience);
  EXPECT_EQ(replied->size(), 1000u);
  EXPECT_EQ(streamed, *replied);
}

TEST_F(Awaiting, AnExecutorThatRunsLaterStillFindsTheValues) {
  std::function<void()> kept;
  std::promise<void> taken;
  Executor keeper = [&](std::function<void()> function) {
    kept = std::move(function);
    taken.set_value();
  };
  QRBSourceControlRevisionPtr received;
  manager()->baseRevisionOfWorkingCopy(
      workingCopy("orchard"), on(keeper, [&](auto revision, const Error&) { received = std::move(revision); }));
  auto future = taken.get_future();
  ASSERT_TRUE(isSettledInTime(future));
  settleProcesses();
  EXPECT_EQ(received, nullptr) << "the executor has not run it yet";
  kept();
  ASSERT_NE(received, nullptr);
  EXPECT_TRUE(received->identifier().str().ends_with(" orchard"));
}

TEST_F(Awaiting, BothCombineAndAnExecutorThatDropsItsWorkBreaksThePromise) {
  SerialQueue queue("deliveries");
  auto [delivered, deliveredFuture] = futureCompletion<QRBSourceControlRevisionPtr>();
  Executor onQueue = [&queue](std::function<void()> function) { queue.async(std::move(function)); };
  manager()->baseRevisionOfWorkingCopy(workingCopy(), on(onQueue, std::move(delivered)));
  ASSERT_TRUE(isSettledInTime(deliveredFuture));
  EXPECT_NE(std::get<0>(deliveredFuture.get()), nullptr);

  auto [dropped, droppedFuture] = futureCompletion<QRBSourceControlRevisionPtr>();
  Executor dropping = [](std::function<void()>) {};
  manager()->baseRevisionOfWorkingCopy(workingCopy(), on(dropping, std::move(dropped)));
  ASSERT_TRUE(isSettledInTime(droppedFuture));
  EXPECT_THROW(droppedFuture.get(), std::future_error);
}

}  // namespace

}  // namespace qrb::test
