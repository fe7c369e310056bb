#include <gmock/gmock.h>

#include <future>

#include "EngineTesting.h"

namespace qrb::test {
namespace {

using Systems = std::shared_ptr<const QRBSourceControlManager::Systems>;

class DiscoveryTest : public EngineTest {
 protected:
  void TearDown() override {
    manager()->setDiscoveryTimeLimit(QRBSourceControlManager::defaultDiscoveryTimeLimit);
    manager()->setCachedSourceControlSystems(nullptr);
    EngineTest::TearDown();
  }

  /// The identifiers of the systems found.
  static std::vector<std::string> discover() {
    auto promise = std::make_shared<std::promise<Systems>>();
    manager()->sourceControlSystemsWithCompletionBlock(
        [promise](const Systems& systems) { promise->set_value(systems); });
    auto future = promise->get_future();
    if (future.wait_for(kPatience) != std::future_status::ready) return {"never answered"};
    std::vector<std::string> identifiers;
    for (const auto& system : *future.get()) identifiers.push_back(system->plugInIdentifier().str());
    return identifiers;
  }

  static constexpr const char* kGit = "org.qrb.Orlix.sourcecontrol.Git";
  static constexpr const char* kSubversion = "org.qrb.Orlix.sourcecontrol.Subversion";
};

// The end of the first is told while the second is being asked, and is not the second's.
TEST_F(DiscoveryTest, OneThatExitsOnceItHasAnsweredTakesNoOtherWithIt) {
  usePlugIn("system-then-exit");
  addPlugIn(kSubversion, "good");
  for (int round = 0; round < 60; ++round) {
    ASSERT_THAT(discover(), testing::ElementsAre(kGit, kSubversion)) << "in round " << round;
  }
}

TEST_F(DiscoveryTest, OneThatDoesNotAnswerIsLeftOutAndNamed) {
  addPlugIn(kSubversion, "good");
  for (const char* mode : {"hang", "killed-without-reply", "garbage"}) {
    usePlugIn(mode);
    addPlugIn(kSubversion, "good");
    manager()->setDiscoveryTimeLimit(mode == std::string("hang") ? std::chrono::milliseconds(100)
                                                                 : std::chrono::milliseconds(kPatience));
    std::vector<QRBSourceControlServiceFailure> failures;
    auto token = manager()->observeServiceFailures([&](const auto& failure) { failures.push_back(failure); });
    EXPECT_THAT(discover(), testing::ElementsAre(kSubversion)) << mode;
    ASSERT_EQ(failures.size(), 1u) << mode;
    EXPECT_EQ(failures[0].service, kGit) << mode;
    EXPECT_EQ(failures[0].error.code(), 4097) << mode;
    EXPECT_EQ(failures[0].unanswered, nullptr) << mode;
  }
}

TEST_F(DiscoveryTest, TheGuessForAURLIsTheSystemThatItHintsAtElseGitEvenWhereThatIsMissing) {
  auto guess = [](const std::string& url, bool isCancelled = false) -> std::string {
    auto promise = std::make_shared<std::promise<QRBSourceControlSystemPtr>>();
    auto request = QRBSourceControlSystem::bestGuessSystemForURL(
        URL(url), [promise](const QRBSourceControlSystemPtr& system) { promise->set_value(system); });
    if (isCancelled) request->cancel();
    auto future = promise->get_future();
    if (future.wait_for(kPatience) != std::future_status::ready) return "never answered";
    QRBSourceControlSystemPtr system = future.get();
    if (system == nullptr) return "none";
    return system->plugInIdentifier().str() + (system->isUsable() ? "" : " is missing");
  };
  addPlugIn(kSubversion, "good");
  EXPECT_EQ(guess(std::string("https://host/") + kSubversion), kSubversion);
  EXPECT_EQ(guess("https://host/x"), kGit);
  usePlugIn("killed-at-start");
  addPlugIn(kSubversion, "good");
  manager()->setCachedSourceControlSystems(nullptr);
  EXPECT_EQ(guess("https://host/x"), std::string(kGit) + " is missing");
  usePlugIn("hang");
  EXPECT_EQ(guess("https://host/x", true), "none") << "nothing is listed anew for it";
}

// More than can have a process at a time: whoever looks a system up holds the place of a request.
TEST_F(DiscoveryTest, CompletionsMayLookASystemUp) {
  usePlugIn("good");
  constexpr int count = 200;
  manager()->setCachedSourceControlSystems(nullptr);
  auto found = std::make_shared<std::atomic<int>>(0);
  std::vector<std::shared_ptr<RevisionOutcome>> outcomes;
  for (int number = 0; number < count; ++number) {
    outcomes.push_back(RevisionOutcome::make());
    manager()->baseRevisionOfWorkingCopy(
        workingCopy(), [found, then = outcomes.back()->completion()](const auto& revision, const Error& error) {
          if (manager()->systemWithIdentifer(kGit)->isUsable()) ++*found;
          then(revision, error);
        });
  }
  for (auto& outcome : outcomes) {
    ASSERT_FALSE(outcome->error());
  }
  EXPECT_EQ(*found, count);
}

// Each lookup without any system is another discovery.
TEST_F(DiscoveryTest, TheCompletionOfOneMayLookASystemUpWhereNoneIsInstalled) {
  usePlugIn("killed-at-start");
  addPlugIn(kSubversion, "killed-at-start");
  auto promise = std::make_shared<std::promise<bool>>();
  manager()->sourceControlSystemsWithCompletionBlock(
      [promise](const Systems&) { promise->set_value(manager()->systemWithIdentifer(kGit)->isUsable()); });
  auto future = promise->get_future();
  ASSERT_EQ(future.wait_for(kPatience), std::future_status::ready);
  EXPECT_FALSE(future.get());
}

}  // namespace
}  // namespace qrb::test
