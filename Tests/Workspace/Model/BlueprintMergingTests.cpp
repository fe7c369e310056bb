#include "BlueprintTesting.h"

namespace qrb::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using BlueprintMerging = BlueprintTest;
using Basic = QRBSourceControlBasicAuthenticationStrategy;
using Anonymous = QRBSourceControlAuthenticationStrategy;
using SSHKeys = QRBSourceControlSSHKeysAuthenticationStrategy;

BlueprintPtr projectOf(const RemotePtr& primary, String path = "app", String project = "App.orlixproj") {
  auto blueprint = Blueprint::init();
  blueprint->setName("App");
  blueprint->setRelativePathToProject(std::move(project));
  blueprint->addRemoteRepository(primary, std::move(path));
  blueprint->setPrimaryRemoteRepository(primary);
  return blueprint;
}

QRBSourceControlRevisionLocationPtr branch(const char* name) {
  return QRBSourceControlBranch::initWithBranchName(name, false);
}

// Every table has entries for the blueprint's repositories only.
void expectKeyedByItsRepositories(const BlueprintPtr& blueprint) {
  const auto& repositories = blueprint->remoteRepositories();
  auto check = [&](const auto& table) {
    for (const auto& [repository, value] : table) {
      EXPECT_NE(std::find(repositories.begin(), repositories.end(), repository), repositories.end());
    }
  };
  check(*blueprint->workingCopyStates());
  check(*blueprint->workingCopyPaths());
  check(*blueprint->workingCopyRepositoryLocations());
  check(*blueprint->locations());
}

TEST_F(BlueprintMerging, TakesFromTheSameProjectWhatIsLacking) {
  auto app = remote("https://x/app", "APP");
  auto own = projectOf(app);
  own->locations()->set(app, branch("mine"));
  auto likeApp = remote("https://y/app", "OTHER-ID");
  auto theirs = projectOf(likeApp, "APP/");
  auto lib = remote("https://x/lib", "LIB");
  theirs->addRemoteRepository(lib, "lib", 7, nullptr, branch("theirs"));
  theirs->addRemoteRepository(remote("https://x/alpha", "ALPHA"));
  theirs->locations()->set(likeApp, branch("theirs"));
  theirs->workingCopyStates()->set(likeApp, 2);

  own->mergeWithBlueprint(theirs);

  ASSERT_EQ(own->remoteRepositories().size(), 3u);
  EXPECT_EQ(own->remoteRepositories()[0], app);
  EXPECT_EQ(own->remoteRepositories()[1]->identifier(), "ALPHA");
  EXPECT_EQ(own->remoteRepositories()[2], lib);
  EXPECT_EQ(app->identifier(), "OTHER-ID") << "found by its place, it takes the identifier";
  EXPECT_EQ(own->workingCopyPathForRemoteRepository(app), "app");
  EXPECT_EQ(own->locationForRemoteRepository(app)->displayName(), "mine");
  EXPECT_EQ(own->workingCopyStateForRemoteRepository(app), 2u);
  EXPECT_EQ(own->workingCopyStateForRemoteRepository(lib), 7u);
  EXPECT_EQ(own->locationForRemoteRepository(lib)->displayName(), "theirs");
  EXPECT_FALSE(own->workingCopyPaths()->contains(own->remoteRepositories()[1]));
  EXPECT_EQ(own->primaryRemoteRepository(), app);
  expectKeyedByItsRepositories(own);
  own->workingCopyPaths()->set(lib, "moved");
  EXPECT_EQ(theirs->workingCopyPathForRemoteRepository(lib), "lib") << "tables of the same project are not shared";
}

TEST_F(BlueprintMerging, AnIdentifierTakenOverCountsForTheRepositoriesThatFollow) {
  auto app = remote("https://x/app", "APP");
  auto own = projectOf(app, "first");
  own->addRemoteRepository(remote("https://x/b", "B"), "b");
  auto theirs = projectOf(remote("https://y/app", "NEW"), "first");
  auto again = remote("https://y/z", "NEW", "2");
  theirs->addRemoteRepository(again, "elsewhere");
  own->mergeWithBlueprint(theirs);
  EXPECT_EQ(own->remoteRepositories().size(), 2u);
  EXPECT_EQ(app->identifier(), "NEW");
}

TEST_F(BlueprintMerging, ANewPrimaryRepositoryBringsItsProjectAlong) {
  auto own = projectOf(remote("https://x/old", "OLD"), "old");
  auto primary = remote("https://x/new", "NEW");
  auto theirs = projectOf(primary, "new");
  theirs->setName("Theirs");
  own->mergeWithBlueprint(theirs);
  EXPECT_EQ(own->primaryRemoteRepository(), primary);
  EXPECT_EQ(own->remoteRepositories().front(), primary);
  EXPECT_EQ(own->name(), "Theirs");
}

TEST_F(BlueprintMerging, AnotherProjectReplacesEverythingAndTheTablesAreShared) {
  for (const String& project : {String(), String("Mine.proj")}) {
    auto own = projectOf(remote("https://x/old", "OLD"), "old", project);
    auto primary = remote("https://x/new", "NEW");
    auto theirs = projectOf(primary, "new", "Theirs.proj");
    String identifier = own->_id();
    own->mergeWithBlueprint(theirs);
    EXPECT_EQ(own->_id(), identifier);
    EXPECT_EQ(own->relativePathToProject(), "Theirs.proj");
    EXPECT_THAT(own->remoteRepositories(), ElementsAre(primary));
    EXPECT_EQ(own->workingCopyPaths(), theirs->workingCopyPaths());
    EXPECT_EQ(own->locations(), theirs->locations());
    theirs->workingCopyPaths()->set(primary, "moved");
    EXPECT_EQ(own->workingCopyPathForRemoteRepository(primary), "moved");
  }
}

TEST_F(BlueprintMerging, WithItselfOrNothingChangesNothing) {
  BlueprintPtr blueprint = sample();
  Dictionary before = everythingOf(*blueprint);
  blueprint->mergeWithBlueprint(blueprint);
  blueprint->mergeWithBlueprint(nullptr);
  blueprint->getMissingCredentialsFromBlueprint(nullptr);
  EXPECT_EQ(everythingOf(*blueprint)[QRBSourceControlWorkspaceBlueprintRemoteRepositoriesKey].size(), 8u);
  EXPECT_EQ(everythingOf(*blueprint)[QRBSourceControlWorkspaceBlueprintWorkingCopyPathsKey],
            before[QRBSourceControlWorkspaceBlueprintWorkingCopyPathsKey]);
}

// Credentials

struct CredentialCase {
  const char* what;
  QRBSourceControlAuthenticationStrategyPtr own;
  QRBSourceControlAuthenticationStrategyPtr other;
  String username;
  String password;
};

TEST_F(BlueprintMerging, APasswordComesOnlyWithTheUserNameItBelongsTo) {
  String shared = "ann";
  auto basic = [](String username, String password) { return Basic::initWithUsername(username, password); };
  for (const CredentialCase& c : std::vector<CredentialCase>{
           {"nothing of its own", basic("", ""), basic("ann", "pw"), "ann", "pw"},
           {"its own password", basic("", "mine"), basic("ann", "pw"), "ann", "mine"},
           {"its own user name", basic("bob", ""), basic("ann", "pw"), "bob", ""},
           {"an equal user name of its own", basic("ann", ""), basic(std::string("ann"), "pw"), "ann", ""},
           {"the very same user name", basic(shared, ""), basic(shared, "pw"), "ann", "pw"},
           {"user name of the address", Basic::initWithURLDefinedUsername("", ""), basic("ann", "pw"), "", ""},
           {"password of the address",
            Basic::initWithURLDefinedUsernameURLDefinedPassword("", "")->strategyWithUsername(shared, ""),
            basic(shared, "pw"), "ann", ""},
           {"only keys on the other side", basic("", ""), SSHKeys::initWithUsername("ann", {}, "pw"), "", ""},
       }) {
    SCOPED_TRACE(c.what);
    auto repository = remote("https://x/app", "ID");
    repository->setAuthenticationStrategy(c.own);
    auto own = projectOf(repository);
    // An address without user name, which any strategy can serve as it is.
    auto likeOne = remote("x:app", "ID");
    likeOne->setAuthenticationStrategy(c.other);
    own->getMissingCredentialsFromBlueprint(projectOf(likeOne));
    auto result = std::dynamic_pointer_cast<const Basic>(repository->authenticationStrategy());
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->username(), c.username);
    EXPECT_EQ(result->password(), c.password);
  }
}

TEST_F(BlueprintMerging, AnAnonymousRepositoryTakesAStrategyThatItsAddressCanUse) {
  auto keys = SSHKeys::initWithUsername("git", {}, "");
  auto basic = Basic::initWithUsername("ann", "pw");
  for (const auto& [url, strategy, isTaken] :
       std::vector<std::tuple<const char*, QRBSourceControlAuthenticationStrategyPtr, bool>>{
           {"https://x/app", basic, true}, {"https://x/app", keys, false}, {"x:app", keys, true}}) {
    auto repository = remote(url, "ID");
    auto likeOne = remote("x:app", "ID");
    likeOne->setAuthenticationStrategy(strategy);
    projectOf(repository)->getMissingCredentialsFromBlueprint(projectOf(likeOne));
    EXPECT_EQ(repository->authenticationStrategy() == likeOne->authenticationStrategy(), isTaken) << url;
  }
}

TEST_F(BlueprintMerging, WhatIsTrustedIsKeptAndElseTakenOver) {
  struct Case {
    String own;
    bool enforces;
    String other;
    bool otherEnforces;
    String fingerprint;
    bool result;
  };
  for (const Case& c : std::vector<Case>{{"MINE", false, "THEIRS", false, "MINE", true},
                                         {{}, false, "THEIRS", false, "THEIRS", true},
                                         {{}, true, {}, false, {}, false},
                                         {{}, false, {}, true, {}, true}}) {
    auto repository = remote("https://x/app", "ID");
    repository->setTrustedServerFingerprint(c.own);
    repository->setEnforceTrustedServerFingerprint(c.enforces);
    auto likeOne = remote("https://y/app", "ID");
    likeOne->setTrustedServerFingerprint(c.other);
    likeOne->setEnforceTrustedServerFingerprint(c.otherEnforces);
    projectOf(repository)->mergeWithBlueprint(projectOf(likeOne));
    EXPECT_EQ(repository->trustedServerFingerprint(), c.fingerprint);
    EXPECT_EQ(repository->enforceTrustedServerFingerprint(), c.result);
  }
}

// Changing

TEST_F(BlueprintMerging, MutatorsKeepTheTablesToTheRepositories) {
  BlueprintPtr blueprint = sample();
  auto repositories = blueprint->remoteRepositories();
  RemotePtr primary = blueprint->primaryRemoteRepository();
  EXPECT_FALSE(blueprint->addRemoteRepository(primary, "other"));
  EXPECT_FALSE(blueprint->addRemoteRepository(nullptr));
  EXPECT_EQ(blueprint->workingCopyPathForRemoteRepository(primary), "MyProject/");

  auto replacement = remote("https://x/zzz.git", "NEW");
  EXPECT_FALSE(blueprint->replaceRemoteRepository(replacement, primary));
  EXPECT_FALSE(blueprint->replaceRemoteRepository(primary, repositories[1]));
  ASSERT_TRUE(blueprint->replaceRemoteRepository(primary, replacement));
  EXPECT_EQ(blueprint->primaryRemoteRepository(), replacement);
  EXPECT_EQ(blueprint->workingCopyPathForRemoteRepository(replacement), "MyProject/");
  EXPECT_EQ(blueprint->locationForRemoteRepository(replacement)->displayName(), "main");
  EXPECT_EQ(blueprint->remoteRepositories().front(), replacement);
  expectKeyedByItsRepositories(blueprint);

  EXPECT_TRUE(blueprint->_needsToUseSecondaryIdentifiers());
  for (const RemotePtr& repository : repositories) {
    EXPECT_EQ(blueprint->removeRemoteRepository(repository), repository != primary);
    expectKeyedByItsRepositories(blueprint);
  }
  EXPECT_FALSE(blueprint->_needsToUseSecondaryIdentifiers());
  EXPECT_TRUE(blueprint->representsSingleRepository());
  EXPECT_EQ(blueprint->repository(), replacement);
  blueprint->removeRemoteRepository(blueprint->remoteRepositories().front());
  EXPECT_EQ(blueprint->primaryRemoteRepository(), nullptr);
  EXPECT_EQ(blueprint->repository(), nullptr);
}

TEST_F(BlueprintMerging, WhatWouldLieAboveTheRootFolderIsFoundHoweverItIsWritten) {
  auto blueprint = Blueprint::init();
  std::set<std::string> above = {"..", "../x", "a/../../x", "%2e%2e/x", "a/%2E./../x", "./..", "/../x", "..%2fx"};
  std::set<std::string> below = {"", "a", "a/..", "...", "..a", "/etc", "a/../b", "a..b/c", "%2e"};
  std::set<std::string> all = above;
  all.insert(below.begin(), below.end());
  for (const std::string& path : all) blueprint->addRemoteRepository(remote("https://x/y", path), path);
  blueprint->addRemoteRepository(remote("https://x/z", "no path"));
  std::set<std::string> found;
  for (const RemotePtr& repository : blueprint->repositoriesWithWorkingCopyPathsAboveRootFolder()) {
    found.insert(repository->identifier().str());
  }
  EXPECT_EQ(found, above);
  blueprint->removeRepositoriesWithWorkingCopyPathsAboveRootFolder();
  EXPECT_THAT(blueprint->repositoriesWithWorkingCopyPathsAboveRootFolder(), IsEmpty());
  EXPECT_EQ(blueprint->remoteRepositories().size(), below.size() + 1);
  expectKeyedByItsRepositories(blueprint);
}

TEST_F(BlueprintMerging, ACopyWithoutAuthenticationHasNoSecretAndKeepsTheTrust) {
  BlueprintPtr original = sample();
  original->addRemoteRepository(remote("https://bob:hunter2@x/y.git", "URL"), "y");
  BlueprintPtr copy = original->copyWithoutAuthentication();
  std::string everything = everythingOf(*copy).jsonText();
  for (const char* secret : {"s3cret", "PRIVATE KEY", "hunter2"}) {
    EXPECT_EQ(everything.find(secret), std::string::npos) << secret;
  }
  EXPECT_EQ(copy->dictionaryRepresentationWithOptions(0x1f2), original->dictionaryRepresentationWithOptions(0x1f2));
  for (std::size_t place = 0; place < copy->remoteRepositories().size(); ++place) {
    const RemotePtr& repository = copy->remoteRepositories()[place];
    EXPECT_EQ(repository->authenticationStrategy(), Anonymous::sharedAnonymousStrategy());
    EXPECT_EQ(repository->trustedServerFingerprint(),
              original->remoteRepositories()[place]->trustedServerFingerprint());
  }
  EXPECT_NE(everythingOf(*original).jsonText().find("s3cret"), std::string::npos);
}

}  // namespace
}  // namespace qrb::test
