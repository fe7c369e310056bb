#include "QRBSourceControlMultiCancellable.h"
#include "WorkspaceTesting.h"

namespace qrb::test {
namespace {

using CheckoutOutcome = Outcome<WorkspacePtr, QRBSourceControlWorkingCopyRemotesPtr, Blueprint::ErrorsPtr>;
using Lines = std::vector<std::string>;

class CheckoutTest : public ScriptedTest {
 protected:
  void checkOut(const BlueprintPtr& from, const URL& root = URL::fileURL("/disk", true)) {
    auto outcome = CheckoutOutcome::make();
    auto report = [this](const String& text, double fraction, double start) {
      progress.emplace_back(fraction, start);
      EXPECT_FALSE(text.empty());
    };
    from->createWorkingCopiesAtURL(root, report, outcome->completion());
    std::tie(created, table, errors, failure) = outcome->wait();
    EXPECT_EQ(outcome->calls(), 1u);
  }

  WorkspacePtr created;
  QRBSourceControlWorkingCopyRemotesPtr table;
  Blueprint::ErrorsPtr errors;
  Error failure;
  std::vector<std::pair<double, double>> progress;
};

TEST_F(CheckoutTest, EnclosingWorkingCopiesAreMadeFirstEachAtItsPlaceOnItsLocation) {
  auto blueprint = Blueprint::init();
  auto core = remote("core");
  auto app = remote("zz-app");
  auto tool = remote("tool");
  auto layout = QRBSourceControlBranchAndTagLocations::locationsWithStandardLayout();
  blueprint->addRemoteRepository(core, "Libraries/Core", 5, nullptr, branch("topic"));
  blueprint->addRemoteRepository(app, "");
  blueprint->addRemoteRepository(tool, "Tools/", {}, layout, nullptr);
  blueprint->setPrimaryRemoteRepository(app);
  blueprint->setRelativePathToProject("App.orlixproj");
  checkOut(blueprint);
  ASSERT_FALSE(failure) << failure.description();
  EXPECT_TRUE(errors->empty());
  EXPECT_EQ(asked(), (Lines{"create zz-app | /disk no location", "create tool | /disk/Tools no location with layout",
                            "create core | /disk/Libraries/Core Branch: topic"}));
  ASSERT_EQ(created->workingCopies().size(), 3u);
  EXPECT_EQ(created->relativePathToProject(), "App.orlixproj");
  EXPECT_EQ(table->valueFor(created->primaryWorkingCopy()), app);
  WorkingCopyPtr nested = created->workingCopies()[2];
  EXPECT_EQ(table->valueFor(nested), core);
  EXPECT_EQ(nested->state(), 5u);
  EXPECT_EQ(created->primaryWorkingCopy()->state(), 0u);
  EXPECT_EQ(created->compareToBlueprint(blueprint), QRBSourceControlWorkspaceSameAsBlueprint);
}

TEST_F(CheckoutTest, ProgressIsOfTheWholeAndTellsWhereTheCurrentOneBegan) {
  auto blueprint = Blueprint::init();
  for (const char* name : {"a", "b", "c", "d"}) blueprint->addRemoteRepository(remote(name), name);
  script({{"create b", {{"progress", {0.5, -1.0, 1.0}}}}, {"create d", {{"progress", {0.0}}}}});
  checkOut(blueprint);
  EXPECT_EQ(progress, (std::vector<std::pair<double, double>>{{0.375, 0.25}, {-1.0, -1.0}, {0.5, 0.25}, {0.75, 0.75}}));
}

TEST_F(CheckoutTest, ARootThatIsNoFolderHasNoPlaceForAnything) {
  auto blueprint = Blueprint::init();
  blueprint->addRemoteRepository(remote("a"), "a");
  for (const URL& root : {URL(), URL("https://host/folder")}) {
    checkOut(blueprint, root);
    EXPECT_EQ(errors->size(), 1u);
    EXPECT_EQ(errors->valueFor(blueprint->repository()).code(), -11);
  }
  EXPECT_TRUE(asked().empty());
}

TEST_F(CheckoutTest, CancelledInTheMiddleItAsksForNoMore) {
  auto blueprint = Blueprint::init();
  for (const char* name : {"a", "b", "c"}) blueprint->addRemoteRepository(remote(name), name);
  script({{"create b", {{"hang", true}}}});
  auto outcome = CheckoutOutcome::make();
  auto request = blueprint->createWorkingCopiesAtURL(URL::fileURL("/disk"), {}, outcome->completion());
  awaitAsked("create b");
  request->cancel();
  EXPECT_EQ(outcome->error(), Error(QRBSourceControlErrorDomain, kAbandoned));
  EXPECT_EQ(std::get<0>(outcome->wait()), nullptr);
  settleProcesses();
  EXPECT_EQ(asked().size(), 2u);
  EXPECT_EQ(outcome->calls(), 1u);
}

TEST_F(CheckoutTest, CancelledAtTheLastRepositoryItTellsWhatThereIs) {
  auto blueprint = Blueprint::init();
  for (const char* name : {"a", "b"}) blueprint->addRemoteRepository(remote(name), name);
  script({{"create b", {{"hang", true}}}});
  auto outcome = CheckoutOutcome::make();
  auto request = blueprint->createWorkingCopiesAtURL(URL::fileURL("/disk"), {}, outcome->completion());
  awaitAsked("create b");
  request->cancel();
  auto [workspace, remotes, failures, error] = outcome->wait();
  ASSERT_FALSE(error);
  EXPECT_EQ(workspace->workingCopies().size(), 1u);
  EXPECT_TRUE(isCancellation(failures->valueFor(blueprint->remoteRepositories()[1])));
}

}  // namespace
}  // namespace qrb::test
