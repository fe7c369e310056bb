#include "BlueprintTesting.h"

namespace qrb::test {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;
using Pointer = json::json_pointer;

using BlueprintValidation = BlueprintTest;

std::string kPrefix = "/QRBSourceControlWorkspaceBlueprint";
const std::string kRepository = kPrefix + "RemoteRepositoriesKey/2/QRBSourceControlWorkspaceBlueprintRemoteRepository";
const std::string kStrategy = kPrefix +
                              "RemoteRepositoryAuthenticationStrategiesKey/AAAA1111+++1000001/"
                              "QRBSourceControlWorkspaceBlueprintRemoteRepository";
const std::string kLocation = kPrefix + "LocationsKey/AAAA1111+++1000001";

// A change that makes a good file bad: another value at a place, or, with none, nothing there.
struct Fault {
  std::string place;
  std::optional<json> value;
};

// The error says where by the last part of the place, unless that is only a position or an identifier.
void expectFaults(const json& good, const std::vector<Fault>& faults) {
  Error none;
  ASSERT_TRUE(Blueprint::validateDictionary(dictionaryOf(good), &none)) << none.description();
  for (const Fault& fault : faults) {
    SCOPED_TRACE(fault.place + (fault.value ? " = " + fault.value->dump() : " missing"));
    json bad = good;
    Pointer place(fault.place);
    if (fault.value) {
      bad[place] = *fault.value;
    } else {
      bad[place.parent_pointer()].erase(place.back());
    }
    Error error;
    EXPECT_FALSE(Blueprint::validateDictionary(dictionaryOf(bad), &error));
    EXPECT_EQ(error.code(), -400);
    EXPECT_THAT(error.localizedDescription(), HasSubstr(fault.place.substr(1, fault.place.find('/', 1) - 1)));
    bool isKey = place.back().ends_with("Key");
    EXPECT_THAT(error.localizedDescription(), HasSubstr(isKey ? place.back() : ""));
    EXPECT_THAT(error.description(), Not(HasSubstr("s3cret")));
    // What is not valid may still be loaded, and never harms.
    Blueprint::initWithDictionary(dictionaryOf(bad));
  }
}

TEST_F(BlueprintValidation, RefusesAWrongValueOfAnyKeyAndNamesTheKey) {
  json good = jsonOf(everythingOf(*sample()));
  const json object = json::object();
  expectFaults(good, {
                         {kPrefix + "IdentifierKey", ""},
                         {kPrefix + "NameKey", ""},
                         {kPrefix + "NameKey", 5},
                         {kPrefix + "RelativePathToProjectKey", nullptr},
                         {kPrefix + "FavoriteStatusKey", "true"},
                         {kPrefix + "PrimaryRemoteRepositoryKey", ""},
                         {kPrefix + "PrimaryRemoteRepositoryKey", "AAAA1111"},
                         {kPrefix + "PrimaryRemoteRepositoryKey", 1},
                         {kPrefix + "RemoteRepositoriesKey", object},
                         {kPrefix + "RemoteRepositoriesKey/2", object},
                         {kPrefix + "RemoteRepositoriesKey/2", "x"},
                         {kRepository + "IdentifierKey", ""},
                         {kRepository + "URLKey", ""},
                         {kRepository + "URLKey", {}},
                         {kRepository + "SystemKey", json(7)},
                         {kRepository + "SystemKey", {}},
                         {kRepository + "TrustedCertFingerprintKey", ""},
                         {kRepository + "TrustSelfSignedCertKey", false},
                         {kRepository + "TrustSelfSignedCertKey", 0},
                         {kRepository + "TrustSelfSignedCertKey", "1"},
                         {kRepository + "EnforceTrustCertFingerprintKey", false},
                         {kPrefix + "RemoteRepositoryAuthenticationStrategiesKey", json::array()},
                         {kPrefix + "RemoteRepositoryAuthenticationStrategiesKey/nobody", object},
                         {kStrategy + "AuthenticationTypeKey", {}},
                         {kStrategy + "AuthenticationTypeKey", ""},
                         {kStrategy + "AuthenticationTypeKey", "NoSuchClass"},
                         {kStrategy + "AuthenticationTypeKey", "QRBSourceControlBranch"},
                         {kStrategy + "UsernameKey", 5},
                         {kStrategy + "PasswordKey", json::array({"s3cret"})},
                         {kStrategy + "PublicKeyDataKey", false},
                         {kStrategy + "PrivateKeyDataKey", json::object({{"s3cret", "s3cret"}})},
                         {kLocation, "x"},
                         {kLocation + "/QRBSourceControlWorkspaceBlueprintLocationTypeKey", ""},
                         {kLocation + "/QRBSourceControlWorkspaceBlueprintLocationTypeKey", "QRBSourceControlRevision"},
                         {kPrefix + "LocationsKey/nobody", object},
                         {kPrefix + "WorkingCopyPathsKey", nullptr},
                         {kPrefix + "WorkingCopyPathsKey/AAAA1111+++1000001", 1},
                         {kPrefix + "WorkingCopyPathsKey/nobody", "x"},
                         {kPrefix + "WorkingCopyStatesKey/AAAA1111+++1000001", "1"},
                         {kPrefix + "WorkingCopyStatesKey/AAAA1111+++1000001", -1},
                         {kPrefix + "WorkingCopyStatesKey/AAAA1111+++1000001", 1.5},
                         {kPrefix + "WorkingCopyRepositoryLocationsKey/CCCC3333+++3000001", "trunk"},
                         {kPrefix + "WorkingCopyRepositoryLocationsKey/CCCC3333+++3000001/" +
                              QRBSourceControlWorkingCopyRepositoryTagsLocationKey,
                          17},
                     });
}

TEST_F(BlueprintValidation, RefusesAWrongValueOfAnyKeyOfTheLegacyFormToo) {
  json good = jsonOf(sample()->dictionaryRepresentationWithOptions(0x1));
  std::string configuration = "/IDESourceControlProjectWCConfigurations/1/";
  expectFaults(good, {
                         {"/IDESourceControlProjectVersion", 109},
                         {"/IDESourceControlProjectIdentifier", ""},
                         {"/IDESourceControlProjectName", 5},
                         {"/IDESourceControlProjectPath", ""},
                         {"/IDESourceControlProjectFavoriteDictionaryKey", "yes"},
                         {"/IDESourceControlProjectWCCIdentifier", "nobody"},
                         {"/IDESourceControlProjectWCConfigurations", json::object()},
                         {configuration + "IDESourceControlWCCIdentifierKey", {}},
                         {configuration + "IDESourceControlWCCName", 5},
                         {configuration + "IDESourceControlRepositoryExtensionIdentifierKey", ""},
                         {configuration + "IDESourceControlRepositoryTrunkRelativeLocationKey", true},
                         {"/IDESourceControlProjectRepositoryRootDictionary/AAAA1111+++1000001", ""},
                         {"/IDESourceControlProjectRepositoryRootDictionary/nobody", "https://x"},
                         {"/IDESourceControlProjectOriginsDictionary/AAAA1111+++1000001", 1},
                         {"/IDESourceControlProjectRelativeInstallPathDictionary/AAAA1111+++1000001", nullptr},
                         {"/IDESourceControlProjectRequiredConfigurationsDictionary/AAAA1111+++1000001", "yes"},
                     });
}

TEST_F(BlueprintValidation, LeavesOpenWhatMayBeMissingAndIgnoresWhatItDoesNotKnow) {
  json file = jsonOf(everythingOf(*sample()));
  file["Unknown"] = {1, 2};
  file[Pointer(kRepository + "Unknown")] = nullptr;
  file[Pointer(kLocation)].erase("QRBSourceControlWorkspaceBlueprintLocationTypeKey");
  file[Pointer(kRepository + "TrustSelfSignedCertKey")] = 1;
  for (const char* key : {"NameKey", "IdentifierKey", "PrimaryRemoteRepositoryKey", "LocationsKey"}) {
    file.erase(kPrefix.substr(1) + key);
  }
  Error error;
  EXPECT_TRUE(Blueprint::validateDictionary(dictionaryOf(file), &error)) << error.description();
  EXPECT_TRUE(Blueprint::validateDictionary({{QRBSourceControlWorkspaceBlueprintVersion, 202}}));
  EXPECT_FALSE(Blueprint::validateDictionary({{QRBSourceControlWorkspaceBlueprintVersion, 201}}));
  EXPECT_FALSE(Blueprint::validateDictionary(Dictionary::array(), &error));
  EXPECT_THAT(error.localizedDescription(), HasSubstr("IDESourceControlProjectVersion"));
}

}  // namespace
}  // namespace qrb::test
