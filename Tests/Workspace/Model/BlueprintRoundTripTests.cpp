#include <sys/stat.h>

#include "BlueprintTesting.h"

namespace qrb::test {
namespace {

using testing::HasSubstr;
using testing::Not;

std::vector<std::string> namesIn(const BlueprintPtr& blueprint) {
  std::vector<std::string> names;
  for (const RemotePtr& repository : blueprint->remoteRepositories()) names.push_back(repository->displayName().str());
  return names;
}

mode_t permissionsOf(const URL& file) {
  struct stat status;
  return ::stat(file.path().str().c_str(), &status) == 0 ? status.st_mode & 07777u : 0;
}

using BlueprintRoundTrip = BlueprintTest;

TEST_F(BlueprintRoundTrip, WhateverIsWrittenReadsBackToTheSameAndIsValid) {
  BlueprintPtr original = sample();
  for (std::uint64_t options = 0; options < 0x800; ++options) {
    SCOPED_TRACE(options);
    Dictionary written = original->dictionaryRepresentationWithOptions(options);
    Error error;
    ASSERT_TRUE(Blueprint::validateDictionary(written, &error)) << error.description();
    BlueprintPtr back = Blueprint::initWithDictionary(written, keyFolder(), &error);
    ASSERT_NE(back, nullptr) << error.description();
    ASSERT_EQ(back->dictionaryRepresentationWithOptions(options), written);
  }
}

TEST_F(BlueprintRoundTrip, EmptyIdentifiersAndFingerprintsCountAsNoneSoThatFilesAreValid) {
  auto known = remote("https://x/known", "ID");
  auto unknown = remote("https://x/unknown", "");
  auto blueprint = Blueprint::initWithPrimaryRemoteRepository(unknown, {}, {known, unknown}, nullptr, nullptr, nullptr,
                                                              nullptr, {}, false);
  for (bool isEnforced : {false, true}) {
    known->setTrustedServerFingerprint("");
    known->setEnforceTrustedServerFingerprint(isEnforced);
    for (std::uint64_t options : {0x0, 0x1, 0x4, 0x1fc}) {
      Dictionary written = blueprint->dictionaryRepresentationWithOptions(options);
      Error error;
      EXPECT_TRUE(Blueprint::validateDictionary(written, &error)) << error.description() << written;
    }
  }
}

TEST_F(BlueprintRoundTrip, AnonymousAddressesHaveNoPasswordWhateverThatIsMadeOf) {
  auto blueprint = Blueprint::init();
  blueprint->addRemoteRepository(remote("https://bob:s3cr!t@x/y.git", "URL"), "y");
  for (std::uint64_t form : {0x0, int{QRBSourceControlWorkspaceBlueprintLegacyForm}}) {
    std::string written = blueprint->dictionaryRepresentationWithOptions(form | 0x2).jsonText();
    EXPECT_NE(written.find("https://x/y.git"), std::string::npos) << written;
    EXPECT_EQ(written.find("s3cr!t"), std::string::npos) << written;
  }
}

TEST_F(BlueprintRoundTrip, BareRevisionsAndTheRevisionsOfOthersAreWrittenOnRequestOnly) {
  auto locations = [&](std::uint64_t options) {
    return sample()->dictionaryRepresentationWithOptions(options)[QRBSourceControlWorkspaceBlueprintLocationsKey];
  };
  Dictionary without = locations(0x10);
  Dictionary with = locations(0x30);
  EXPECT_FALSE(without.contains("BBBB2222+++2000002"));
  EXPECT_EQ(with["BBBB2222+++2000002"][QRBSourceControlLocationRevisionKey], "deadbeef");
  EXPECT_FALSE(without["BBBB2222+++2000001"].contains(QRBSourceControlLocationRevisionKey));
  EXPECT_EQ(with["BBBB2222+++2000001"][QRBSourceControlLocationRevisionKey], "abc123");
  EXPECT_EQ(without["EEEE5555+++5000001"][QRBSourceControlLocationRevisionKey], "cafe");
}

TEST_F(BlueprintRoundTrip, TrustIsWrittenByTheRule) {
  struct Case {
    const char* url;
    bool enforce;
    String fingerprint;
    std::uint64_t options;
    const char* expected;  // enforced, trusted only or nothing, and whether the fingerprint is there
  };
  for (const Case& c : std::vector<Case>{{"https://x/a", true, "F", 0x4, "E+"},
                                         {"https://x/a", true, {}, 0x4, "E"},
                                         {"https://x/a", false, "F", 0x4, "T+"},
                                         {"https://x/a", false, {}, 0x4, ""},
                                         {"git@x:a", true, "F", 0x4, "E+"},
                                         {"git@x:a", false, "F", 0x4, ""},
                                         {"svn+ssh://x/a", false, "F", 0x8, ""},
                                         {"https://x/a", true, "F", 0x8, "E+"},
                                         {"https://x/a", true, "F", 0x404, "T+"},
                                         {"https://x/a", true, {}, 0x404, ""},
                                         {"git@x:a", true, "F", 0x404, ""},
                                         {"https://x/a", true, "F", 0x0, ""},
                                         {"https://x/a", true, "F", 0x400, ""}}) {
    SCOPED_TRACE(testing::Message() << c.url << " " << c.enforce << " " << c.options);
    RemotePtr repository = remote(c.url, "ID");
    repository->setEnforceTrustedServerFingerprint(c.enforce);
    repository->setTrustedServerFingerprint(c.fingerprint);
    Dictionary file =
        Blueprint::initWithSingleRemoteRepository(repository)->dictionaryRepresentationWithOptions(c.options);
    const Dictionary& entry = file[QRBSourceControlWorkspaceBlueprintRemoteRepositoriesKey].elements()[0];
    std::string found;
    if (entry.contains(QRBSourceControlWorkspaceBlueprintRemoteRepositoryEnforceTrustCertFingerprintKey)) found += "E";
    if (entry.contains(QRBSourceControlWorkspaceBlueprintRemoteRepositoryTrustSelfSignedCertKey)) found += "T";
    if (entry.contains(QRBSourceControlWorkspaceBlueprintRemoteRepositoryTrustedCertFingerprintKey)) found += "+";
    EXPECT_EQ(found, c.expected);
  }
}

TEST_F(BlueprintRoundTrip, LegacyPathsComeBackAsTheyWereWhereverThePrimaryOneLies) {
  for (const char* primary : {"Project", "Project/", "", "../Project", "a//b"}) {
    for (const char* other : {"Project/Sub", "Project/Sub/", "Project/../Lib", "Projection", "Lib/", "", "../Project/x",
                              "a//b/c", "a//bc", "Project/./x", "..", "/"}) {
      SCOPED_TRACE(std::string(primary) + " and " + other);
      auto blueprint = Blueprint::init();
      auto first = remote("https://x/first", "1");
      auto second = remote("https://x/second", "2");
      blueprint->addRemoteRepository(first, primary);
      blueprint->addRemoteRepository(second, other);
      blueprint->setPrimaryRemoteRepository(first);
      auto back = Blueprint::initWithDictionary(blueprint->dictionaryRepresentationWithOptions(0x1));
      ASSERT_NE(back, nullptr);
      ASSERT_EQ(back->remoteRepositories().size(), 2u);
      EXPECT_EQ(back->workingCopyPathForRemoteRepository(back->remoteRepositories()[0]), primary);
      EXPECT_EQ(back->workingCopyPathForRemoteRepository(back->remoteRepositories()[1]), other);
    }
  }
}

TEST_F(BlueprintRoundTrip, LegacyPathLocationsComeBackAsTheyWere) {
  for (const char* url : {"https://x/repo", "https://x/repo/"}) {
    for (const char* path : {"/trunk", "trunk/a%20b/", "/", "trunk"}) {
      SCOPED_TRACE(std::string(url) + " " + path);
      auto repository = remote(url, "ID", {}, kSubversion);
      auto blueprint = Blueprint::init();
      auto location = QRBSourceControlPathLocation::initWithRelativePath(path);
      blueprint->addRemoteRepository(repository, "x", 0, nullptr, location);
      auto back = Blueprint::initWithDictionary(blueprint->dictionaryRepresentationWithOptions(0x1));
      ASSERT_NE(back, nullptr);
      EXPECT_EQ(back->repository()->URL(), URL(url));
      ASSERT_NE(back->location(), nullptr);
      EXPECT_TRUE(back->location()->isEqual(location)) << back->location()->description();
    }
  }
}

// The fixtures are what other programs and older builds have on disk: they are never written anew to make a test pass.
// (A new one is written by running this test with --gtest_also_run_disabled_tests.)
const std::vector<std::tuple<const char*, std::uint64_t>> kFixtures = {{"minimal.oxscmblueprint", 0x2},
                                                                       {"shared.oxscmblueprint", 0x2 | 0x1f4},
                                                                       {"complete.oxscmblueprint", kAllCurrentOptions},
                                                                       {"early-keys.oxscmblueprint", 0x7fc},
                                                                       {"legacy.oxcheckout", 0x1}};

std::string bytesOf(const Blueprint& blueprint, std::uint64_t options) {
  auto bytes = (options & 1) != 0 ? blueprint.propertyListDataRepresentationWithOptions(options)
                                  : blueprint.jsonDataRepresentationWithOptions(options);
  return bytes.value_or("");
}

std::filesystem::path fixture(const char* name) {
  return std::filesystem::path(QRB_FIXTURES) / "blueprints" / name;
}

TEST_F(BlueprintRoundTrip, TheBytesOfAFixedBlueprintAreThoseOfTheFixtures) {
  for (const auto& [name, options] : kFixtures) {
    SCOPED_TRACE(name);
    EXPECT_EQ(bytesOf(*sample(), options), contentsOf(fixture(name)));
    auto back = Blueprint::initWithBlueprintFile(URL::fileURL(fixture(name).string()), keyFolder());
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(bytesOf(*back, options), contentsOf(fixture(name)));
  }
}

TEST_F(BlueprintRoundTrip, DISABLED_WriteFixturesThatAreMissing) {
  for (const auto& [name, options] : kFixtures) {
    if (!std::filesystem::exists(fixture(name))) writeFile(fixture(name).string(), bytesOf(*sample(), options));
  }
}

TEST_F(BlueprintRoundTrip, TheDocumentedExampleIsWhatItSays) {
  std::string page = contentsOf(std::filesystem::path(QRB_FIXTURES) / "../../Documentation/blueprints.md");
  std::size_t begin = page.find("```json\n") + 8;
  Error error;
  auto file = Blueprint::dictionaryFromJSONData(page.substr(begin, page.find("```", begin) - begin), &error);
  ASSERT_TRUE(file) << error.description();
  EXPECT_TRUE(Blueprint::validateDictionary(*file, &error)) << error.description();
  auto blueprint = Blueprint::initWithDictionary(*file);
  ASSERT_NE(blueprint, nullptr);
  EXPECT_THAT(namesIn(blueprint), testing::ElementsAre("MyProject", "Core", "drawings"));
  EXPECT_EQ(blueprint->projectPath(), "MyProject/MyProject.orlixproj");
  std::string locations;
  for (const RemotePtr& repository : blueprint->remoteRepositories()) {
    locations += blueprint->locationForRemoteRepository(repository)->description() + "\n";
  }
  EXPECT_EQ(locations, "Branch: main\nTag: v1.0 (@9fceb02d0ae598e95dc970b74767f19372d61af8)\nPath: /trunk/sketches/\n");
}

// Files

TEST_F(BlueprintRoundTrip, AFileIsNamedAfterTheBlueprintAndStaysInItsFolder) {
  URL saves = URL::fileURL(folder.string(), true);
  for (const auto& [name, file] : std::vector<std::pair<const char*, const char*>>{
           {"Plain", "Plain"}, {"a/b", "a-b"}, {"../../up", "..-..-up"}, {"\xc3\x9c x", "\xc3\x9c x"}, {"..", ".."}}) {
    auto blueprint = sample();
    blueprint->setName(name);
    for (auto [options, extension] : {std::pair(0x100, ".oxscmblueprint"), std::pair(0x1, ".oxcheckout")}) {
      URL saved = blueprint->saveBlueprintInFolder(saves, static_cast<std::uint64_t>(options));
      EXPECT_EQ(saved.path(), folder.string() + "/" + file + extension);
      auto back = Blueprint::initWithBlueprintFile(saved);
      ASSERT_NE(back, nullptr);
      EXPECT_EQ(back->name(), name);
      EXPECT_TRUE(back->favorite());
    }
  }
}

TEST_F(BlueprintRoundTrip, AFileWithSecretsIsTheUsersOwnEvenWhereOneOfThatNameWasNot) {
  URL saves = URL::fileURL(folder.string(), true);
  auto blueprint = sample();
  URL open = blueprint->saveBlueprintInFolder(saves, 0x0);
  EXPECT_NE(permissionsOf(open) & 0044u, 0u);
  URL secret = blueprint->saveBlueprintInFolder(saves, 0x8);
  EXPECT_EQ(secret, open);
  EXPECT_EQ(permissionsOf(secret), 0600u);
  std::filesystem::remove(secret.path().str());
  blueprint->addRemoteRepository(remote("https://bob:hunter2@x/y", "URL"), "y");
  EXPECT_EQ(permissionsOf(blueprint->saveBlueprintInFolder(saves, 0x0)), 0600u);
}

TEST_F(BlueprintRoundTrip, WhatCannotBeSavedIsSaidAndNothingIsLeft) {
  auto failure = [&](const BlueprintPtr& blueprint, const URL& saves, std::uint64_t options) {
    Error error;
    EXPECT_FALSE(blueprint->saveBlueprintInFolder(saves, options, &error));
    EXPECT_THAT(error.description(), Not(HasSubstr("s3cret")));
    return error.localizedDescription();
  };
  URL saves = URL::fileURL(folder.string() + "/saves", true);
  EXPECT_THAT(failure(sample(), saves, 0x8), HasSubstr("No such file or directory"));
  std::filesystem::create_directory(folder.string() + "/saves");
  auto unnamed = sample();
  unnamed->setName("");
  EXPECT_THAT(failure(unnamed, saves, 0), HasSubstr("without a name"));
  EXPECT_THAT(failure(sample(), URL("https://x/y"), 0), HasSubstr("file URL"));
  auto bytes = sample();
  bytes->addRemoteRepository(remote("https://x/y", "BYTES"), "caf\xe9");
  EXPECT_THAT(failure(bytes, saves, 0x8), HasSubstr("\"QRBSourceControlWorkspaceBlueprintWorkingCopyPathsKey\" "
                                                    "\"BYTES"));
  EXPECT_THAT(failure(bytes, saves, 0x1), HasSubstr("IDESourceControlProjectRelativeInstallPathDictionary"));
  auto control = sample();
  control->addRemoteRepository(remote("https://x/y", "CONTROL"), "a\rb");
  EXPECT_THAT(failure(control, saves, 0x1), HasSubstr("control characters"));
  EXPECT_TRUE(std::filesystem::is_empty(folder.string() + "/saves"));
}

}  // namespace
}  // namespace qrb::test
