#include "QRBSourceControlMultiCancellable.h"
#include "WorkspaceTesting.h"

namespace qrb::test {
namespace {

using nlohmann::json;
using WorkspaceActionTest = ScriptedTest;
using UpdateOutcome = Outcome<Workspace::ErrorsPtr>;
using HistoryOutcome = Outcome<Workspace::LogItems>;
using StatusOutcome = Outcome<Workspace::StatusesPtr, Workspace::StatusesPtr, Workspace::ErrorsPtr>;
using Lines = std::vector<std::string>;

std::vector<std::string> revisionsOf(const Workspace::LogItems& items) {
  std::vector<std::string> result;
  for (const auto& item : items) result.push_back(item->revision()->identifier().str());
  return result;
}

auto remotesOf(std::initializer_list<std::pair<WorkingCopyPtr, RemotePtr>> entries) {
  auto table = std::make_shared<Workspace::Remotes>();
  for (const auto& [workingCopy, remote] : entries) table->set(workingCopy, remote);
  return table;
}

TEST_F(WorkspaceActionTest, AForceUpdateGoesOnAfterFailuresAndListsThem) {
  script({{"update alpha", {{"error", -203}}}});
  auto outcome = UpdateOutcome::make();
  workspace()->forceUpdateWorkingCopiesFromRepositories(remotesOf({{alpha, remote("a")}, {gamma, remote("c")}}), {},
                                                        outcome->completion());
  auto [errors, error] = outcome->wait();
  ASSERT_FALSE(error) << error.description();
  EXPECT_EQ(asked(), (Lines{"update alpha | git://server/a", "update gamma | git://server/c"}));
  EXPECT_EQ(errors->size(), 2u);
  EXPECT_EQ(errors->valueFor(alpha).code(), -203);
  EXPECT_EQ(errors->valueFor(beta).code(), -300) << "it has no remote repository";
}

TEST_F(WorkspaceActionTest, AForceUpdateFromABlueprintTakesTheRemotesThatAreItsOwn) {
  auto blueprint = Blueprint::init();
  for (const char* name : {"id-gamma", "id-alpha", "id-elsewhere"}) blueprint->addRemoteRepository(remote(name), name);
  auto outcome = UpdateOutcome::make();
  workspace()->forceUpdateWorkingCopiesFromBlueprint(blueprint, {}, outcome->completion());
  auto [errors, error] = outcome->wait();
  EXPECT_EQ(asked(), (Lines{"update alpha | git://server/id-alpha", "update gamma | git://server/id-gamma"}));
  EXPECT_EQ(errors->size(), 1u);
  EXPECT_TRUE(errors->contains(beta));
}

TEST_F(WorkspaceActionTest, WithoutWorkingCopiesActionsAnswerEmptyTables) {
  auto empty = Workspace::init();
  auto update = UpdateOutcome::make();
  empty->forceUpdateWorkingCopiesFromRepositories(nullptr, {}, update->completion());
  EXPECT_TRUE(std::get<0>(update->wait())->empty());
  EXPECT_FALSE(update->error());
  auto history = HistoryOutcome::make();
  empty->historyFromRevisions({}, {}, 0, 0, {}, 0, {}, history->completion());
  EXPECT_TRUE(std::get<0>(history->wait()).empty());
  EXPECT_FALSE(history->error());
  auto status = StatusOutcome::make();
  empty->filesAndStatusWithRemoteStatus(true, status->completion());
  auto [local, remoteStatus, errors, error] = status->wait();
  EXPECT_TRUE(local->empty() && remoteStatus->empty() && errors->empty() && !error);
}

TEST_F(WorkspaceActionTest, HistoriesAreMergedNewestFirstAndNotCutBack) {
  script({{"history alpha", {{"dates", {50, 10}}}},
          {"history beta", {{"dates", {60, 55, 20}}}},
          {"history gamma", {{"dates", {52}}}}});
  Workspace::RevisionTable from;
  from.set(alpha, QRBSourceControlRevision::initWithIdentifier("f"));
  auto outcome = HistoryOutcome::make();
  workspace()->historyFromRevisions(from, workspace()->initialRevisionsMapTable(), 3, 2, "text", 1, {},
                                    outcome->completion());
  auto [items, error] = outcome->wait();
  ASSERT_FALSE(error) << error.description();
  EXPECT_EQ(revisionsOf(items), (Lines{"60", "55", "52", "50", "20", "10"}));
  std::string initial = QRBSourceControlRevision::sharedInitialRevision()->identifier().str();
  EXPECT_EQ(asked(),
            (Lines{"history alpha | f " + initial + " 3 2 text 1", "history beta | none " + initial + " 3 2 text 1",
                   "history gamma | none " + initial + " 3 2 text 1"}));
}

TEST_F(WorkspaceActionTest, HistoryProgressGivesEachWorkingCopyItsWholePoints) {
  script({{"history alpha", {{"dates", {1}}, {"progress", {1.0}}}},
          {"history beta", {{"dates", {2}}, {"progress", {0.5}}}},
          {"history gamma", {{"dates", {3}}, {"progress", {1.0}}}}});
  std::vector<std::pair<std::string, double>> batches;
  auto outcome = HistoryOutcome::make();
  workspace()->historyFromRevisions(
      {}, {}, 0, 0, {}, 0,
      [&](const Workspace::LogItems& items, double percent) { batches.emplace_back(revisionsOf(items)[0], percent); },
      outcome->completion());
  outcome->wait();
  ASSERT_EQ(batches.size(), 3u);
  EXPECT_EQ(batches[1].first, "2");
  EXPECT_NEAR(batches[0].second, 33.33, 0.01);
  EXPECT_NEAR(batches[1].second, 49.67, 0.01);
  EXPECT_NEAR(batches[2].second, 99.33, 0.01);
}

TEST_F(WorkspaceActionTest, TheFirstFailureEndsAHistory) {
  script({{"history alpha", {{"dates", {1}}}}, {"history beta", {{"error", -100}}}});
  auto outcome = HistoryOutcome::make();
  workspace()->historyFromRevisions({}, {}, 0, 0, {}, 0, {}, outcome->completion());
  auto [items, error] = outcome->wait();
  EXPECT_TRUE(items.empty());
  EXPECT_EQ(error.code(), -100);
  EXPECT_EQ(asked().size(), 2u) << "the third working copy must not be asked";
}

TEST_F(WorkspaceActionTest, HistorySinceABlueprintBeginsAtItsRevisions) {
  auto blueprint = Blueprint::init();
  auto pinned = branch("main")->locationWithRevision(QRBSourceControlRevision::initWithIdentifier("r7"));
  blueprint->addRemoteRepository(remote("id-alpha"), "alpha", {}, nullptr, pinned);
  blueprint->addRemoteRepository(remote("id-beta"), "beta", {}, nullptr, branch("main"));
  auto outcome = HistoryOutcome::make();
  workspace()->historySinceRevisionedBlueprint(blueprint, 5, outcome->completion());
  EXPECT_FALSE(outcome->error());
  std::string base = QRBSourceControlRevision::sharedBaseRevision()->identifier().str();
  std::string initial = QRBSourceControlRevision::sharedInitialRevision()->identifier().str();
  EXPECT_EQ(asked(),
            (Lines{"history alpha | " + base + " r7 0 5  0", "history beta | " + base + " " + initial + " 0 5  0",
                   "history gamma | " + base + " none 0 5  0"}));
}

TEST_F(WorkspaceActionTest, StatusesAreKeptByWorkingCopyAndInItsCache) {
  script({{"status alpha", {{"local", {"a.c"}}, {"remote", {"b.c"}}}},
          {"status beta", {{"error", -100}}},
          {"status gamma", {{"local", json::array()}}}});
  auto outcome = StatusOutcome::make();
  workspace()->filesAndStatusWithRemoteStatus(true, outcome->completion());
  auto [local, remoteStatus, errors, error] = outcome->wait();
  ASSERT_FALSE(error) << error.description();
  EXPECT_EQ(local->size(), 2u);
  EXPECT_TRUE(local->valueFor(alpha)->contains("a.c"));
  EXPECT_TRUE(local->valueFor(gamma)->empty());
  EXPECT_EQ(remoteStatus->size(), 1u);
  EXPECT_TRUE(remoteStatus->valueFor(alpha)->contains("b.c"));
  EXPECT_EQ(errors->size(), 1u);
  EXPECT_EQ(errors->valueFor(beta).code(), -100);
  EXPECT_EQ(alpha->cachedSourceControlLocalStatusForFile("a.c"), 4u);
  EXPECT_EQ(asked()[0], "status alpha | with remote");
}

TEST_F(WorkspaceActionTest, ASystemThatNothingCanBeAskedOfIsAnErrorAndNotAnEndlessWait) {
  auto url = URL::fileURL("/disk/foreign");
  auto placeholder = QRBSourceControlSystemPlaceholder::initWithPlugInIdentifier("org.example.Unknown");
  auto foreign = QRBSourceControlWorkingCopy::initWithFileURLUnidentifiableRepository(
      url, QRBSourceControlRepository::initWithURL(url, placeholder));
  auto outcome = StatusOutcome::make();
  Workspace::initWithWorkingCopies({foreign, alpha})->filesAndStatusWithRemoteStatus(false, outcome->completion());
  EXPECT_EQ(std::get<2>(outcome->wait())->valueFor(foreign).code(), -501);
  EXPECT_EQ(asked(), Lines{"status alpha"});
}

TEST_F(WorkspaceActionTest, CancelledInTheMiddleAnUpdateAndAStatusStopWithTheirOwnError) {
  script({{"update beta", {{"hang", true}}}, {"status beta", {{"hang", true}}}});
  auto update = UpdateOutcome::make();
  auto remotes = remotesOf({{alpha, remote("a")}, {beta, remote("b")}, {gamma, remote("c")}});
  auto updating = workspace()->forceUpdateWorkingCopiesFromRepositories(remotes, {}, update->completion());
  awaitAsked("update beta");
  updating->cancel();
  EXPECT_EQ(std::get<0>(update->wait()), nullptr);
  EXPECT_EQ(update->error().code(), kAbandoned);

  auto status = StatusOutcome::make();
  auto asking = workspace()->filesAndStatusWithRemoteStatus(false, status->completion());
  awaitAsked("status beta");
  asking->cancel();
  EXPECT_EQ(status->error().code(), kAbandoned);
  settleProcesses();
  EXPECT_EQ(asked(),
            (Lines{"update alpha | git://server/a", "update beta | git://server/b", "status alpha", "status beta"}));
  EXPECT_EQ(update->calls(), 1u);
  EXPECT_EQ(status->calls(), 1u);
}

TEST_F(WorkspaceActionTest, CancelledAtTheLastWorkingCopyAnUpdateTellsWhichOnesAreDone) {
  script({{"update gamma", {{"hang", true}}}});
  auto outcome = UpdateOutcome::make();
  auto remotes = remotesOf({{alpha, remote("a")}, {beta, remote("b")}, {gamma, remote("c")}});
  auto request = workspace()->forceUpdateWorkingCopiesFromRepositories(remotes, {}, outcome->completion());
  awaitAsked("update gamma");
  request->cancel();
  auto [errors, error] = outcome->wait();
  EXPECT_FALSE(error);
  EXPECT_EQ(errors->size(), 1u);
  EXPECT_TRUE(isCancellation(errors->valueFor(gamma)));
}

TEST_F(WorkspaceActionTest, CancelledInTheMiddleAHistoryEndsWithTheCancellation) {
  script({{"history alpha", {{"dates", {1}}}}, {"history beta", {{"hang", true}}}});
  auto outcome = HistoryOutcome::make();
  auto request = workspace()->historyFromRevisions({}, {}, 0, 0, {}, 0, {}, outcome->completion());
  awaitAsked("history beta");
  request->cancel();
  EXPECT_TRUE(isCancellation(outcome->error()));
  EXPECT_EQ(asked().size(), 2u);
}

TEST_F(WorkspaceActionTest, AnActionCancelledBeforeItBeginsStillAnswersAndAsksNothing) {
  auto held = workspace();
  HeldQueue queue(held->workspaceOperationQueue());
  auto update = UpdateOutcome::make();
  auto history = HistoryOutcome::make();
  auto status = StatusOutcome::make();
  held->forceUpdateWorkingCopiesFromRepositories(remotesOf({{alpha, remote("a")}}), {}, update->completion())->cancel();
  held->historyFromRevisions({}, {}, 0, 0, {}, 0, {}, history->completion())->cancel();
  held->filesAndStatusWithRemoteStatus(true, status->completion())->cancel();
  queue.release();
  EXPECT_EQ(update->error().code(), kAbandoned);
  EXPECT_EQ(status->error().code(), kAbandoned);
  EXPECT_FALSE(history->error()) << "there are no items so far, which is no failure";
  held->workspaceOperationQueue().waitUntilAllOperationsAreFinished();
  EXPECT_EQ(update->calls() + history->calls() + status->calls(), 3u);
  EXPECT_TRUE(asked().empty());
}

TEST_F(WorkspaceActionTest, AWorkspaceLivesUntilItsActionsAreOver) {
  auto first = StatusOutcome::make();
  workspace()->filesAndStatusWithRemoteStatus(false, first->completion());
  auto second = StatusOutcome::make();
  workspace()->filesAndStatusWithRemoteStatus(false, second->completion());
  EXPECT_FALSE(first->error());
  EXPECT_FALSE(second->error());
}

TEST_F(WorkspaceActionTest, ContextAndSuppressionReachTheRequestUnderWay) {
  script({{"status beta", {{"hang", true}}}});
  auto outcome = StatusOutcome::make();
  auto held = workspace();
  HeldQueue queue(held->workspaceOperationQueue());
  auto request = held->filesAndStatusWithRemoteStatus(false, outcome->completion());
  auto context = std::make_shared<int>(1);
  request->setContext(context);
  request->setSuppressAuthenticationFailure(true);
  queue.release();
  awaitAsked("status beta");
  QRBSourceControlCancellablePtr step;
  while ((step = request->currentCancellable()) == nullptr || step->context() == nullptr) std::this_thread::yield();
  EXPECT_EQ(step->context(), context);
  EXPECT_TRUE(step->suppressAuthenticationFailure());
  request->cancel();
  outcome->wait();
}

}  // namespace
}  // namespace qrb::test
