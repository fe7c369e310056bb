#include <gtest/gtest.h>
#include <stdlib.h>

#include <atomic>
#include <future>
#include <memory>

#include "QRBSourceControlModelPrivate.h"
#include "QRBSourceControlWorkspace.h"
#include "QRBSourceControlWorkspaceBlueprint.h"
#include "SequentialActionPrivate.h"

namespace qrb::test {
namespace {

using Workspace = QRBSourceControlWorkspace;
using Blueprint = QRBSourceControlWorkspaceBlueprint;
using WorkingCopyPtr = QRBSourceControlWorkingCopyPtr;
using RemotePtr = QRBSourceControlRemoteRepositoryPtr;
using LocationPtr = QRBSourceControlRevisionLocationPtr;

// Before anybody sorts: the user's language is read once.
[[maybe_unused]] const int languageIsSet = ::setenv("LC_ALL", "en_US.UTF-8", 1);

QRBSourceControlSystemPtr git() {
  return QRBSourceControlSystem::initWithName("Git", "org.qrb.Orlix.sourcecontrol.Git", "1", ".git", {}, true, true,
                                              false, false, false, 7);
}

WorkingCopyPtr copyAt(const char* path, String identifier = {}) {
  URL url = URL::fileURL(path);
  return QRBSourceControlWorkingCopy::initWithFileURLUnidentifiableRepository(
      url, QRBSourceControlRepository::initWithURL(url, std::move(identifier), git()));
}

RemotePtr remote(const char* name, String identifier) {
  return QRBSourceControlRemoteRepository::initUnsavedWithURL(URL(std::string("git://server/") + name),
                                                              std::move(identifier), git());
}

LocationPtr branchNamed(const char* name, const char* remoteName = nullptr) {
  return QRBSourceControlBranch::initWithBranchNameRemoteName(name, false, remoteName);
}

std::vector<std::string> names(const Workspace::WorkingCopies& workingCopies) {
  std::vector<std::string> result;
  for (const WorkingCopyPtr& workingCopy : workingCopies) result.push_back(workingCopy->displayName().str());
  return result;
}

using Names = std::vector<std::string>;

TEST(Workspace, KeepsTheOrderItWasGivenAndEqualWorkingCopiesOnce) {
  auto workspace = Workspace::initWithWorkingCopies({copyAt("/w/z"), nullptr, copyAt("/w/a"), copyAt("/w/z", "again")});
  EXPECT_EQ(names(workspace->workingCopies()), (Names{"z", "a"}));
}

TEST(Workspace, SortingBringsThePrimaryOneToTheFrontAndOthersByNameAsPeopleSort) {
  auto primary = copyAt("/w/project");
  auto workspace = Workspace::initWithPrimaryWorkingCopy(
      primary, {}, {copyAt("/w/Zebra"), copyAt("/w/apple"), primary, copyAt("/w/Öl"), copyAt("/w/Banana")});
  workspace->sortWorkingCopies();
  EXPECT_EQ(names(workspace->workingCopies()), (Names{"project", "apple", "Banana", "Öl", "Zebra"}));
}

TEST(Workspace, AFileBelongsToTheInnermostWorkingCopyAroundIt) {
  auto outer = copyAt("/a");
  auto inner = copyAt("/a/b");
  auto workspace = Workspace::initWithWorkingCopies({outer, inner, copyAt("/A/b/c")});
  struct Case {
    URL url;
    WorkingCopyPtr expected;
  };
  for (const Case& test : std::vector<Case>{{URL::fileURL("/a/b/c/file.txt"), inner},
                                            {URL::fileURL("/a/bc/file.txt"), outer},
                                            {URL::fileURL("/a/b"), inner},
                                            {URL::fileURL("/a/b/", true), inner},
                                            {URL::fileURL("/a/B/file.txt"), outer},
                                            {URL::fileURL("/elsewhere/b"), nullptr},
                                            {URL::fileURL("/"), nullptr},
                                            {URL("https://server/a/b/c"), nullptr},
                                            {URL(), nullptr}}) {
    EXPECT_EQ(workspace->workingCopyForURL(test.url), test.expected) << test.url.absoluteString().str();
  }
}

TEST(Workspace, AnAmbiguousRepositoryIdentifierMatchesNothing) {
  auto only = copyAt("/w/only", "once");
  auto workspace = Workspace::initWithWorkingCopies(
      {only, copyAt("/w/1", "twice"), copyAt("/w/2", "twice"), copyAt("/w/unknown"), copyAt("/w/unknown too")});
  EXPECT_EQ(workspace->workingCopyForRepositoryID("once"), only);
  EXPECT_EQ(workspace->workingCopyForRepositoryID("twice"), nullptr);
  EXPECT_EQ(workspace->workingCopyForRepositoryID("never"), nullptr);
  EXPECT_EQ(workspace->workingCopyForRepositoryID({}), nullptr);
}

TEST(Workspace, ItsRootIsTheFolderAroundThePrimaryOrTheFirstWorkingCopy) {
  auto primary = copyAt("/other place/project");
  auto workspace = Workspace::initWithWorkingCopies({copyAt("/w/first"), primary});
  EXPECT_EQ(workspace->workspaceRootFolder().path(), "/w");
  workspace->setPrimaryWorkingCopy(primary);
  EXPECT_EQ(workspace->workspaceRootFolder().path(), "/other place");
  EXPECT_FALSE(Workspace::init()->workspaceRootFolder());
}

struct Placed {
  RemotePtr primary = remote("app.git", "id-app");
  RemotePtr library = remote("lib.git", "id-lib");
  QRBSourceControlWorkspaceBlueprintPtr blueprint;

  Placed(const char* primaryPath, const char* libraryPath) {
    blueprint = Blueprint::init();
    blueprint->addRemoteRepository(primary, primaryPath);
    blueprint->addRemoteRepository(library, libraryPath);
    blueprint->setPrimaryRemoteRepository(primary);
  }
  // The library's working copy has no identifier, so that only its place tells.
  std::string found(const Workspace::WorkingCopies& workingCopies) const {
    auto workspace = Workspace::initWithPrimaryWorkingCopy(workingCopies.front(), {}, workingCopies);
    auto match = workspace->workingCopyForRemoteRepository(library, blueprint);
    return match == nullptr ? "none" : match->fileURL().path().str();
  }
};

TEST(Workspace, ABlueprintsRepositoryIsFoundByIdentifierAndElseByPlace) {
  WorkingCopyPtr app = copyAt("/home/me/Trees/App");
  // By identifier wherever it lies.
  EXPECT_EQ(Placed("App", "Libs/Core").found({app, copyAt("/x/y", "id-lib"), copyAt("/home/me/Trees/Libs/Core")}),
            "/x/y");
  // By place, in any letter case and with or without slash at the end; the first of several.
  EXPECT_EQ(Placed("app/", "libs/core/").found({app, copyAt("/home/me/Trees/Libs/Core"), copyAt("/home/me/Trees/Z")}),
            "/home/me/Trees/Libs/Core");
  EXPECT_EQ(
      Placed("App", "LIBS/CORE").found({app, copyAt("/home/me/Trees/libs/core"), copyAt("/home/me/Trees/Libs/Core")}),
      "/home/me/Trees/libs/core");
  // Lengths are counted in characters, however many bytes they take.
  EXPECT_EQ(Placed("Äpp", "Öl").found({copyAt("/w/Äpp"), copyAt("/w/Öl")}), "/w/Öl");
  // Not the end of the primary path is looked at, only its length.
  EXPECT_EQ(Placed("Xyz", "Libs/Core").found({app, copyAt("/home/me/Trees/Libs/Core")}), "/home/me/Trees/Libs/Core");
  // Nor does a place count below another folder.
  EXPECT_EQ(Placed("App", "Core").found({app, copyAt("/home/me/Other/Core")}), "none");
}

TEST(Workspace, ByPlaceNothingIsFoundUnlessThePrimaryPathSortsFirst) {
  WorkingCopyPtr app = copyAt("/w/App");
  WorkingCopyPtr library = copyAt("/w/Lib");
  // "." sorts before "/".
  EXPECT_EQ(Placed("../App", "Lib").found({app, library}), "none");
  EXPECT_EQ(Placed("", "Lib").found({app, library}), "none");
  // Longer than the place itself.
  EXPECT_EQ(Placed("a/much/longer/path/App", "Lib").found({app, library}), "none");
}

TEST(Workspace, RepresentsABlueprintOfItsPrimaryRepositoryAndProject) {
  Placed placed("App", "Lib");
  placed.blueprint->setRelativePathToProject("App.orlixproj");
  auto app = copyAt("/w/App", "id-app");
  auto workspace = Workspace::initWithPrimaryWorkingCopy(app, "App.orlixproj", {app});
  EXPECT_TRUE(workspace->representsBlueprint(placed.blueprint));
  workspace->setRelativePathToProject("Other.orlixproj");
  EXPECT_FALSE(workspace->representsBlueprint(placed.blueprint));
  workspace->setRelativePathToProject("App.orlixproj");
  app->repository()->setIdentifier("another");
  EXPECT_FALSE(workspace->representsBlueprint(placed.blueprint));
  app->repository()->setIdentifier({});
  placed.primary->setIdentifier({});
  EXPECT_FALSE(workspace->representsBlueprint(placed.blueprint)) << "two unknown repositories are not the same";
  EXPECT_FALSE(workspace->representsBlueprint(nullptr));
}

TEST(Workspace, ComparisonCountsExtrasOnBothSidesAndOtherLocations) {
  struct Side {
    const char* identifier;
    LocationPtr location;
  };
  struct Case {
    const char* what;
    std::vector<Side> workspace;
    std::vector<Side> blueprint;
    std::uint64_t expected;
  };
  auto main = branchNamed("main");
  auto revision = QRBSourceControlRevisionLocation::initWithRevision(QRBSourceControlRevision::initWithIdentifier("1"));
  std::vector<Case> cases = {
      {"nothing in common", {{"a", main}}, {{"b", main}}, 0},
      {"nothing at all", {}, {}, 0},
      {"the same", {{"a", main}, {"b", main}}, {{"b", main}, {"a", main}}, 1},
      {"a local branch and the remote one of its name", {{"a", main}}, {{"a", branchNamed("main", "origin")}}, 5},
      {"the same revision", {{"a", revision}}, {{"a", revision}}, 1},
      {"no location on either side", {{"a", nullptr}}, {{"a", nullptr}}, 1},
      {"extras on both sides", {{"a", main}, {"x", main}}, {{"a", main}, {"y", main}}, 2},
      {"an unidentified one on either side", {{"a", main}, {nullptr, main}}, {{"a", main}, {nullptr, main}}, 2},
      {"more here", {{"a", main}, {"x", main}}, {{"a", main}}, 3},
      {"more there", {{"a", main}}, {{"a", main}, {"y", main}}, 4},
      {"more there, whatever the location", {{"a", branchNamed("topic")}}, {{"a", main}, {"y", main}}, 4},
      {"one on another branch", {{"a", main}, {"b", branchNamed("topic")}}, {{"a", main}, {"b", main}}, 5},
      {"a remote branch and the local one of its name", {{"a", branchNamed("main", "origin")}}, {{"a", main}}, 5},
      {"branches of two remotes", {{"a", branchNamed("main", "one")}}, {{"a", branchNamed("main", "two")}}, 5},
      {"a location not known", {{"a", nullptr}}, {{"a", main}}, 5},
      {"one repository twice here", {{"a", main}, {"a", main}}, {{"a", main}}, 2},
      {"one repository twice here, and others there", {{"a", main}, {"a", main}}, {{"a", main}, {"b", main}}, 1},
  };
  for (const Case& test : cases) {
    Workspace::WorkingCopies workingCopies;
    for (const Side& side : test.workspace) {
      workingCopies.push_back(copyAt(("/w/" + std::to_string(workingCopies.size())).c_str(), side.identifier));
      workingCopies.back()->setCachedCurrentLocation(side.location);
    }
    auto blueprint = Blueprint::init();
    for (const Side& side : test.blueprint) {
      blueprint->addRemoteRepository(remote("r", side.identifier), "path", {}, nullptr, side.location);
    }
    EXPECT_EQ(Workspace::initWithWorkingCopies(workingCopies)->compareToBlueprint(blueprint), test.expected)
        << test.what;
  }
}

TEST(Workspace, MissingFromABlueprintAreThoseItHasNeitherByIdentifierNorByPlace) {
  Placed placed("App", "Libs/My Core");
  auto app = copyAt("/w/App", "another identifier");
  auto byIdentifier = copyAt("/w/Moved", "id-lib");
  auto byPlace = copyAt("/w/Libs/My Core");
  auto missing = copyAt("/w/Tools", "id-tools");
  auto unknown = copyAt("/outside/Tools");
  auto workspace = Workspace::initWithPrimaryWorkingCopy(app, {}, {unknown, byIdentifier, missing, app, byPlace});
  EXPECT_EQ(workspace->workingCopiesMissingFromBlueprint(placed.blueprint),
            (Workspace::WorkingCopies{unknown, missing}));
  EXPECT_EQ(workspace->workingCopiesMissingFromBlueprint(nullptr), workspace->workingCopies());
}

TEST(BlueprintPlaces, PathsAreExpandedFromTheRootAndEnclosingOnesComeFirst) {
  auto blueprint = Blueprint::init();
  auto nested = remote("1-nested", "1");
  auto atRoot = remote("2-root", "2");
  auto outside = remote("3-outside", "3");
  auto spaced = remote("4-spaced", "4");
  auto placeless = remote("5-placeless", "5");
  auto impossible = remote("6-impossible", "6");
  blueprint->addRemoteRepository(nested, "Libraries//Core/./x/../");
  blueprint->addRemoteRepository(atRoot, "");
  blueprint->addRemoteRepository(outside, "../Out");
  blueprint->addRemoteRepository(spaced, "100% Ünï cödé");
  blueprint->addRemoteRepository(placeless);
  blueprint->addRemoteRepository(impossible, std::string_view("nul\0", 4));
  auto expanded = blueprint->_expandedWorkingCopyPathsFromURL(URL::fileURL("/home/me/Trees", true));
  EXPECT_EQ(expanded.valueFor(nested).path(), "/home/me/Trees/Libraries/Core");
  EXPECT_EQ(expanded.valueFor(atRoot).path(), "/home/me/Trees");
  EXPECT_EQ(expanded.valueFor(outside).path(), "/home/me/Out");
  EXPECT_EQ(expanded.valueFor(spaced).path(), "/home/me/Trees/100% Ünï cödé");
  EXPECT_FALSE(expanded.contains(placeless));
  EXPECT_FALSE(expanded.contains(impossible));
  EXPECT_EQ(blueprint->_sortedRemoteRepositoriesWithExpandedPaths(expanded),
            (Blueprint::RemoteRepositories{placeless, impossible, outside, atRoot, nested, spaced}));
  EXPECT_TRUE(blueprint->_expandedWorkingCopyPathsFromURL(URL("https://server/folder")).empty());
  EXPECT_TRUE(blueprint->_expandedWorkingCopyPathsFromURL(URL()).empty());
}

/// A request that answers first, and finishes when somebody looks whether it has.
class AnsweringRequest : public QueueOperation, public QRBSourceControlCancellable {
 public:
  void start() override {}
  void cancel() override {}
  bool isExecuting() const override { return !_finished; }
  bool isFinished() const override {
    if (!_finished && !_looked.exchange(true)) _end = std::async(std::launch::async, [this] { end(); });
    return _finished;
  }
  bool hasFinished() const { return _finished; }
  bool suppressAuthenticationFailure() const override { return false; }
  void setSuppressAuthenticationFailure(bool) override {}
  std::shared_ptr<void> context() const override { return nullptr; }
  void setContext(const std::shared_ptr<void>&) override {}

 private:
  void end() const {
    _finished = true;
    didChange(Property::isFinished);
  }

  mutable std::atomic<bool> _finished = false;
  mutable std::atomic<bool> _looked = false;
  mutable std::future<void> _end;
};

TEST(SequentialActionTest, AStepIsOverWhenItsRequestHasFinishedAndNotBefore) {
  auto request = std::make_shared<AnsweringRequest>();
  std::promise<bool> finished;
  OperationQueue queue("steps");
  auto handle = SequentialAction::start(queue, "steps:", [&](SequentialAction& action) {
    action.step<>("Request", [&](auto completion) {
      completion({});
      return request;
    });
    finished.set_value(request->hasFinished());
  });
  EXPECT_TRUE(finished.get_future().get());
}

}  // namespace
}  // namespace qrb::test
