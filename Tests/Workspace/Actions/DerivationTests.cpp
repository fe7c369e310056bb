#include "QRBSourceControlMultiCancellable.h"
#include "WorkspaceTesting.h"

namespace qrb::test {
namespace {

using nlohmann::json;
using DerivationOutcome = Outcome<BlueprintPtr, Workspace::RemotesPtr>;
using Lines = std::vector<std::string>;

class DerivationTest : public ScriptedTest {
 protected:
  static json remotes(const std::string& url, const char* identifier = "id") {
    return {{"remotes", {{"origin", {{"url", url}, {"identifier", identifier}}}}}, {"primary", "origin"}};
  }
  BlueprintPtr derive(const WorkspacePtr& from, Workspace::RemotesPtr chosen = nullptr) {
    auto outcome = DerivationOutcome::make();
    from->blueprintWithRemoteRepositories(std::move(chosen), outcome->completion());
    std::tie(derived, table, failure) = outcome->wait();
    return derived;
  }
  static std::string shown(const BlueprintPtr& blueprint, const WorkingCopyPtr& workingCopy,
                           const Workspace::RemotesPtr& table) {
    auto location = blueprint->locationForRemoteRepository(table->valueFor(workingCopy));
    return location == nullptr ? "none" : location->description();
  }

  BlueprintPtr derived;
  Workspace::RemotesPtr table;
  Error failure;
};

TEST_F(DerivationTest, RecordsWhatIsOnDiskAndWhereItCameFrom) {
  script({{"location alpha", {{"branch", "topic"}}},
          {"remotes alpha", remotes("https://host/alpha.git", "r-alpha")},
          {"location beta", {{"branch", "main"}, {"at", "local"}}},
          {"remote-branch beta", {{"branch", "main"}, {"remote", "origin"}, {"at", "fetched"}}},
          {"remotes beta", remotes("https://host/beta.git", "r-beta")},
          {"location gamma", {{"at", "r9"}}},
          {"remotes gamma", remotes("git@host:gamma.git", "r-gamma")}});
  alpha->setState(7);
  auto layout = QRBSourceControlBranchAndTagLocations::locationsWithStandardLayout();
  gamma->setBranchAndTagLocations(layout);
  ASSERT_NE(derive(workspace()), nullptr) << failure.description();
  EXPECT_EQ(derived->remoteRepositories().size(), 3u);
  EXPECT_EQ(table->size(), 3u);
  EXPECT_EQ(derived->name(), "App");
  EXPECT_EQ(derived->relativePathToProject(), "App.orlixproj");
  EXPECT_FALSE(derived->favorite());
  EXPECT_EQ(derived->primaryRemoteRepository(), table->valueFor(beta));
  EXPECT_EQ(derived->primaryRemoteRepository()->URL().absoluteString(), "https://host/beta.git");
  EXPECT_EQ(derived->workingCopyPathForRemoteRepository(table->valueFor(alpha)), "alpha/");
  EXPECT_EQ(derived->workingCopyStateForRemoteRepository(table->valueFor(alpha)), 7u);
  EXPECT_EQ(derived->branchAndTagLocationsForRemoteRepository(table->valueFor(gamma)), layout);
  EXPECT_EQ(shown(derived, alpha, table), branch("topic")->description()) << "it follows no remote branch";
  auto followed = std::dynamic_pointer_cast<const QRBSourceControlBranch>(
      derived->locationForRemoteRepository(table->valueFor(beta)));
  ASSERT_NE(followed, nullptr);
  EXPECT_EQ(followed->remoteName(), "origin");
  EXPECT_EQ(followed->revision()->identifier(), "fetched");
  EXPECT_EQ(alpha->cachedCurrentLocation()->description(), branch("topic")->description());
  EXPECT_EQ(asked(), (Lines{"location alpha", "remote-branch alpha | topic", "remotes alpha", "location beta",
                            "remote-branch beta | main", "remotes beta", "location gamma", "remotes gamma"}));
  EXPECT_EQ(workspace()->compareToBlueprint(derived), QRBSourceControlWorkspaceUnrelatedToBlueprint)
      << "the remotes have identifiers of their own here";
}

TEST_F(DerivationTest, PathsAreAsPeopleWriteThem) {
  auto primary = copyAt("/disk/My Äpp", "1");
  auto outside = copyAt("/other/Lib 100%", "2");
  auto plain = QRBSourceControlWorkingCopy::initWithFileURL(
      URL::fileURL("/disk/Tools/Plain"),
      QRBSourceControlRepository::initWithURL(URL("file:///disk/Tools/Plain"), "3", system()));
  script({{"remotes My Äpp", remotes("https://host/a")},
          {"remotes Lib 100%", remotes("https://host/b")},
          {"remotes Plain", remotes("https://host/c")}});
  ASSERT_NE(derive(Workspace::initWithPrimaryWorkingCopy(primary, {}, {primary, outside, plain})), nullptr)
      << failure.description();
  EXPECT_EQ(derived->workingCopyPathForRemoteRepository(table->valueFor(primary)), "My Äpp/");
  EXPECT_EQ(derived->workingCopyPathForRemoteRepository(table->valueFor(outside)), "../other/Lib 100%");
  EXPECT_EQ(derived->workingCopyPathForRemoteRepository(table->valueFor(plain)), "Tools/Plain");
  EXPECT_FALSE(derived->name());
}

TEST_F(DerivationTest, TheRemoteIsTheOneFollowedElseThePrimaryElseAny) {
  const json two = {{"a", {{"url", "https://host/a"}, {"identifier", "a"}}},
                    {"b", {{"url", "https://host/b"}, {"identifier", "b"}}}};
  struct Case {
    json location;
    json followed;
    json primary;
    const char* expected;
  };
  std::vector<Case> cases = {
      {{{"branch", "main"}}, {{"branch", "main"}, {"remote", "b"}}, "a", "https://host/b"},
      {{{"branch", "main"}}, {{"branch", "main"}, {"remote", "gone"}}, "b", "https://host/b"},
      {{{"branch", "main"}}, {{"branch", "main"}}, "b", "https://host/b"},
      {{{"branch", "main"}}, {{"error", -300}}, "", "https://host/a"},
      {{{"at", "r1"}}, json::object(), "", "https://host/a"},
  };
  for (const Case& test : cases) {
    script({{"location beta", test.location},
            {"remote-branch beta", test.followed},
            {"remotes beta", {{"remotes", two}, {"primary", test.primary}}}});
    ASSERT_NE(derive(Workspace::initWithPrimaryWorkingCopy(beta, {}, {beta})), nullptr) << failure.description();
    EXPECT_EQ(table->valueFor(beta)->URL().absoluteString(), test.expected) << test.followed;
  }
}

TEST_F(DerivationTest, AWorkingCopyOfARemoteRepositoryIsRecordedByIt) {
  auto served = remote("direct");
  auto direct = QRBSourceControlWorkingCopy::initWithFileURL(URL::fileURL("/disk/direct"), served);
  script({{"location direct", {{"path", "trunk/"}}}});
  ASSERT_NE(derive(Workspace::initWithPrimaryWorkingCopy(direct, {}, {direct})), nullptr) << failure.description();
  EXPECT_EQ(derived->remoteRepositories(), Blueprint::RemoteRepositories{served});
  EXPECT_EQ(asked(), Lines{"location direct"});
}

TEST_F(DerivationTest, AMissingIdentifierIsAskedForAndNotInsistedOn) {
  auto unknown = copyAt("/disk/unknown");
  auto hopeless = copyAt("/disk/hopeless");
  script({{"identifier unknown", {{"identifier", "learnt"}}},
          {"identifier hopeless", {{"error", -100}}},
          {"remotes unknown", remotes("https://host/a")},
          {"remotes hopeless", remotes("https://host/b")}});
  ASSERT_NE(derive(Workspace::initWithPrimaryWorkingCopy(unknown, {}, {unknown, hopeless})), nullptr)
      << failure.description();
  EXPECT_EQ(unknown->repository()->identifier(), "learnt");
  EXPECT_EQ(table->size(), 2u);
}

TEST_F(DerivationTest, TheFirstFailureEndsIt) {
  for (const char* step : {"location beta", "remotes beta"}) {
    script({{"remotes alpha", remotes("https://host/alpha.git")}, {step, {{"error", -203}}}});
    EXPECT_EQ(derive(workspace()), nullptr);
    EXPECT_EQ(table, nullptr);
    EXPECT_EQ(failure.code(), -203) << step;
  }
  for (const std::string& line : asked()) EXPECT_EQ(line.find("gamma"), std::string::npos) << line;
}

TEST_F(DerivationTest, CancelledBetweenTwoRequestsItRecordsWhatTheCallerChose) {
  auto chosen = std::make_shared<Workspace::Remotes>();
  chosen->set(gamma, remote("mine"));
  auto direct = QRBSourceControlWorkingCopy::initWithFileURL(URL::fileURL("/disk/direct"), remote("direct"));
  auto held = Workspace::initWithPrimaryWorkingCopy(gamma, {}, {gamma, direct});
  HeldQueue queue(held->workspaceOperationQueue());
  auto outcome = DerivationOutcome::make();
  held->blueprintWithRemoteRepositories(chosen, outcome->completion())->cancel();
  queue.release();
  auto [blueprint, remotesOfCopies, error] = outcome->wait();
  ASSERT_NE(blueprint, nullptr) << error.description();
  EXPECT_EQ(blueprint->remoteRepositories(), Blueprint::RemoteRepositories{chosen->valueFor(gamma)});
  EXPECT_TRUE(blueprint->locations()->empty());
  EXPECT_TRUE(asked().empty());
}

}  // namespace
}  // namespace qrb::test
