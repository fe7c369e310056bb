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

TEST(SerializedIdentifier, LeavesTheSecondarySlotAloneWithoutASeparator) {
  String secondary = "as it was";
  splitIdentifier("ABD", nullptr, &secondary);
  EXPECT_EQ(secondary, "as it was");
  splitIdentifier("ABD+++", nullptr, &secondary);
  EXPECT_EQ(secondary, String());
}

TEST(SerializedIdentifier, IsDividedIntoItsOwnPlace) {
  String identifier = "A+++B";
  String secondary;
  splitIdentifier(identifier, &identifier, &secondary);
  EXPECT_EQ(identifier, "A");
  EXPECT_EQ(secondary, "B");
}

TEST(SerializedIdentifier, ComesBackFromItsParts) {
  EXPECT_EQ(mergeIdentifiers("A", "B"), "A+++B");
  EXPECT_EQ(mergeIdentifiers("A", nullptr), "A");
  EXPECT_EQ(mergeIdentifiers("A", ""), "A+++");
  EXPECT_EQ(secondaryIdentifier(mergeIdentifiers("A", "B+++C")), "B+++C");
}

}  // namespace
