#include "BlueprintTesting.h"
#include "QRBSourceControlWorkingCopy.h"
#include "QRBSourceControlWorkspace.h"

namespace qrb::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using BlueprintMatching = BlueprintTest;

struct Place {
  RemotePtr repository;
  String path;
};

BlueprintPtr blueprintOf(std::initializer_list<Place> places, String project = "App.orlixproj", String name = "App") {
  auto blueprint = Blueprint::init();
  blueprint->setName(std::move(name));
  blueprint->setRelativePathToProject(std::move(project));
  for (const Place& place : places) blueprint->addRemoteRepository(place.repository, place.path);
  if (places.size() > 0) blueprint->setPrimaryRemoteRepository(places.begin()->repository);
  return blueprint;
}

TEST_F(BlueprintMatching, ARepositoryOfItsOwnIsLikeItselfEvenWhereAnotherHasTheSameIdentifier) {
  auto first = remote("https://x/a", "ID", "1");
  auto second = remote("https://x/b", "ID", "2");
  auto blueprint = blueprintOf({{first, "a"}, {second, "b"}});
  EXPECT_EQ(blueprint->_repositoryLikeRemoteRepository(second), second);
  second->setSecondaryIdentifier("1");
  EXPECT_EQ(blueprint->_repositoryLikeRemoteRepository(second), second);
  EXPECT_EQ(blueprint->_repositoryLikeRemoteRepository(nullptr), nullptr);
}

TEST_F(BlueprintMatching, IdentifiersDecideAndSecondaryOnesWhereTheyAreNeeded) {
  auto a = remote("https://x/a", "A", "1");
  auto single = blueprintOf({{a, "a"}});
  EXPECT_EQ(single->_repositoryLikeRemoteRepository(remote("https://z", "A", "9")), a);
  EXPECT_EQ(single->_repositoryLikeRemoteRepository(remote("https://x/a", "B", "1")), nullptr);
  EXPECT_EQ(single->_repositoryLikeRemoteRepository(remote("https://x/a", nullptr)), nullptr);

  auto b = remote("https://x/b", "A", "2");
  auto both = blueprintOf({{a, "a"}, {b, "b"}});
  EXPECT_EQ(both->_repositoryLikeRemoteRepository(remote("https://z", "A", "2")), b);
  EXPECT_EQ(both->_repositoryLikeRemoteRepository(remote("https://z", "A", "9")), nullptr);

  auto unidentified = blueprintOf({{remote("https://x/a", nullptr), "a"}});
  EXPECT_EQ(unidentified->_repositoryLikeRemoteRepository(remote("https://x/a", nullptr)), nullptr);
}

TEST_F(BlueprintMatching, ALocalRepositoryIsLikeTheOneWhosePathItsOwnEndsIn) {
  auto a = remote("https://x/a", "ID", "1");
  auto b = remote("https://x/b", "ID", "2");
  auto blueprint = blueprintOf({{a, "team/app/"}, {b, "team/lib/"}});
  auto local = [](const char* url, const char* identifier) {
    return QRBSourceControlRepository::initWithURL(URL(url), identifier, systemNamed(kGit));
  };
  EXPECT_EQ(blueprint->remoteRepositoryLikeRepository(local("file:///home/u/team/lib/", "ID")), b);
  EXPECT_EQ(blueprint->remoteRepositoryLikeRepository(local("file:///home/u/Team/Lib", "ID")), nullptr);
  EXPECT_EQ(blueprint->remoteRepositoryLikeRepository(local("file:///home/u/team/lib", "OTHER")), nullptr);
  auto named = local("file:///elsewhere", "ID");
  named->setSecondaryIdentifier("2");
  EXPECT_EQ(blueprint->remoteRepositoryLikeRepository(named), b);
  // A remote repository is never matched by its URL's path.
  EXPECT_EQ(blueprint->remoteRepositoryLikeRepository(remote("file:///home/u/team/lib", "ID", "9")), nullptr);
}

TEST_F(BlueprintMatching, AcrossBlueprintsTheFirstThatHasTheIdentifierOrThePlaceCounts) {
  auto a = remote("https://x/a", "A");
  auto b = remote("https://x/b", "B");
  auto blueprint = blueprintOf({{a,
                                 "\xc3\x9c"
                                 "ber/Lib"},
                                {b, "b/"}});
  auto other = remote("https://x/other", "OTHER");
  auto asB = remote("https://x/asB", "B");
  // The letter is composed of two here, and in the other case.
  auto theirs = blueprintOf({{other,
                              "u\xcc\x88"
                              "ber/LIB/"},
                             {asB,
                              "\xc3\xbc"
                              "ber/lib"},
                             {remote("https://x/n", "N"), {}}});
  EXPECT_EQ(blueprint->_repositoryLikeRepository(other, theirs), a);
  EXPECT_EQ(blueprint->_repositoryLikeRepository(asB, theirs), a) << "by its place, before b by its identifier";
  EXPECT_EQ(blueprint->remoteRepositoryLikeRepository(asB, nullptr), b);
  EXPECT_EQ(blueprint->_repositoryLikeRepository(remote("https://x/n", "N"), theirs), nullptr);
  EXPECT_EQ(blueprint->_repositoryLikeRepository(other, nullptr), nullptr);
}

TEST_F(BlueprintMatching, AnOriginIsFoundByHostAndPathAlone) {
  auto web = remote("https://bob@git.example.org/team/a.git", "A");
  auto ssh = remote("git@git.example.org:team/b.git", "B");
  auto blueprint = blueprintOf({{web, "a"}, {ssh, "b"}});
  EXPECT_EQ(blueprint->repositoryForOrigin(URL("http://git.example.org/team/a.git")), web);
  EXPECT_EQ(blueprint->repositoryForOrigin(URL("eve@git.example.org:team/b.git")), ssh);
  EXPECT_EQ(blueprint->repositoryForOrigin(URL("https://git.example.org/Team/a.git")), nullptr);
  EXPECT_EQ(blueprint->repositoryForOrigin(URL("https://git.example.org")), nullptr);
  EXPECT_EQ(blueprint->repositoryForOrigin(URL()), nullptr);
}

TEST_F(BlueprintMatching, FuzzyEqualityLooksAtNamesPlacesAndAddressesInAnyCase) {
  auto make = [](const char* name, const char* project, const char* url, const char* path, const char* identifier) {
    return blueprintOf({{remote(url, identifier), path}, {remote("https://x/lib", "LIB"), "lib"}}, project, name);
  };
  auto own = make("App", "App.proj", "https://x/app", "App", "ID");
  EXPECT_TRUE(own->isFuzzyEqualToBlueprint(own));
  EXPECT_TRUE(own->isFuzzyEqualToBlueprint(make("aPP", "app.PROJ", "HTTPS://x/APP", "aPP", "ID")));
  EXPECT_FALSE(own->isFuzzyEqualToBlueprint(make("Ape", "App.proj", "https://x/app", "App", "ID")));
  EXPECT_FALSE(own->isFuzzyEqualToBlueprint(make("App", "Ape.proj", "https://x/app", "App", "ID")));
  EXPECT_FALSE(own->isFuzzyEqualToBlueprint(make("App", "App.proj", "https://x/ape", "App", "ID")));
  EXPECT_FALSE(own->isFuzzyEqualToBlueprint(make("App", "App.proj", "https://x/app", "Ape", "ID")));
  EXPECT_FALSE(own->isFuzzyEqualToBlueprint(make("App", "App.proj", "https://x/app", "App", "other")));
  EXPECT_FALSE(own->isFuzzyEqualToBlueprint(nullptr));

  auto larger = make("App", "App.proj", "https://x/app", "App", "ID");
  larger->addRemoteRepository(remote("https://x/more", "MORE"), "more");
  EXPECT_FALSE(own->isFuzzyEqualToBlueprint(larger));
  EXPECT_FALSE(larger->isFuzzyEqualToBlueprint(own));
}

TEST_F(BlueprintMatching, FuzzyEqualityTakesWhatThisSideLeavesOpenAsEqual) {
  auto open = blueprintOf({{remote("https://x/app", "ID"), {}}}, {}, {});
  auto full = blueprintOf({{remote("https://x/app", "ID"), "App"}});
  EXPECT_TRUE(open->isFuzzyEqualToBlueprint(full));
  EXPECT_FALSE(full->isFuzzyEqualToBlueprint(open));
  EXPECT_FALSE(Blueprint::init()->isFuzzyEqualToBlueprint(nullptr));
}

TEST_F(BlueprintMatching, OnlyRepositoriesWithAPlaceCanBeMissing) {
  auto placed = remote("https://x/a", "A");
  auto unplaced = remote("https://x/b", "B");
  auto atRoot = remote("https://x/c", "C");
  auto unidentified = remote("https://x/d", nullptr);
  auto known = remote("https://x/e", "E");
  auto blueprint = blueprintOf({{placed, "a"}, {unplaced, {}}, {atRoot, ""}, {unidentified, "d"}, {known, "e"}});
  auto other = blueprintOf({{remote("https://y", "E"), {}}, {remote("https://z", nullptr), "d"}});
  EXPECT_THAT(blueprint->remoteRepositoriesMissingFromBlueprint(other), ElementsAre(placed, unidentified));
  EXPECT_THAT(blueprint->remoteRepositoriesMissingFromBlueprint(nullptr), ElementsAre(placed, unidentified, known));
  EXPECT_THAT(blueprint->remoteRepositoriesMissingFromBlueprint(blueprint), ElementsAre(unidentified));
  EXPECT_THAT(Blueprint::init()->remoteRepositoriesMissingFromBlueprint(other), IsEmpty());

  auto local = QRBSourceControlRepository::initWithURL(URL("file:///w/e"), "E", systemNamed(kGit));
  auto workspace = QRBSourceControlWorkspace::initWithWorkingCopies(
      {QRBSourceControlWorkingCopy::initWithFileURL(URL("file:///w/e"), local)});
  EXPECT_THAT(blueprint->remoteRepositoriesMissingFromWorkspace(workspace), ElementsAre(placed, unidentified));
  EXPECT_THAT(blueprint->remoteRepositoriesMissingFromWorkspace(nullptr), ElementsAre(placed, unidentified, known));
}

}  // namespace
}  // namespace qrb::test
