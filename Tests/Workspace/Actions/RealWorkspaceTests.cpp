#include <random>
#include <set>

#include "Log.h"
#include "QRBSourceControlBasicAuthenticationStrategy.h"
#include "QRBSourceControlMultiCancellable.h"
#include "RealWorkspaceTesting.h"

namespace qrb::test {
namespace {

TEST_F(RealWorkspaceTest, ACheckoutCancelledAtAnyMomentLeavesOnlyWholeWorkingCopiesAndASecondCompletesIt) {
  auto blueprint = servedBlueprint();
  auto expanded = blueprint->_expandedWorkingCopyPathsFromURL(rootURL());
  std::mt19937 random(5);
  std::size_t interrupted = 0;
  for (int round = 0; round < 5; ++round) {
    std::filesystem::remove_all(root());
    auto outcome = CheckoutOutcome::make();
    std::atomic<int> reports = 0;
    auto request = blueprint->createWorkingCopiesAtURL(
        rootURL(), [&](const String&, double, double) { ++reports; }, outcome->completion());
    // So many reports into it, and then anywhere on the way to the next.
    int moment = static_cast<int>(random() % (3 * kRepositories));
    while (reports < moment && outcome->calls() == 0) std::this_thread::yield();
    for (unsigned spin = random() % 20'000'000; spin > 0; --spin) std::atomic_signal_fence(std::memory_order_seq_cst);
    request->cancel();
    if (outcome->error()) ++interrupted;
    settleEverything();

    std::set<RemotePtr> there;
    for (const RemotePtr& remote : blueprint->remoteRepositories()) {
      std::filesystem::path place(expanded.valueFor(remote).path().str());
      if (!std::filesystem::exists(place)) continue;
      there.insert(remote);
      EXPECT_EQ(git(place, {"fsck", "--strict", "--no-progress"}), "") << place;
      EXPECT_EQ(git(place, {"status", "--short", "--branch", "--untracked-files=no"}), "## main...origin/main")
          << place;
    }
    auto [workspace, table, errors, error] = checkOut(blueprint);
    ASSERT_FALSE(error) << error.description();
    EXPECT_EQ(errors->size(), there.size());
    for (const auto& [remote, failure] : *errors) {
      EXPECT_TRUE(there.contains(remote)) << failure.description();
      EXPECT_EQ(failure.code(), -204) << failure.description();
      EXPECT_NE(failure.localizedDescription().find(expanded.valueFor(remote).lastPathComponent().str()),
                std::string::npos)
          << "it must say what is in the way: " << failure.localizedDescription();
    }
    EXPECT_EQ(workspace->workingCopies().size() + there.size(), std::size_t{kRepositories});
    // Nothing else lies about.
    std::set<std::string> entries;
    for (const auto& entry : std::filesystem::directory_iterator(root() / "Libraries")) {
      entries.insert(entry.path().filename().string());
    }
    EXPECT_EQ(entries.size(), std::size_t{kRepositories - 2}) << testing::PrintToString(entries);
  }
  EXPECT_GT(interrupted, 0u);
  EXPECT_EQ(find(blueprint)->compareToBlueprint(blueprint), QRBSourceControlWorkspaceSameAsBlueprint);
}

/// With somebody who listens to the log, which takes descriptors of its own, from the first process on.
class SecretsTest : public RealWorkspaceTest {
 protected:
  void SetUp() override {
    setLogHandler([this](std::string_view source, std::string_view text) { note({source, ": ", text, "\n"}); });
    RealWorkspaceTest::SetUp();
  }
  void TearDown() override {
    RealWorkspaceTest::TearDown();
    setLogHandler({});
  }
  void note(std::initializer_list<std::string_view> texts) {
    std::lock_guard lock(_mutex);
    for (std::string_view text : texts) _said.append(text);
  }
  void note(const Blueprint::ErrorsPtr& errors) {
    ASSERT_NE(errors, nullptr);
    EXPECT_EQ(errors->size(), 2u);
    for (const auto& [remote, error] : *errors) {
      note({remote->description(), error.description()});
      for (const auto& [key, value] : error.userInfo()) note({value.view()});
    }
  }
  std::string said() {
    std::lock_guard lock(_mutex);
    return _said;
  }

 private:
  std::mutex _mutex;
  std::string _said;
};

TEST_F(SecretsTest, PasswordsAreInNoErrorAndNoLog) {
  // Nobody listens there any more.
  int port = listenOnLoopback().second;
  std::string address = "127.0.0.1:" + std::to_string(port);
  auto inURL = QRBSourceControlRemoteRepository::initUnsavedWithURL(
      URL("http://ada:s3cret!in-url@" + address + "/a.git"), "a", system());
  auto inStrategy = QRBSourceControlRemoteRepository::initWithURLUnsavedAuthenticationStrategy(
      URL("http://" + address + "/b.git"), "b", system(),
      QRBSourceControlBasicAuthenticationStrategy::initWithUsername("ada", "s3cret-in-strategy"));
  auto blueprint = Blueprint::init();
  blueprint->addRemoteRepository(inURL, "a", {}, nullptr, mainBranch());
  blueprint->addRemoteRepository(inStrategy, "b", {}, nullptr, mainBranch());
  note(std::get<2>(checkOut(blueprint)));
  auto validated = Outcome<Blueprint::ErrorsPtr>::make();
  blueprint->validateAuthenticationWithCompletionBlock(validated->completion());
  note(std::get<0>(validated->wait()));
  auto branches = Outcome<std::shared_ptr<const Blueprint::Branches>, Blueprint::ErrorsPtr>::make();
  blueprint->listBranchesWithCompletionBlock(branches->completion());
  note(std::get<1>(branches->wait()));
  auto updates = Outcome<std::shared_ptr<const Blueprint::Updates>, Blueprint::ErrorsPtr>::make();
  blueprint->checkForUpdatesWithCompletionBlock(updates->completion());
  note(std::get<1>(updates->wait()));
  settleProcesses();
  EXPECT_NE(said().find("127.0.0.1"), std::string::npos) << "the errors should at least name the server";
  EXPECT_EQ(said().find("s3cret"), std::string::npos) << said();
}

}  // namespace
}  // namespace qrb::test
