#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "QRBSourceControlError.h"
#include "ValuePrinters.h"

namespace {

using qrb::String;
using qrb::URL;

// One line of the contract that hosts and plug-ins compare errors by. `entries` counts the user info.
struct ErrorCase {
  qrb::Error error;
  std::int64_t code;
  const char* description;
  const char* suggestion;
  String underlying;
  std::size_t entries;
};

const String kMessage = "tool said no";
const URL kKey = URL::fileURL("/home/a/.ssh/id_rsa");

std::vector<ErrorCase> errorsWithoutUnderlyingMessage() {
  const char* repositoryExists =
      "The location is already under source control. No additional working copies were created.";
  const char* pair = "Ensure there is a valid SSH key pair in the specified location.";
  return {
      {QRBSourceControlError_Canceled(), -5, "The source control operation was canceled.", nullptr, {}, 1},
      {QRBSourceControlError_WorkingCopyNeedsUpgrade(),
       -110,
       "This working copy needs to be upgraded to support the PlugIn installed.",
       "The working copy was made using an older PlugIn and needs to be upgraded before it can be used.",
       {},
       2},
      {QRBSourceControlError_WorkingCopyTooNew(),
       -111,
       "The working copy is from a newer version of the PlugIn and cannot be used.",
       "The working copy needs to be checked out with this version of the PlugIn in order to be compatible.",
       {},
       2},
      {QRBSourceControlError_WorkingCopyUpgradeNotNeeded(),
       -112,
       "This working copy does not need to be upgraded.",
       nullptr,
       {},
       1},
      {QRBSourceControlError_RepositoryExists(URL::fileURL("/a/my copy", true)),
       -204,
       "The working copy “my copy” already exists.",
       repositoryExists,
       {},
       2},
      {QRBSourceControlError_RepositoryExists(URL::fileURL("/a/\xff")),
       -204,
       "The working copy “\xef\xbf\xbd” already exists.",
       repositoryExists,
       {},
       2},
      {QRBSourceControlError_RepositoryExists({}),
       -204,
       "The working copy “(null)” already exists.",
       repositoryExists,
       {},
       2},
      {QRBSourceControlError_RemoteRepositoryOperationInvalid(),
       -302,
       "The source control operation failed because it cannot be performed on a remote repository.",
       nullptr,
       {},
       1},
      {QRBSourceControlError_RemoteRepositoryNameInvalid(),
       -303,
       "The name “%@” is not a valid remote repository name.",
       nullptr,
       {},
       1},
      {QRBSourceControlError_SystemUnusable(),
       -501,
       "The source control system for the repository could not be loaded.",
       nullptr,
       {},
       1},
      {QRBSourceControlError_SystemDistributedRepositoriesUnsupported(),
       -502,
       "This repository does not support distributed remote repositories.",
       nullptr,
       {},
       1},
      {QRBSourceControlError_SystemBrowsingRepositoriesUnsupported(),
       -503,
       "This repository does not support browsing.",
       nullptr,
       {},
       1},
      {QRBSourceControlError_SystemRootURLOfRepositoriesUnsupported(),
       -504,
       "This repository does not support subpaths in the URL.",
       nullptr,
       {},
       1},
      {QRBSourceControlError_BranchAndTagLocationsRequired(),
       -505,
       "This repository requires setting branch and tag locations before referencing branches or tags from it.",
       nullptr,
       {},
       1},
      {QRBSourceControlError_SystemBranchAndTagLocationsUnsupported(),
       -506,
       "This repository does not support setting branch and tag locations.",
       nullptr,
       {},
       1},
      {QRBSourceControlError_AuthenticationStrategyUnsupported(),
       -1001,
       "Authentication failed because no authentication credentials were provided.",
       "Provide valid authentication credentials for accessing the server and try again.",
       {},
       2},
      {QRBSourceControlError_AuthenticationSSHKeyInvalid(kKey),
       -1030,
       "The SSH key “id_rsa” is not valid.",
       pair,
       {},
       2},
      {QRBSourceControlError_AuthenticationSSHKeyNotFound(kKey),
       -1031,
       "The SSH key “id_rsa” does not exist.",
       "Ensure there is a valid SSH private key file in the specified location.",
       {},
       2},
      {QRBSourceControlError_AuthenticationSSHKeyPermissionsInvalid(kKey),
       -1032,
       "The SSH key “id_rsa” does not have valid permissions.",
       "Ensure the permissions are correctly set on the SSH key pair in the specified location.",
       {},
       2},
      {QRBSourceControlError_AuthenticationSSHPublicKeyNotFound(kKey),
       -1033,
       "The SSH key “id_rsa” does not have a valid public key.",
       "Ensure there is a valid SSH public key file named “id_rsa.pub” in the specified location.",
       {},
       2},
  };
}

std::vector<ErrorCase> errorsWithUnderlyingMessage(const String& message) {
  String kept = message.valueOr("");
  const char* remoteMissing = "Make sure a valid repository exists at the specified location and try again.";
  const char* locked = "Make sure any other operations on the repository are finished and try again.";
  const char* untrusted = "A secure connection to the server cannot be established as the server cannot be trusted.";
  return {
      {QRBSourceControlError_InvalidURL(URL(String("svn://x")), "Git", message), -10,
       "The source control operation failed because the URL \"svn://x\" cannot be used with Git.",
       "Make sure the URL is valid and try again.", kept, 3},
      {QRBSourceControlError_WorkingCopyNotFound(message), -100,
       "The source control operation failed because no working copy could be found.",
       "Make sure the file is in a valid working copy and try again.", kept, 3},
      {QRBSourceControlError_RepositoryNotFound(message), -200,
       "The source control operation failed because no repository could be found.", remoteMissing, kept, 3},
      {QRBSourceControlError_RepositoryLocked("Tools", message), -203, "The repository “Tools” is locked.", locked,
       kept, 3},
      {QRBSourceControlError_RepositoryLocked(nullptr, message), -203, "The repository is locked.", locked, kept, 3},
      {QRBSourceControlError_RemoteRepositoryNotFound(message), -300, "The remote repository could not be found.",
       remoteMissing, kept, 3},
      {QRBSourceControlError_RemoteOperationUpToDate(message), -602, "The repository is up to date.",
       "The repository already contains all changes.", kept, 3},
      {QRBSourceControlError_RemoteOperationOutOfDate(message), -602, "The local repository is out of date.",
       "Make sure all changes have been pulled from the remote repository and try again.", kept, 3},
      {QRBSourceControlError_RemoteOperationRejected(message), -604, "The remote repository rejected commits.",
       "Make sure you have permission to push to the remote repository and try again.", kept, 3},
      {QRBSourceControlError_RepositoryMidOperation(message), -605, "The repository has an uncompleted operation.",
       "The operation could not be completed because the repository has an operation that must be completed first. "
       "Finish any existing operations with this repository and try again.",
       kept, 3},
      {QRBSourceControlError_AuthenticationCredentialsInvalid(message), -1002,
       "Authentication failed because the user name or password was incorrect.",
       "Verify the user name and password were entered correctly and try again.", kept, 3},
      {QRBSourceControlError_AuthenticationSSLCertificateInvalid(message), -1003,
       "The server SSL certificate failed to verify.", untrusted, kept, 3},
      {QRBSourceControlError_AuthenticationSSHFingerprintInvalid(message, "SHA256:x"), -1004,
       "The server SSH fingerprint failed to verify.", untrusted, kept, 4},
      {QRBSourceControlError_AuthenticationPermissionDenied(message), -1020,
       "Permission was denied accessing files for the repository.",
       "Ensure you have permissions to access these files in the repository.", kept, 3},
      {QRBSourceControlError_LocationNotFound(-250, "x", message), -250,
       "The source control operation failed because the location \"x\" could not be found.",
       "Make sure a valid location exists in the repository and try again.", kept, 3},
      {QRBSourceControlError_LocationNotFound(-252, "feature", message), -252,
       "The source control operation failed because the branch \"feature\" could not be found.",
       "Make sure a valid branch exists in the repository and try again.", kept, 3},
      {QRBSourceControlError_LocationNotFound(-252, nullptr, message), -252,
       "The source control operation failed because the branch could not be found.",
       "Make sure a valid branch exists in the repository and try again.", kept, 3},
      {QRBSourceControlError_LocationNotFound(-253, "release-1", message), -253,
       "The source control operation failed because the tag \"release-1\" could not be found.",
       "Make sure a valid tag exists in the repository and try again.", kept, 3},
      {QRBSourceControlError_LocationNotFound(-254, "%@", message), -254,
       "The source control operation failed because the path \"%@\" could not be found.",
       "Make sure a valid path exists in the repository and try again.", kept, 3},
      {QRBSourceControlError_LocationNotFound(-251, "", message), -251,
       "The source control operation failed because the revision could not be found.",
       "Make sure a valid revision exists in the repository and try again.", kept, 3},
      {QRBSourceControlError_LocationNotFound(7, "", message), 7,
       "The source control operation failed because the revision could not be found.",
       "Make sure a valid revision exists in the repository and try again.", kept, 3},
  };
}

void expectAll(const std::vector<ErrorCase>& cases) {
  for (const ErrorCase& each : cases) {
    SCOPED_TRACE(each.description);
    EXPECT_EQ(each.error.domain(), "org.qrb.SourceControlErrorDomain");
    EXPECT_EQ(each.error.code(), each.code);
    EXPECT_EQ(each.error.localizedDescription(), each.description);
    EXPECT_EQ(each.error.localizedRecoverySuggestion(), String(each.suggestion));
    EXPECT_EQ(each.error.userInfo("org.qrb.sourcecontrol.UnderlyingErrorString"), each.underlying);
    EXPECT_EQ(each.error.userInfo().size(), each.entries);
  }
}

TEST(Errors, WithoutAToolsMessageSayWhatFailedAndWhatToDo) {
  expectAll(errorsWithoutUnderlyingMessage());
}

TEST(Errors, CarryTheToolsMessageAsItCame) {
  expectAll(errorsWithUnderlyingMessage(kMessage));
}

TEST(Errors, KeepAnAbsentMessageAsAnEmptyOne) {
  expectAll(errorsWithUnderlyingMessage(nullptr));
}

TEST(Errors, CarryTheFingerprintThatFailedIfOnlyAsAnEmptyText) {
  constexpr const char* key = "org.qrb.sourcecontrol.SSHFingerprint";
  EXPECT_EQ(QRBSourceControlError_AuthenticationSSHFingerprintInvalid(nullptr, "SHA256:x").userInfo(key), "SHA256:x");
  EXPECT_EQ(QRBSourceControlError_AuthenticationSSHFingerprintInvalid(nullptr, nullptr).userInfo(key), "");
}

TEST(Errors, OfALostServiceBelongToTheGeneralDomain) {
  qrb::Error error = QRBSourceControlError_PlugInCommunicationFailure();
  EXPECT_EQ(error.domain(), "QRBGeneralErrorDomain");
  EXPECT_EQ(error.code(), 4097);
  EXPECT_EQ(error.localizedDescription(), R"(Couldn\U2019t communicate with a helper application.)");
  EXPECT_EQ(error.localizedRecoverySuggestion(),
            "Try your operation again. If that fails, quit and relaunch the application and try again.");
  EXPECT_EQ(error.userInfo().size(), 2u);
}

}  // namespace
