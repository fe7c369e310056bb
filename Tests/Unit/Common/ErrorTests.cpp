#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "QRBSourceControlError.h"
#include "ValuePrinters.h"

namespace {

using qrb::String;
using qrb::URL;

// An error whose texts are put together; those that are one constant text stand in their table and nowhere else.
struct ErrorCase {
  qrb::Error error;
  std::int64_t code;
  const char* description;
};

URL kKey = URL::fileURL("/home/a/.ssh/id_rsa");

TEST(Errors, NameWhatTheyAreAbout) {
  const ErrorCase cases[] = {
      {QRBSourceControlError_RepositoryExists(URL::fileURL("/a/my copy", true)), -204,
       "The working copy “my copy” already exists."},
      {QRBSourceControlError_RepositoryExists(URL::fileURL("/a/\xff")), -204,
       "The working copy “\xef\xbf\xbd” already exists."},
      {QRBSourceControlError_AuthenticationSSHPublicKeyNotFound(kKey), -1033,
       "The SSH key “id_rsa” does not have a valid public key."},
      {QRBSourceControlError_InvalidURL(URL(String("svn://x")), "Git", nullptr), -10,
       "The source control operation failed because the URL \"svn://x\" cannot be used with Git."},
      {QRBSourceControlError_InvalidURL(URL(String("svn://u:s3cr!t@x")), "Git", nullptr), -10,
       "The source control operation failed because the URL \"svn://u@x\" cannot be used with Git."},
      {QRBSourceControlError_RepositoryLocked("Tools", nullptr), -203, "The repository “Tools” is locked."},
      {QRBSourceControlError_RepositoryLocked(nullptr, nullptr), -203, "The repository is locked."},
      {QRBSourceControlError_LocationNotFound(-252, nullptr, nullptr), -252,
       "The source control operation failed because the branch could not be found."},
      {QRBSourceControlError_LocationNotFound(-253, "release-1", nullptr), -253,
       "The source control operation failed because the tag \"release-1\" could not be found."},
      {QRBSourceControlError_LocationNotFound(-254, "%@", nullptr), -254,
       "The source control operation failed because the path \"%@\" could not be found."},
      {QRBSourceControlError_LocationNotFound(-251, "", nullptr), -251,
       "The source control operation failed because the revision could not be found."},
  };
  for (const ErrorCase& each : cases) {
    EXPECT_EQ(each.error.domain(), "org.qrb.SourceControlErrorDomain") << each.description;
    EXPECT_EQ(each.error.code(), each.code) << each.description;
    EXPECT_EQ(each.error.localizedDescription(), each.description);
  }
  EXPECT_EQ(QRBSourceControlError_AuthenticationSSHPublicKeyNotFound(kKey).localizedRecoverySuggestion(),
            "Ensure there is a valid SSH public key file named “id_rsa.pub” in the specified location.");
  EXPECT_EQ(QRBSourceControlError_LocationNotFound(-253, "x", nullptr).localizedRecoverySuggestion(),
            "Make sure a valid tag exists in the repository and try again.");
}

TEST(Errors, CarryTheToolsMessageAsItCameAndAnAbsentOneAsEmpty) {
  constexpr const char* key = "org.qrb.sourcecontrol.UnderlyingErrorString";
  EXPECT_EQ(QRBSourceControlError_RemoteOperationRejected("tool said %@").userInfo(key), "tool said %@");
  EXPECT_EQ(QRBSourceControlError_RemoteOperationRejected(nullptr).userInfo(key), "");
  EXPECT_EQ(QRBSourceControlError_Canceled().userInfo(key), String());
  EXPECT_EQ(QRBSourceControlError_Canceled().localizedRecoverySuggestion(), String());
}

}  // namespace
