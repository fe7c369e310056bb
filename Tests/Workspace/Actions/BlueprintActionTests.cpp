#include "QRBSourceControlLockedRevisionLocation.h"
#include "QRBSourceControlMultiCancellable.h"
#include "RunningServices.h"
#include "WorkspaceTesting.h"

namespace qrb::test {
namespace {

using Lines = std::vector<std::string>;
using ErrorsOutcome = Outcome<Blueprint::ErrorsPtr>;
using BranchesOutcome = Outcome<std::shared_ptr<const Blueprint::Branches>, Blueprint::ErrorsPtr>;
using UpdatesOutcome = Outcome<std::shared_ptr<const Blueprint::Updates>, Blueprint::ErrorsPtr>;
using WorkspaceOutcome = Outcome<WorkspacePtr, QRBSourceControlWorkingCopyRemotesPtr>;

class BlueprintActionTest : public ScriptedTest {
 protected:
  static BlueprintPtr blueprintOf(std::initializer_list<RemotePtr> remotes) {
    auto blueprint = Blueprint::init();
    for (const RemotePtr& remote : remotes) blueprint->addRemoteRepository(remote, remote->displayName());
    return blueprint;
  }
  static std::string shown(const QRBSourceControlRevisionLocationPtr& location) {
    return location == nullptr ? "none" : location->description();
  }
  static QRBSourceControlRevisionPtr revision(const char* identifier) {
    return QRBSourceControlRevision::initWithIdentifier(identifier);
  }
  static QRBSourceControlRevisionLocationPtr path(const char* relativePath) {
    return QRBSourceControlPathLocation::initWithRelativePath(relativePath);
  }

  QRBSourceControlSystemPtr central = systemWith(true, true);
};

TEST_F(BlueprintActionTest, RepositoriesAreMovedToTheirRootsAndStillMeanTheSameFolder) {
  auto plain = remote("plain");
  auto below = remote("below", central);
  auto deeper = remote("deeper", central);
  auto named = remote("named", central);
  auto refused = remote("refused", central);
  auto blueprint = blueprintOf({plain, below, deeper, named, refused});
  blueprint->locations()->set(deeper, path("/x/")->locationWithRevision(revision("12")));
  blueprint->locations()->set(named, branch("topic"));
  script({{"root below", {{"url", "svn://server/root"}, {"path", "trunk/below"}}},
          {"root deeper", {{"url", "svn://server/root2"}, {"path", "trunk/deeper"}}},
          {"root named", {{"url", "svn://server/root3"}, {"path", "trunk"}}},
          {"root refused", {{"error", -1002}}}});
  auto outcome = ErrorsOutcome::make();
  blueprint->updateRepositoryURLRootsWithCompletionBlock(outcome->completion());
  auto [errors, error] = outcome->wait();
  ASSERT_FALSE(error) << error.description();
  EXPECT_EQ(errors->size(), 1u);
  EXPECT_EQ(errors->valueFor(refused).code(), -1002);
  EXPECT_EQ(below->URL().absoluteString(), "svn://server/root");
  EXPECT_EQ(plain->URL().absoluteString(), "git://server/plain");
  EXPECT_EQ(shown(blueprint->locationForRemoteRepository(below)), shown(path("trunk/below")));
  auto moved = blueprint->locationForRemoteRepository(deeper);
  EXPECT_EQ(shown(moved), shown(path("trunk/deeper/x/")->locationWithRevision(revision("12"))));
  EXPECT_EQ(shown(blueprint->locationForRemoteRepository(named)), shown(branch("topic")));
  for (const std::string& line : asked()) EXPECT_EQ(line.find("plain"), std::string::npos);
}

TEST_F(BlueprintActionTest, LayoutsAreDetectedWhereTheyAreNeededAndMissing) {
  auto plain = remote("plain");
  auto missing = remote("missing", central);
  auto atPath = remote("at-path", central);
  auto complete = remote("complete", central);
  auto blueprint = blueprintOf({plain, missing, atPath, complete});
  auto given = QRBSourceControlBranchAndTagLocations::locationsWithPrimaryBranchPath("main", "b", "t");
  blueprint->workingCopyRepositoryLocations()->set(complete, given);
  blueprint->workingCopyRepositoryLocations()->set(
      missing, QRBSourceControlBranchAndTagLocations::locationsWithPrimaryBranchPath({}, {}, "t"));
  blueprint->locations()->set(atPath, path("branches/x")->locationWithRevision(revision("9")));
  script({{"detect missing", {{"layout", true}}}, {"detect at-path", {{"branch", "x"}, {"layout", true}}}});
  auto outcome = ErrorsOutcome::make();
  blueprint->automaticallyDetectBranchAndTagLocationsWithCompletionBlock(outcome->completion());
  EXPECT_TRUE(std::get<0>(outcome->wait())->empty());
  EXPECT_EQ(asked(), (Lines{"detect at-path | branches/x", "detect missing | /"}));
  auto standard = QRBSourceControlBranchAndTagLocations::locationsWithStandardLayout();
  EXPECT_TRUE(blueprint->branchAndTagLocationsForRemoteRepository(missing)->isCompleteForBranches());
  EXPECT_EQ(blueprint->branchAndTagLocationsForRemoteRepository(complete), given);
  EXPECT_EQ(blueprint->branchAndTagLocationsForRemoteRepository(plain), nullptr);
  EXPECT_EQ(shown(blueprint->locationForRemoteRepository(atPath)),
            shown(branch("x")->locationWithRevision(revision("9"))));
}

TEST_F(BlueprintActionTest, BranchesAreListedWithALayoutThatIsDetectedFirst) {
  auto plain = remote("plain");
  auto bare = remote("bare", central);
  auto refused = remote("refused", central);
  auto blueprint = blueprintOf({plain, bare, refused});
  script({{"branches plain", {{"branches", {"main", "topic"}}}},
          {"detect bare", {{"layout", true}}},
          {"branches bare", {{"branches", {"trunk"}}}},
          {"detect refused", {{"error", -254}}}});
  auto outcome = BranchesOutcome::make();
  blueprint->listBranchesWithCompletionBlock(outcome->completion());
  auto [branches, errors, error] = outcome->wait();
  ASSERT_FALSE(error);
  EXPECT_EQ(branches->size(), 2u);
  EXPECT_EQ(branches->valueFor(plain).size(), 2u);
  EXPECT_EQ(branches->valueFor(bare)[0]->name(), "trunk");
  EXPECT_EQ(errors->size(), 1u);
  EXPECT_EQ(errors->valueFor(refused).code(), -254);
  EXPECT_EQ(asked(), (Lines{"detect bare | /", "branches bare | with layout", "branches plain", "detect refused | /"}));
}

TEST_F(BlueprintActionTest, EveryRemoteIsAskedWhetherItLetsUsInAndNobodyForAPassword) {
  class Handler : public QRBSourceControlAuthenticationFailureHandler {
   public:
    void handleAuthenticationFailure(const Error&, const QRBSourceControlRepositoryPtr&, const std::shared_ptr<void>&,
                                     std::function<void(bool)> completionBlock) override {
      ADD_FAILURE() << "a validation must not ask the user";
      completionBlock(false);
    }
  };
  manager()->setFailureHandler(std::make_shared<Handler>());
  auto open = remote("open");
  auto closed = remote("closed");
  auto blueprint = blueprintOf({open, closed});
  blueprint->locations()->set(open, branch("main"));
  script({{"validate closed", {{"error", -1002}}}});
  auto outcome = ErrorsOutcome::make();
  blueprint->validateAuthenticationWithCompletionBlock(outcome->completion());
  auto [errors, error] = outcome->wait();
  manager()->setFailureHandler(nullptr);
  ASSERT_FALSE(error);
  EXPECT_EQ(errors->size(), 1u);
  EXPECT_EQ(errors->valueFor(closed).code(), -1002);
  EXPECT_EQ(asked(), (Lines{"validate closed | no location", "validate open | Branch: main"}));
}

TEST_F(BlueprintActionTest, UpdatesAreTheNewestRevisionsThatAreNotTheRecordedOnes) {
  auto moved = remote("moved");
  auto still = remote("still");
  auto fixed = remote("fixed");
  auto unknown = remote("unknown");
  auto nowhere = remote("nowhere");
  auto blueprint = blueprintOf({moved, still, fixed, unknown, nowhere});
  blueprint->locations()->set(moved, branch("main")->locationWithRevision(revision("1")));
  blueprint->locations()->set(still, branch("main")->locationWithRevision(revision("2")));
  blueprint->locations()->set(fixed, QRBSourceControlRevisionLocation::initWithRevision(revision("3")));
  blueprint->locations()->set(unknown, branch("main"));
  script({{"revision moved", {{"revision", "11"}}},
          {"revision still", {{"revision", "2"}}},
          {"revision unknown", {{"error", -252}}},
          {"head nowhere", {{"revision", "5"}}}});
  auto outcome = UpdatesOutcome::make();
  blueprint->checkForUpdatesWithCompletionBlock(outcome->completion());
  auto [updates, errors, error] = outcome->wait();
  ASSERT_FALSE(error);
  EXPECT_EQ(updates->size(), 2u);
  EXPECT_EQ(updates->valueFor(moved)->identifier(), "11");
  EXPECT_EQ(updates->valueFor(nowhere)->identifier(), "5");
  EXPECT_EQ(errors->size(), 1u);
  EXPECT_EQ(errors->valueFor(unknown).code(), -252);
  // The branch is asked about, not the revision that it was pinned to.
  EXPECT_EQ(asked(), (Lines{"revision moved | Branch: main", "head nowhere", "revision still | Branch: main",
                            "revision unknown | Branch: main"}));
}

TEST_F(BlueprintActionTest, CancelledInTheMiddleEachOfThemStopsWithItsOwnError) {
  auto blueprint = blueprintOf({remote("a", central), remote("b", central)});
  const nlohmann::json hang = {{"hang", true}};
  script({{"root a", hang}, {"detect a", hang}, {"validate a", hang}, {"head a", hang}});
  auto cancelAt = [&](const std::string& line, const QRBSourceControlMultiCancellablePtr& request) {
    awaitAsked(line);
    request->cancel();
  };
  auto roots = ErrorsOutcome::make();
  cancelAt("root a", blueprint->updateRepositoryURLRootsWithCompletionBlock(roots->completion()));
  auto validation = ErrorsOutcome::make();
  cancelAt("validate a", blueprint->validateAuthenticationWithCompletionBlock(validation->completion()));
  auto updates = UpdatesOutcome::make();
  cancelAt("head a", blueprint->checkForUpdatesWithCompletionBlock(updates->completion()));
  auto layouts = ErrorsOutcome::make();
  cancelAt("detect a", blueprint->automaticallyDetectBranchAndTagLocationsWithCompletionBlock(layouts->completion()));
  EXPECT_EQ(roots->error().code(), kAbandoned);
  EXPECT_EQ(validation->error().code(), kAbandoned);
  EXPECT_EQ(updates->error().code(), kAbandoned);
  EXPECT_EQ(std::get<0>(updates->wait()), nullptr);
  EXPECT_EQ(layouts->error().code(), kAbandoned);
  settleProcesses();
  EXPECT_EQ(asked(), (Lines{"root a", "validate a | no location", "head a", "detect a | /"}));
}

class DiscoveryTest : public BlueprintActionTest {
 protected:
  void TearDown() override {
    killService("WorkingCopyScanner");
    BlueprintActionTest::TearDown();
  }
  void make(const std::string& place) { std::filesystem::create_directories(_root.path() / place / ".git"); }
  URL root() const { return URL::fileURL((_root.path() / "work").string(), true); }
  void search(const BlueprintPtr& blueprint) {
    auto outcome = WorkspaceOutcome::make();
    blueprint->workspaceForWorkingCopiesCreatedAtURL(root(), outcome->completion());
    std::tie(found, table, failure) = outcome->wait();
  }
  /// Where the working copy of a repository was found, from the root on.
  std::string placeOf(const RemotePtr& remote) const {
    for (const auto& [workingCopy, of] : *table) {
      if (of == remote)
        return std::filesystem::path(workingCopy->fileURL().path().str()).lexically_relative(_root.path() / "work");
    }
    return "none";
  }

  WorkspacePtr found;
  QRBSourceControlWorkingCopyRemotesPtr table;
  Error failure;

 private:
  TemporaryDirectory _root;
};

TEST_F(DiscoveryTest, WorkingCopiesAreFoundAtTheirPlacesAndElsewhereByIdentifier) {
  for (const char* place : {"work/App", "work/App/Nested", "outside", "work/Moved", "work/Taken", "work/Twice1",
                            "work/Twice2", "work/Stranger"}) {
    make(place);
  }
  auto app = remote("app");
  auto nested = remote("nested");
  auto outside = remote("outside");
  auto moved = remote("moved");
  auto taken = remote("taken");
  auto twice = remote("twice");
  auto nowhere = remote("nowhere");
  auto blueprint = Blueprint::init();
  blueprint->addRemoteRepository(app, "App/", 3, nullptr, branch("main"));
  auto recorded = QRBSourceControlBranch::initWithBranchNameRemoteName("main", true, "origin");
  blueprint->addRemoteRepository(nested, "App/Nested", {}, nullptr, recorded);
  blueprint->addRemoteRepository(outside, "../outside");
  blueprint->addRemoteRepository(moved, "Was/Here", {}, nullptr, branch("topic"));
  blueprint->addRemoteRepository(taken, "Taken");
  blueprint->addRemoteRepository(twice, "Twice");
  blueprint->addRemoteRepository(nowhere, "Nowhere");
  blueprint->setPrimaryRemoteRepository(app);
  blueprint->setRelativePathToProject("App.orlixproj");
  script({{"identifier App", {{"identifier", "app"}}},
          {"identifier Moved", {{"identifier", "moved"}}},
          {"identifier Taken", {{"identifier", "somebody else's"}}},
          {"identifier Twice1", {{"identifier", "twice"}}},
          {"identifier Twice2", {{"identifier", "twice"}}},
          {"identifier Stranger", {{"error", -100}}},
          {"location App", {{"branch", "main"}}},
          {"location Nested", {{"branch", "main"}}},
          {"location Moved", {{"branch", "other"}}}});
  search(blueprint);
  ASSERT_FALSE(failure) << failure.description();
  EXPECT_EQ(placeOf(app), "App");
  EXPECT_EQ(placeOf(nested), "App/Nested") << "its identifier is not known, so its place tells";
  EXPECT_EQ(placeOf(outside), "../outside");
  EXPECT_EQ(placeOf(moved), "Moved");
  EXPECT_EQ(placeOf(taken), "none");
  EXPECT_EQ(placeOf(twice), "none");
  EXPECT_EQ(placeOf(nowhere), "none");
  EXPECT_EQ(table->valueFor(found->primaryWorkingCopy()), app);
  EXPECT_EQ(found->primaryWorkingCopy()->state(), 3u);
  EXPECT_EQ(found->relativePathToProject(), "App.orlixproj");
  EXPECT_EQ(found->compareToBlueprint(blueprint->blueprintForRemoteRepository(app)),
            QRBSourceControlWorkspaceHasMoreThanBlueprint);
  for (const WorkingCopyPtr& workingCopy : found->workingCopies()) {
    if (table->valueFor(workingCopy) == nested) {
      EXPECT_EQ(workingCopy->cachedCurrentLocation(), recorded) << "which its local branch stands for";
    } else if (table->valueFor(workingCopy) == moved) {
      EXPECT_EQ(shown(workingCopy->cachedCurrentLocation()), shown(branch("other")));
    }
  }
}

TEST_F(DiscoveryTest, WhatIsAtTheRevisionOfATagOrAFixedRevisionIsOnThat) {
  QRBSourceControlRevisionLocationPtr locked = QRBSourceControlLockedRevisionLocation::initWithRevision(revision("7"));
  QRBSourceControlRevisionLocationPtr tag = QRBSourceControlTag::initWithTagName("v1");
  auto blueprint = Blueprint::init();
  blueprint->addRemoteRepository(remote("locked"), "locked", {}, nullptr, locked);
  blueprint->addRemoteRepository(remote("tagged"), "tagged", {}, nullptr, tag->locationWithRevision(revision("7")));
  blueprint->addRemoteRepository(remote("unpinned"), "unpinned", {}, nullptr, tag);
  for (const char* place : {"work/locked", "work/tagged", "work/unpinned"}) make(place);
  for (const char* tagged : {"7", "8"}) {
    script({{"location locked", {{"at", "7"}}},
            {"location tagged", {{"at", "7"}}},
            {"location unpinned", {{"at", "8"}}},
            {"revision unpinned", {{"revision", tagged}}}});
    search(blueprint);
    EXPECT_EQ(found->compareToBlueprint(blueprint),
              *tagged == '8' ? QRBSourceControlWorkspaceSameAsBlueprint : QRBSourceControlWorkspaceOnOtherLocations);
  }
  script({{"location locked", {{"at", "7"}}}, {"location tagged", {{"branch", "main"}, {"at", "7"}}}});
  search(blueprint);
  EXPECT_EQ(found->compareToBlueprint(blueprint), QRBSourceControlWorkspaceOnOtherLocations);
}

TEST_F(DiscoveryTest, AFileMayCallARepositoryWhatItLikesWhereTheAddressTellsWhichItIs) {
  auto cloned = remote("cloned");
  auto forked = remote("forked");
  auto blueprint = Blueprint::init();
  blueprint->addRemoteRepository(cloned, "Cloned", {}, nullptr, branch("main"));
  blueprint->addRemoteRepository(forked, "Forked", {}, nullptr, branch("main"));
  for (const char* place : {"work/Cloned", "work/Forked"}) make(place);
  auto remoteAt = [](const char* url) { return nlohmann::json{{"remotes", {{"origin", {{"url", url}}}}}}; };
  script({{"identifier Cloned", {{"identifier", "first commit"}}},
          {"remotes Cloned", remoteAt("git://user@server/cloned")},
          {"location Cloned", {{"branch", "main"}}},
          {"identifier Forked", {{"identifier", "first commit"}}},
          {"remotes Forked", remoteAt("git://another/forked")}});
  search(blueprint);
  ASSERT_FALSE(failure) << failure.description();
  EXPECT_EQ(placeOf(cloned), "Cloned");
  EXPECT_EQ(placeOf(forked), "none");
  EXPECT_EQ(found->compareToBlueprint(blueprint->blueprintForRemoteRepository(cloned)),
            QRBSourceControlWorkspaceSameAsBlueprint);
}

TEST_F(DiscoveryTest, CancelledInTheMiddleItAnswersNothing) {
  make("work/a");
  script({{"identifier a", {{"hang", true}}}});
  auto outcome = WorkspaceOutcome::make();
  auto request = blueprintOf({remote("a")})->workspaceForWorkingCopiesCreatedAtURL(root(), outcome->completion());
  awaitAsked("identifier a");
  request->cancel();
  EXPECT_EQ(outcome->error().code(), kAbandoned);
  EXPECT_EQ(std::get<0>(outcome->wait()), nullptr);
}

}  // namespace
}  // namespace qrb::test
