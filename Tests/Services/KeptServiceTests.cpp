#include <gmock/gmock.h>

#include "Log.h"
#include "ProcessReaper.h"
#include "QRBSourceControlError.h"
#include "ServiceTesting.h"

namespace qrb::test {
namespace {

using HostsOutcome = Outcome<Dictionary>;

class KeptServiceTest : public ServiceTest {
 protected:
  static std::shared_ptr<HostsOutcome> askKnownHosts(QRBSourceControlOperationPtr* operation = nullptr) {
    auto outcome = HostsOutcome::make();
    auto queued = manager()->knownSSHHostsAndFingerprintsWithCompletionBlock(outcome->completion());
    if (operation != nullptr) *operation = queued;
    return outcome;
  }
};

TEST_F(KeptServiceTest, ManyRequestsAtOnceShareOneProcessWhichStays) {
  std::vector<std::shared_ptr<HostsOutcome>> outcomes;
  for (int number = 0; number < 50; ++number) outcomes.push_back(askKnownHosts());
  for (auto& outcome : outcomes) EXPECT_FALSE(outcome->error());
  auto processes = processesOf("SSHHelper");
  ASSERT_EQ(processes.size(), 1u);
  EXPECT_FALSE(askKnownHosts()->error());
  EXPECT_EQ(processesOf("SSHHelper"), processes);
}

TEST_F(KeptServiceTest, TheRequestThatAServiceDiedInWaitsForItsCancellationAndTheNextGetsAnotherService) {
  useTestPlugIn("SSHHelper", "hang");
  QRBSourceControlOperationPtr operation;
  auto lost = askKnownHosts(&operation);
  awaitProcessOf("SSHHelper");
  killService("SSHHelper");
  ServiceDirectories::unregisterAll();
  EXPECT_FALSE(askKnownHosts()->error());
  EXPECT_EQ(lost->calls(), 0u);
  operation->cancel();
  EXPECT_EQ(lost->error().code(), -5);
  EXPECT_EQ(lost->calls(), 1u);
}

// A request whose service is missing, died or hangs waits for good, and in nobody's way; what could answer it no more
// is told.
TEST_F(KeptServiceTest, RequestsWithoutAnAnswerAreToldAndKeepNoOtherFromRunning) {
  constexpr std::size_t count = 100;
  useTestPlugIn("Git", "good");
  auto elsewhere = QRBSourceControlRepository::initWithURL(URL::fileURL("/r"), system("Git", ".git"));
  auto nowhere = QRBSourceControlSystemPlaceholder::initWithPlugInIdentifier("org.nowhere");
  const std::map<std::string, std::function<QRBSourceControlOperationPtr()>> requests = {
      {"SSHHelper", [&] { return manager()->knownSSHHostsAndFingerprintsWithCompletionBlock({}); }},
      {"WorkingCopyScanner", [&] { return manager()->scanForWorkingCopiesInFolderPaths({"/r"}, false, {}, {}); }},
      {"placeholder", [&] { return manager()->keychainNameFromURL(URL("http://h"), nowhere, {}); }}};
  for (const auto& [service, request] : requests) {
    // What hangs comes last: a request that was on its way when it was cancelled may launch one that nobody kills.
    for (const char* mode : {"killed-without-reply", "missing", "hang"}) {
      useTestPlugIn(service, mode);
      Guarded<std::vector<QRBSourceControlServiceFailure>> failures;
      auto token = manager()->observeServiceFailures(
          [&](const auto& failure) { failures.with([&](auto& all) { all.push_back(failure); }); });
      std::vector<QRBSourceControlOperationPtr> operations;
      for (std::size_t number = 0; number < count; ++number) operations.push_back(request());
      auto fresh = RevisionOutcome::make();
      manager()->baseRevisionOfWorkingCopy(
          QRBSourceControlWorkingCopy::initWithFileURLUnidentifiableRepository(URL::fileURL("/r"), elsewhere),
          fresh->completion());
      EXPECT_FALSE(fresh->error()) << service << " " << mode;
      bool isTold = service != "placeholder" && mode != std::string("hang");
      auto told = [&] { return failures.with([](const auto& all) { return all.size(); }); };
      auto deadline = std::chrono::steady_clock::now() + kPatience;
      while (isTold && told() < count && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
      EXPECT_EQ(told(), isTold ? count : 0) << service << " " << mode;
      for (const auto& operation : operations) operation->cancel();
      killService(service.c_str());
    }
  }
}

TEST_F(KeptServiceTest, ACancelledRequestLetsGoOfTheCallersObjectsAtOnce) {
  for (const char* service : {"SSHHelper", "WorkingCopyScanner"}) {
    useTestPlugIn(service, "hang");
    auto mine = std::make_shared<int>();
    std::weak_ptr<int> watched = mine;
    QRBSourceControlOperationPtr operation;
    if (service == std::string("SSHHelper")) {
      operation = manager()->knownSSHHostsAndFingerprintsWithCompletionBlock([mine](const auto&, const auto&) {});
    } else {
      operation = manager()->scanForWorkingCopiesInFolderPaths({"/r"}, false, {}, [mine](const auto&) {});
    }
    mine = nullptr;
    awaitProcessOf(service);
    EXPECT_FALSE(watched.expired()) << service;
    operation->cancel();
    EXPECT_TRUE(watched.expired()) << service;
    killService(service);
  }
}

TEST_F(KeptServiceTest, AServiceThatBreaksTheProtocolIsReplaced) {
  for (const char* mode : {"garbage", "request-to-host", "reply-to-no-request"}) {
    useTestPlugIn("SSHHelper", mode);
    auto refused = std::make_shared<std::promise<void>>();
    setLogHandler([refused, told = false](std::string_view, std::string_view text) mutable {
      if (text.starts_with("connection ended") && !std::exchange(told, true)) refused->set_value();
    });
    QRBSourceControlOperationPtr operation;
    auto lost = askKnownHosts(&operation);
    ASSERT_EQ(refused->get_future().wait_for(kPatience), std::future_status::ready) << mode;
    setLogHandler({});
    // It is given up first and killed then.
    auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (!processesOf("SSHHelper").empty() && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
    EXPECT_TRUE(processesOf("SSHHelper").empty()) << mode << " lives on";
    ServiceDirectories::unregisterAll();
    EXPECT_FALSE(askKnownHosts()->error()) << mode;
    operation->cancel();
    EXPECT_EQ(lost->error().code(), -5) << mode;
    killService("SSHHelper");
  }
}

// Unlike one whose service died: it could only deliver as much again.
TEST_F(KeptServiceTest, ARequestThatAServiceDeliversTooMuchForFails) {
  useTestPlugIn("SSHHelper", "too-much");
  Error error = askKnownHosts()->error();
  EXPECT_EQ(error.code(), 4097);
  EXPECT_NE(error.userInfo(QRBSourceControlUnderlyingErrorString).str().find("536870912 bytes"), std::string::npos);
  ServiceDirectories::unregisterAll();
  EXPECT_FALSE(askKnownHosts()->error());
}

TEST_F(KeptServiceTest, AnIdleServiceThatDiesIsReplaced) {
  for (int round = 0; round < 20; ++round) {
    ASSERT_FALSE(askKnownHosts()->error());
    killService("SSHHelper");
  }
}

TEST_F(KeptServiceTest, AHostThatEndsLeavesNoneBehindAndOneThatGoesOnGetsAnother) {
  for (int round = 0; round < 3; ++round) {
    ASSERT_FALSE(askKnownHosts()->error());
    ASSERT_EQ(processesOf("SSHHelper").size(), 1u);
    manager()->endHelperServices();
    EXPECT_TRUE(ProcessReaper::shared().drain(kPatience));
    EXPECT_TRUE(processesOf("SSHHelper").empty());
  }
}

TEST_F(KeptServiceTest, ACancelledRequestLeavesTheServiceToTheOthers) {
  auto process = (askKnownHosts()->wait(), processesOf("SSHHelper"));
  std::vector<std::shared_ptr<HostsOutcome>> outcomes;
  for (int round = 0; round < 200; ++round) {
    QRBSourceControlOperationPtr operation;
    outcomes.push_back(askKnownHosts(&operation));
    for (int turn = 0; turn < round; ++turn) std::this_thread::yield();
    operation->cancel();
  }
  EXPECT_FALSE(askKnownHosts()->error());
  for (auto& outcome : outcomes) {
    Error error = outcome->error();
    EXPECT_TRUE(!error || error.code() == -5) << error.description();
    EXPECT_EQ(outcome->calls(), 1u);
  }
  EXPECT_EQ(processesOf("SSHHelper"), process);
}

}  // namespace
}  // namespace qrb::test
