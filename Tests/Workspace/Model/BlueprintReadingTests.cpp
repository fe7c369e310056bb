#include <sys/stat.h>

#include "BlueprintTesting.h"

namespace qrb::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

using BlueprintReading = BlueprintTest;

constexpr const char* kVersionKey = QRBSourceControlWorkspaceBlueprintVersion;
constexpr const char* kLegacyVersionKey = QRBSourceControlLegacyWorkspaceBlueprintVersionKey;
constexpr const char* kRepositoriesKey = QRBSourceControlWorkspaceBlueprintRemoteRepositoriesKey;
constexpr const char* kIdentifierKey = QRBSourceControlWorkspaceBlueprintRemoteRepositoryIdentifierKey;
constexpr const char* kURLKey = QRBSourceControlWorkspaceBlueprintRemoteRepositoryURLKey;
constexpr const char* kSystemKey = QRBSourceControlWorkspaceBlueprintRemoteRepositorySystemKey;
constexpr const char* kStrategiesKey = QRBSourceControlWorkspaceBlueprintRemoteRepositoryAuthenticationStrategiesKey;
constexpr const char* kPrivateKeyKey = QRBSourceControlWorkspaceBlueprintRemoteRepositoryPrivateKeyDataKey;

std::vector<std::string> URLsOf(const BlueprintPtr& blueprint) {
  std::vector<std::string> urls;
  for (const RemotePtr& repository : blueprint->remoteRepositories()) {
    urls.push_back(repository->URL().absoluteString().str());
  }
  return urls;
}

Dictionary entry(const char* identifier, const char* url, const char* system = kGit) {
  return {{kIdentifierKey, identifier}, {kURLKey, url}, {kSystemKey, system}};
}

Dictionary fileOf(const Dictionary::Array& entries) {
  return {{kVersionKey, 204}, {kRepositoriesKey, Dictionary::array(entries)}};
}

TEST_F(BlueprintReading, TheVersionSaysWhichFormIsReadIfAny) {
  struct Case {
    Dictionary file;
    const char* name;  // that the form has, or null where none is read
  };
  auto file = [](Dictionary versions) {
    versions[QRBSourceControlWorkspaceBlueprintNameKey] = "current";
    versions[QRBSourceControlLegacyWorkspaceBlueprintNameKey] = "legacy";
    return versions;
  };
  for (const Case& c : std::vector<Case>{{file({{kVersionKey, 201}}), nullptr},
                                         {file({{kVersionKey, 202}}), "current"},
                                         {file({{kVersionKey, 203}}), "current"},
                                         {file({{kVersionKey, 204.0}}), "current"},
                                         {file({{kVersionKey, 999}}), "current"},
                                         {file({{kVersionKey, "204"}}), nullptr},
                                         {file({{kVersionKey, true}}), nullptr},
                                         {file({{kLegacyVersionKey, 109}}), nullptr},
                                         {file({{kLegacyVersionKey, 110}}), "legacy"},
                                         {file({{kVersionKey, 201}, {kLegacyVersionKey, 111}}), "legacy"},
                                         {file({{kVersionKey, 202}, {kLegacyVersionKey, 111}}), "current"},
                                         {file(Dictionary::object()), nullptr},
                                         {Dictionary::array(), nullptr}}) {
    SCOPED_TRACE(c.file.jsonText());
    Error error;
    auto blueprint = Blueprint::initWithDictionary(c.file, {}, &error);
    ASSERT_EQ(blueprint != nullptr, c.name != nullptr);
    EXPECT_EQ(static_cast<bool>(error), blueprint == nullptr);
    if (blueprint != nullptr) {
      EXPECT_EQ(blueprint->name(), c.name);
      EXPECT_FALSE(blueprint->_id().empty());
    } else {
      EXPECT_EQ(error.code(), -400);
      EXPECT_THAT(error.localizedDescription(), HasSubstr(kVersionKey));
    }
  }
}

TEST_F(BlueprintReading, WhatIsNoBlueprintGivesNoneAndSaysWhereItIsWrong) {
  std::string deep(100, '[');
  for (const auto& [text, reason] :
       std::vector<std::pair<std::string, const char*>>{{"", "line 1"},
                                                        {"{\n \"a\": tru", "line 2"},
                                                        {"[1]", "is none"},
                                                        {"null", "is none"},
                                                        {"{\"a\":\"\xff\"}", "line 1"},
                                                        {deep + std::string(100, ']'), "nested too deeply"},
                                                        {"{\"hunter2\": \"hunter2\", hunter2", "line 1"}}) {
    SCOPED_TRACE(text);
    Error error;
    EXPECT_EQ(Blueprint::initWithJSONData(text, {}, &error), nullptr);
    EXPECT_THAT(error.localizedDescription(), HasSubstr(reason));
    EXPECT_THAT(error.description(), Not(HasSubstr("hunter2")));
  }
}

TEST_F(BlueprintReading, AFileThatCannotBeReadIsNamed) {
  auto problem = [&](const std::string& path) {
    Error error;
    EXPECT_EQ(Blueprint::initWithBlueprintFile(URL::fileURL(path), {}, &error), nullptr);
    EXPECT_THAT(error.localizedDescription(), HasSubstr(path));
    return error.localizedDescription();
  };
  std::string path = folder.string() + "/x.oxscmblueprint";
  EXPECT_THAT(problem(path), HasSubstr("No such file"));
  EXPECT_THAT(problem(folder.string()), HasSubstr("directory"));
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
  EXPECT_THAT(problem(path), HasSubstr("could not be read"));
  std::string legacy = folder.string() + "/x.oxcheckout";
  writeFile(legacy, "{\"" + std::string(kVersionKey) + "\": 204}");
  EXPECT_THAT(problem(legacy), HasSubstr("property list"));
}

TEST_F(BlueprintReading, RepositoriesThatCannotBeBuiltAreLeftOutAndNamed) {
  Dictionary file = fileOf({entry("1", "https://x/b"), entry("2", ""), entry("3", "https://x/\x01"),
                            entry("4", "https://x/a", "org.example.unknown"), entry("5", "git@x:c")});
  file[kRepositoriesKey].append("no dictionary");
  file[kRepositoriesKey].append({{kIdentifierKey, "6"}, {kURLKey, 17}, {kSystemKey, kGit}});
  file[kRepositoriesKey].append({{kURLKey, "https://x/d"}, {kSystemKey, kGit}});
  auto blueprint = Blueprint::initWithDictionary(file);
  ASSERT_NE(blueprint, nullptr);
  EXPECT_THAT(URLsOf(blueprint), ElementsAre("https://x/b", "git@x:c", "https://x/d"));
  EXPECT_THAT(blueprint->leftOutOnReading(), ElementsAre("2: its URL cannot be used", "3: its URL cannot be used",
                                                         "4: no installed plug-in serves its system",
                                                         "?: its URL cannot be used", "6: its URL cannot be used"));
}

TEST_F(BlueprintReading, ThePrimaryRepositoryComesFirstAndTheOthersByTheirNamesWhateverTheFileSays) {
  Dictionary file = fileOf({entry("1", "https://x/zebra"), entry("2", "https://x/Apricot"),
                            entry("3", "https://y/mango"), entry("4", "git@x:banana.git")});
  file[QRBSourceControlWorkspaceBlueprintPrimaryRemoteRepositoryKey] = "3";
  EXPECT_THAT(URLsOf(Blueprint::initWithDictionary(file)),
              ElementsAre("https://y/mango", "https://x/Apricot", "git@x:banana.git", "https://x/zebra"));
}

TEST_F(BlueprintReading, SecondaryIdentifiersAreNeededOnlyWhereTwoRepositoriesShareOne) {
  auto shared = Blueprint::initWithDictionary(fileOf({entry("A+++1", "https://x/1"), entry("A+++2", "https://x/2")}));
  EXPECT_TRUE(shared->_needsToUseSecondaryIdentifiers());
  auto second = shared->remoteRepositoryForSerializedIdentifier("A+++2");
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(second->URL(), URL("https://x/2"));
  EXPECT_EQ(shared->remoteRepositoryForSerializedIdentifier("A"), nullptr);
  EXPECT_EQ(shared->serializedIdentifierForRepository(second), "A+++2");
  EXPECT_EQ(shared->serializedIdentifierForRepository(remote("https://z", "A", "1")), "A+++1");
  EXPECT_EQ(shared->serializedIdentifierForRepository(remote("https://z", "A", "3")), String());
  ASSERT_TRUE(shared->removeRemoteRepository(second));
  EXPECT_EQ(shared->serializedIdentifierForRepository(remote("https://z", "A", "3")), "A");
  EXPECT_NE(shared->remoteRepositoryForSerializedIdentifier("A+++3"), nullptr);
}

// Key material

class BlueprintKeys : public BlueprintTest {
 protected:
  Dictionary file(const char* url = "git@x:lib") const {
    Dictionary keys = fileOf({entry("K", url)});
    keys[kStrategiesKey]["K"] = {{QRBSourceControlWorkspaceBlueprintRemoteRepositoryAuthenticationTypeKey,
                                  "QRBSourceControlSSHKeysAuthenticationStrategy"},
                                 {QRBSourceControlWorkspaceBlueprintRemoteRepositoryUsernameKey, "git"},
                                 {QRBSourceControlWorkspaceBlueprintRemoteRepositoryPasswordKey, "phrase"},
                                 {QRBSourceControlWorkspaceBlueprintRemoteRepositoryPublicKeyDataKey, "PUBLIC"},
                                 {kPrivateKeyKey, "PRIVATE"}};
    return keys;
  }

  static QRBSourceControlSSHKeysAuthenticationStrategyPtr strategyOf(const BlueprintPtr& blueprint) {
    return std::dynamic_pointer_cast<const QRBSourceControlSSHKeysAuthenticationStrategy>(
        blueprint->repository()->authenticationStrategy());
  }
};

TEST_F(BlueprintKeys, LandInFilesOfTheUsersOwn) {
  auto keys = strategyOf(Blueprint::initWithDictionary(file(), keyFolder()));
  ASSERT_NE(keys, nullptr);
  EXPECT_EQ(keys->username(), "git");
  EXPECT_EQ(keys->privateKeyPassword(), "phrase");
  for (const auto& [url, text] : {std::pair(keys->privateKeyFile(), "PRIVATE"), {keys->publicKeyFile(), "PUBLIC"}}) {
    std::string path = url.path().str();
    EXPECT_THAT(path, testing::StartsWith(keyFolder().path().str() + "/"));
    EXPECT_EQ(contentsOf(path), text);
    struct stat status;
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777u, 0600u);
  }
}

TEST_F(BlueprintKeys, LeaveNothingBehindWhereTheyCannotBeWrittenOrUsed) {
  writeFile(folder.string() + "/keys", "in the way");
  auto blocked = strategyOf(Blueprint::initWithDictionary(file(), keyFolder()));
  ASSERT_NE(blocked, nullptr);
  EXPECT_FALSE(blocked->privateKeyFile());
  EXPECT_EQ(blocked->privateKeyPassword(), "phrase");
  std::filesystem::remove(folder.string() + "/keys");

  auto homeless = strategyOf(Blueprint::initWithDictionary(file()));
  ASSERT_NE(homeless, nullptr);
  EXPECT_FALSE(homeless->privateKeyFile());

  EXPECT_EQ(strategyOf(Blueprint::initWithDictionary(file("https://x/lib"), keyFolder())), nullptr);
  Dictionary halved = file();
  halved[kStrategiesKey]["K"].remove(QRBSourceControlWorkspaceBlueprintRemoteRepositoryPublicKeyDataKey);
  EXPECT_FALSE(strategyOf(Blueprint::initWithDictionary(halved, keyFolder()))->privateKeyFile());

  for (const auto& found : std::filesystem::recursive_directory_iterator(folder.path())) {
    EXPECT_FALSE(found.is_regular_file()) << found.path();
  }
}

TEST_F(BlueprintKeys, AndPasswordsAreInNoDescription) {
  auto blueprint = sample();
  EXPECT_THAT(blueprint->description(), Not(HasSubstr("s3cret")));
  for (const RemotePtr& repository : blueprint->remoteRepositories()) {
    EXPECT_THAT(repository->description(), Not(HasSubstr("s3cret")));
  }
}

// The legacy form

Dictionary configuration(const char* identifier, const char* name, const char* system = "public.vcs.subversion") {
  return {{QRBSourceControlLegacyWorkspaceWCCIdentifierKey, identifier},
          {QRBSourceControlLegacyWorkspaceWCCNameKey, name},
          {QRBSourceControlLegacyWorkspaceSystemIdentifierKey, system}};
}

TEST_F(BlueprintReading, TheLegacyFormIsReadByItsRules) {
  Dictionary core = configuration("L+++2", "Core");
  core["IDESourceControlRepositoryTagsRelativeLocationKey"] = "labels";
  Dictionary file = {
      {kLegacyVersionKey, 110},
      {"IDESourceControlProjectWCCIdentifier", "P+++1"},
      {"IDESourceControlProjectWCConfigurations",
       Dictionary::array({core, configuration("P+++1", "MyProject"), configuration("O+++3", "Origin", "public.vcs.git"),
                          configuration("N+++4", "No URL"), configuration("U+++5", "Unknown", "public.vcs.unknown")})},
      {"IDESourceControlProjectRepositoryRootDictionary",
       {{"P+++1", "https://x/p"}, {"L+++2", "https://x/l"}, {"U+++5", "https://x/u"}}},
      {"IDESourceControlProjectOriginsDictionary",
       {{"P+++1", "https://x/p/trunk/Sources"}, {"L+++2", "https://y/elsewhere"}, {"O+++3", "git@x:o"}}},
      {"IDESourceControlProjectRelativeInstallPathDictionary",
       {{"P+++1", "Project"}, {"L+++2", "Project/../Libraries/Core"}, {"O+++3", "Other//Place"}}},
      {"IDESourceControlProjectRequiredConfigurationsDictionary", {{"P+++1", true}, {"L+++2", false}}}};
  auto blueprint = Blueprint::initWithDictionary(file);
  ASSERT_NE(blueprint, nullptr);
  EXPECT_THAT(blueprint->leftOutOnReading(),
              ElementsAre("N+++4: it has no URL that can be used", "U+++5: no installed plug-in serves its system"));
  auto found = [&](const char* identifier) { return blueprint->remoteRepositoryForSerializedIdentifier(identifier); };
  auto primary = found("P");
  auto library = found("L");
  auto origin = found("O");
  ASSERT_TRUE(primary != nullptr && library != nullptr && origin != nullptr);
  EXPECT_EQ(blueprint->primaryRemoteRepository(), primary);
  EXPECT_EQ(primary->secondaryIdentifier(), "1");
  EXPECT_EQ(primary->sourceControlSystem()->plugInIdentifier(), kSubversion);
  EXPECT_EQ(blueprint->workingCopyPathForRemoteRepository(primary), "MyProject");
  EXPECT_EQ(blueprint->locationForRemoteRepository(primary)->description(), "Path: /trunk/Sources");
  EXPECT_EQ(blueprint->workingCopyStateForRemoteRepository(primary), 1u);
  EXPECT_EQ(layoutOf(blueprint, primary), "none");
  EXPECT_EQ(blueprint->workingCopyPathForRemoteRepository(library), "Libraries/Core");
  EXPECT_EQ(blueprint->locationForRemoteRepository(library)->description(), "Path: https://y/elsewhere");
  EXPECT_EQ(blueprint->workingCopyStateForRemoteRepository(library), 0u);
  EXPECT_THAT(layoutOf(blueprint, library), HasSubstr("Tags: Path: labels"));
  EXPECT_EQ(origin->URL(), URL("git@x:o"));
  EXPECT_EQ(blueprint->workingCopyPathForRemoteRepository(origin), "Other//Place");
  EXPECT_EQ(blueprint->locationForRemoteRepository(origin), nullptr);
  EXPECT_TRUE(blueprint->workingCopyStates()->contains(origin));
}

}  // namespace
}  // namespace qrb::test
