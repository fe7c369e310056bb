#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "QRBSourceControlIdentifiers.h"
#include "ValuePrinters.h"

namespace {

using qrb::String;

String identifierOf(const char* url, const char* salt = "SALT") {
  return identifierFromURL(qrb::URL(String(url)), salt);
}

TEST(DerivedIdentifier, IsSevenUpperCaseDigitsOfTheDigestOfHostNameAndSalt) {
  // printf 'server-project-salt' | sha1sum
  EXPECT_EQ(identifierOf("https://server/team/project.git"), "36D1840");
  // printf '(null)-(null)-salt' | sha1sum
  EXPECT_EQ(identifierFromURL({}, "salt"), "F63E708");
}

TEST(DerivedIdentifier, DependsOnHostLastNameAndSaltOnly) {
  String identifier = identifierOf("https://server/team/project.git");
  for (const char* same : {"http://server/team/project.git", "https://u:p@server:99/other/project.svn",
                           "git@server:x/y/project.git", "git@SERVER:Project", "https://server/project/"}) {
    EXPECT_EQ(identifierOf(same), identifier) << same;
  }
  EXPECT_NE(identifierOf("https://other/team/project.git"), identifier);
  EXPECT_NE(identifierOf("https://server/project/other"), identifier);
  EXPECT_NE(identifierOf("https://server/team/project.git", "other salt"), identifier);
}

struct SplitCase {
  const char* identifier;
  const char* primary;
  const char* secondary;
};

TEST(SerializedIdentifier, DividesAtTheFirstSeparator) {
  const SplitCase cases[] = {
      {"ABD", "ABD", nullptr},   {"ABD+++", "ABD", nullptr}, {"+++XYZ", "", "XYZ"}, {"A+++B+++C", "A", "B+++C"},
      {"A++B", "A++B", nullptr}, {"A++++B", "A", "+B"},      {"+++", "", nullptr},  {"", "", nullptr},
  };
  for (const SplitCase& each : cases) {
    EXPECT_EQ(primaryIdentifier(each.identifier), each.primary) << each.identifier;
    EXPECT_EQ(secondaryIdentifier(each.identifier), String(each.secondary)) << each.identifier;
  }
}

}  // namespace
