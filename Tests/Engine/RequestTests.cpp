#include <future>

#include "EngineTesting.h"
#include "TemporaryDirectory.h"

namespace qrb::test {
namespace {

using RequestTest = EngineTest;

// Answers as it is told, one answer after another.
class Handler : public QRBSourceControlAuthenticationFailureHandler {
 public:
  explicit Handler(std::vector<bool> answers) : _answers(std::move(answers)) {}

  void handleAuthenticationFailure(const Error& error, const QRBSourceControlRepositoryPtr& forRepository,
                                   const std::shared_ptr<void>& context,
                                   std::function<void(bool)> completionBlock) override {
    codes.push_back(error.code());
    repositories.push_back(forRepository);
    contexts.push_back(context);
    bool answer = _answers.at(codes.size() - 1);
    if (beforeAnswer) beforeAnswer();
    completionBlock(answer);
    completionBlock(answer);  // A handler that answers twice must not settle the request twice.
  }

  std::vector<std::int64_t> codes;
  std::vector<QRBSourceControlRepositoryPtr> repositories;
  std::vector<std::shared_ptr<void>> contexts;
  std::function<void()> beforeAnswer;

 private:
  std::vector<bool> _answers;
};

class AuthenticationTest : public EngineTest {
 protected:
  void TearDown() override {
    manager()->setFailureHandler(nullptr);
    EngineTest::TearDown();
  }
};

TEST_F(RequestTest, AThousandRequestsAtOnceAllCompleteWithBoundedProcesses) {
  std::vector<std::shared_ptr<RevisionOutcome>> outcomes;
  for (int number = 0; number < 1000; ++number) outcomes.push_back(requestBaseRevision());
  std::size_t mostProcesses = 0;
  std::size_t mostThreads = 0;
  for (auto& outcome : outcomes) {
    if (outcome->calls() == 0) {
      mostProcesses = std::max(mostProcesses, childProcesses().size());
      mostThreads = std::max(mostThreads, threadCount());
    }
    auto [revision, error] = outcome->wait();
    EXPECT_NE(revision, nullptr) << error.description();
    EXPECT_EQ(outcome->calls(), 1u);
  }
  // At most 256 run at once; as many again may be on their way out.
  EXPECT_LE(mostProcesses, 2u * 256u);
  EXPECT_LE(mostThreads, 3u * 256u);
}

TEST_F(RequestTest, AReplyWithAnErrorAndAResultGivesTheErrorAlone) {
  usePlugIn("failure-999");
  auto [revision, error] = requestBaseRevision()->wait();
  EXPECT_EQ(revision, nullptr);
  EXPECT_EQ(error.code(), -999);
}

TEST_F(RequestTest, ARequestWithoutACompletionStillFinishes) {
  auto operation = manager()->baseRevisionOfWorkingCopy(workingCopy(), {});
  while (!operation->isFinished()) std::this_thread::yield();
}

TEST_F(RequestTest, RequestsThatNothingWillAnswerKeepNoOthersFromRunning) {
  auto placeholder = QRBSourceControlSystemPlaceholder::initWithPlugInIdentifier("org.nobody");
  auto nowhere = QRBSourceControlRepository::initWithURL(URL::fileURL("/r"), placeholder);
  std::vector<std::shared_ptr<RevisionOutcome>> stuck;
  std::vector<QRBSourceControlOperationPtr> operations;
  for (int number = 0; number < 600; ++number) {
    stuck.push_back(RevisionOutcome::make());
    operations.push_back(manager()->headRevisionOfRepository(nowhere, stuck.back()->completion()));
  }
  auto [revision, error] = requestBaseRevision()->wait();
  EXPECT_NE(revision, nullptr) << error.description();
  for (auto& operation : operations) operation->cancel();
  for (auto& outcome : stuck) EXPECT_TRUE(isCancellation(outcome->error()));
}

TEST_F(RequestTest, ProgressReachesItsOwnOperationWithTheTextOfItsStatus) {
  TemporaryDirectory folder;
  std::vector<std::pair<std::string, double>> reports;
  auto outcome = Outcome<QRBSourceControlWorkingCopyPtr>::make();
  auto remote = QRBSourceControlRemoteRepository::initUnsavedWithURL(URL("https://server/team/repo.git"), system());
  manager()->createWorkingCopyFromRepository(
      remote, URL::fileURL((folder.path() / "target").string()), nullptr, nullptr,
      [&](const String& text, double fraction) { reports.emplace_back(text.str(), fraction); }, outcome->completion());
  outcome->wait();
  EXPECT_EQ(reports, (std::vector<std::pair<std::string, double>>{{"Authenticating…", 0},
                                                                  {"Transfering files…", 0.125},
                                                                  {"Copying files…", 0.25},
                                                                  {"Transfering files…", 0.375},
                                                                  {"Upgrading files…", 0.5},
                                                                  {"", 0.875},
                                                                  {"of its own", 1}}));
}

TEST_F(RequestTest, AMessageWithoutAnIdentifierReportsProgressUnderTheEmptyOne) {
  // Two at once, so that a report which finds any operation but its own is seen.
  using Reports = std::vector<std::pair<std::string, double>>;
  std::array<Reports, 2> reports;
  std::vector<std::shared_ptr<Outcome<>>> outcomes;
  auto remote = QRBSourceControlRemoteRepository::initUnsavedWithURL(URL("https://server/team/repo.git"), system());
  auto local = QRBSourceControlRepository::initWithURL(URL::fileURL("/local"), system());
  for (Reports& own : reports) {
    outcomes.push_back(Outcome<>::make());
    manager()->downloadUpdatesFromRemoteRepository(
        remote, local, [&own](const String& text, double fraction) { own.emplace_back(text.str(), fraction); },
        outcomes.back()->completion());
  }
  for (auto& outcome : outcomes) EXPECT_FALSE(outcome->error());
  for (const Reports& own : reports) {
    EXPECT_EQ(own, (Reports{{"Transfering files…", 0.25}, {"of its own", 1}}));
  }
}

TEST_F(RequestTest, AKeychainNameIsPassedOnOnlyBesideAnError) {
  auto ask = [&] {
    auto outcome = Outcome<String, std::uint64_t, String>::make();
    manager()->keychainNameFromURL(URL("https://server/"), system(), outcome->completion());
    return outcome->wait();
  };
  EXPECT_EQ(ask(), std::make_tuple(String(), std::uint64_t{0}, String(), Error()));
  usePlugIn("authentication");
  EXPECT_EQ(ask(), std::make_tuple(String("name"), std::uint64_t{3}, String("account"), Error()));
  usePlugIn("exit-at-start");
  EXPECT_TRUE(isCommunicationFailure(std::get<3>(ask())));
}

TEST_F(RequestTest, WhatAPlugInDoesNotServeIsAnsweredAndWhatItDoesNotListIsNotAsked) {
  usePlugIn("good");
  auto merged = Outcome<>::make();
  manager()->mergeBranch(QRBSourceControlBranch::initWithBranchName("topic", false), workingCopy(),
                         merged->completion());
  EXPECT_EQ(merged->error().code(), -700);
  EXPECT_EQ(merged->error().localizedDescription(), "Test does not support merging.");

  using Tags = std::vector<QRBSourceControlTagPtr>;
  auto ask = [](const QRBSourceControlSystemPtr& system) {
    auto listed = Outcome<Tags>::make();
    manager()->listTagsOfRepository(QRBSourceControlRepository::initWithURL(URL::fileURL("/r"), system), nullptr,
                                    listed->completion());
    return listed->error();
  };
  EXPECT_EQ(ask(system()->systemWithAdditionalRequests({"listTagsOfRepository:branchAndTagLocations:completionBlock:"}))
                .localizedDescription(),
            "Test does not support listing tags.");
  // Nothing is launched that could fail.
  usePlugIn("killed-at-start");
  EXPECT_EQ(ask(system()).code(), -700);
}

TEST_F(RequestTest, SystemsAreFoundOnceAndUnknownOnesArePlaceholders) {
  manager()->setCachedSourceControlSystems(nullptr);
  auto system = manager()->systemWithIdentifer("public.vcs.git");
  EXPECT_TRUE(system->isUsable());
  EXPECT_EQ(system->name(), "Test");
  auto unknown = manager()->systemWithIdentifer("org.nobody");
  EXPECT_FALSE(unknown->isUsable());
  EXPECT_EQ(unknown->plugInIdentifier(), "org.nobody");
  EXPECT_EQ(manager()->systemWithIdentifer("public.vcs.git"), system);
}

TEST_F(AuthenticationTest, AHandlerThatRetriesTwiceAndGivesUpSeesThreeAttemptsOfOneOperation) {
  usePlugIn("authentication");
  auto handler = std::make_shared<Handler>(std::vector<bool>{true, true, false});
  manager()->setFailureHandler(handler);
  QRBSourceControlOperationPtr operation;
  auto context = std::make_shared<int>(7);
  std::vector<std::string> identifiers;
  handler->beforeAnswer = [&] { identifiers.push_back(operation->identifier().str()); };
  auto outcome = RevisionOutcome::make();
  auto copy = workingCopy();
  std::promise<void> ready;
  // Held back until the context is set: the request runs as soon as it is made.
  auto gate = ready.get_future().share();
  auto first = handler->beforeAnswer;
  handler->beforeAnswer = [&, gate, first] {
    gate.wait();
    first();
  };
  operation = manager()->baseRevisionOfWorkingCopy(copy, outcome->completion());
  operation->setContext(context);
  ready.set_value();
  EXPECT_EQ(outcome->error().code(), -1002);
  EXPECT_EQ(handler->codes, (std::vector<std::int64_t>{-1002, -1002, -1002}));
  EXPECT_EQ(handler->repositories.front(), copy->repository());
  EXPECT_EQ(handler->contexts.back(), context);
  EXPECT_EQ(identifiers, std::vector<std::string>(3, operation->identifier().str()));
  settleProcesses();
  EXPECT_EQ(outcome->calls(), 1u);
}

TEST_F(AuthenticationTest, OnlyCodesOfTheAuthenticationRangeGoToTheHandler) {
  auto handler = std::make_shared<Handler>(std::vector<bool>{false});
  manager()->setFailureHandler(handler);
  usePlugIn("failure-999");
  EXPECT_EQ(requestBaseRevision()->error().code(), -999);
  EXPECT_TRUE(handler->codes.empty());
  usePlugIn("failure-1000");
  EXPECT_EQ(requestBaseRevision()->error().code(), -1000);
  EXPECT_EQ(handler->codes.size(), 1u);
}

TEST_F(AuthenticationTest, ValidationAnswersTheFailureInsteadOfAskingAboutIt) {
  auto handler = std::make_shared<Handler>(std::vector<bool>{});
  manager()->setFailureHandler(handler);
  usePlugIn("authentication");
  auto remote = QRBSourceControlRemoteRepository::initUnsavedWithURL(URL("https://server/team/repo.git"), system());
  auto outcome = Outcome<>::make();
  manager()->validateAuthenticationOfRepository(remote, nullptr, nullptr, outcome->completion());
  EXPECT_EQ(outcome->error().code(), -1002);
  EXPECT_TRUE(handler->codes.empty());
}

TEST_F(AuthenticationTest, ARequestCancelledWhileTheHandlerThinksIsCancelledOnce) {
  usePlugIn("authentication");
  auto handler = std::make_shared<Handler>(std::vector<bool>{true});
  manager()->setFailureHandler(handler);
  std::promise<QRBSourceControlOperationPtr> made;
  auto operation = made.get_future().share();
  handler->beforeAnswer = [&] { operation.get()->cancel(); };
  auto outcome = RevisionOutcome::make();
  made.set_value(manager()->baseRevisionOfWorkingCopy(workingCopy(), outcome->completion()));
  EXPECT_TRUE(isCancellation(outcome->error()));
  settleProcesses();
  EXPECT_EQ(outcome->calls(), 1u);
}

}  // namespace
}  // namespace qrb::test
