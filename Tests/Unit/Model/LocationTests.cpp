#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ModelTesting.h"
#include "QRBSourceControlBranch.h"
#include "QRBSourceControlBranchAndTagLocations.h"
#include "QRBSourceControlLockedRevisionLocation.h"
#include "QRBSourceControlPathLocation.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlTag.h"
#include "ValuePrinters.h"

namespace {

using Branch = QRBSourceControlBranch;
using Layout = QRBSourceControlBranchAndTagLocations;
using Location = QRBSourceControlRevisionLocation;
using Locked = QRBSourceControlLockedRevisionLocation;
using Path = QRBSourceControlPathLocation;
using Tag = QRBSourceControlTag;
using LocationPtr = QRBSourceControlRevisionLocationPtr;
using qrb::Dictionary;
using qrb::String;
constexpr const char* kRevisionKey = "QRBSourceControlLocationRevisionKey";

QRBSourceControlRevisionPtr revision(const char* identifier) {
  return QRBSourceControlRevision::initWithIdentifier(identifier);
}

TEST(Locations, AreEqualByTheirOwnRules) {
  auto r1 = revision("1"), r2 = revision("2");
  auto plain = Branch::initWithBranchName("x", false);
  struct Case {
    const char* what;
    LocationPtr a, b;
    bool equal, similar;
  };
  const Case cases[] = {
      {"revisions", Location::initWithRevision(r1), Location::initWithRevision(revision("1")), true, true},
      {"other revisions", Location::initWithRevision(r1), Location::initWithRevision(r2), false, false},
      {"no revisions", Location::initWithRevision(nullptr), Location::initWithRevision(nullptr), false, false},
      {"revision against none", Location::initWithRevision(r1), Location::initWithRevision(nullptr), false, false},
      {"plain and locked", Location::initWithRevision(r1), Locked::initWithRevision(r1), false, false},
      {"branches", plain, Branch::initWithBranchName("x", false), true, true},
      {"branches at revisions", plain->locationWithRevision(r1), plain->locationWithRevision(r2), true, true},
      {"other names", plain, Branch::initWithBranchName("y", false), false, false},
      {"primary", plain, Branch::initWithBranchName("x", true), false, true},
      {"remote", plain, Branch::initWithBranchName("x", false, true), false, true},
      {"new", plain, Branch::initWithNewBranchName("x"), false, true},
      {"other remotes", Branch::initWithBranchNameRemoteName("x", false, "a"),
       Branch::initWithBranchNameRemoteName("x", false, "b"), false, true},
      {"branch and tag", plain, Tag::initWithTagName("x"), false, false},
      {"tags", Tag::initWithTagName("x"), Tag::initWithNewTagName("x"), true, true},
      {"roots", Path::initWithDictionary({{"QRBSourceControlPathIdentifierKey", ""}}), Path::rootPathLocation(), true,
       true},
      {"paths", Path::initWithRelativePath("a"), Path::initWithRelativePath("a"), true, true},
      {"directory and file", Path::initWithRelativePath("a/"), Path::initWithRelativePath("a"), false, false},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.what);
    EXPECT_EQ(each.a->isEqual(each.b), each.equal);
    EXPECT_EQ(each.b->isEqual(each.a), each.equal);
    EXPECT_EQ(each.a->isSimilar(each.b), each.similar);
    EXPECT_FALSE(each.a->isSimilar(nullptr));
    if (each.equal) {
      EXPECT_EQ(each.a->hash(), each.b->hash());
    }
  }
  EXPECT_EQ(Path::rootPathLocation()->hash(), 0u);
}

TEST(LocationDictionaries, OfAnyContentAreReadWithoutFailing) {
  const Dictionary odd[] = {nullptr,
                            7,
                            "text",
                            Dictionary::array({1}),
                            Dictionary::object(),
                            {{"QRBSourceControlBranchIdentifierKey", 3},
                             {"QRBSourceControlTagIdentifierKey", nullptr},
                             {"QRBSourceControlPathIdentifierKey", Dictionary::array()},
                             {kRevisionKey, 12}}};
  for (const Dictionary& dictionary : odd) {
    SCOPED_TRACE(dictionary.jsonText());
    EXPECT_EQ(Branch::initWithDictionary(dictionary), nullptr);
    EXPECT_EQ(Tag::initWithDictionary(dictionary), nullptr);
    EXPECT_EQ(Path::initWithDictionary(dictionary), nullptr);
    EXPECT_EQ(Location::initWithDictionary(dictionary)->revision(), nullptr);
  }
  auto branch = Branch::initWithDictionary(
      {{"QRBSourceControlBranchIdentifierKey", "x"}, {"QRBSourceControlBranchOptionsKey", "6"}});
  ASSERT_NE(branch, nullptr);
  EXPECT_EQ(branch->options(), 0u);
}

struct PathCase {
  const char *path, *parent;
  bool isDirectory;
};

TEST(PathLocations, KnowTheirParents) {
  const PathCase cases[] = {{"a/b/c", "a/b", false}, {"a/b/", "a", true}, {"a", "/", false},
                            {"/a", "/", false},      {"/", "/", true},    {"/a/b", "/a", false}};
  for (const PathCase& each : cases) {
    auto location = Path::initWithRelativePath(each.path);
    EXPECT_EQ(location->isDirectory(), each.isDirectory) << each.path;
    EXPECT_EQ(location->parentPathLocation()->relativePath(), each.parent) << each.path;
  }
  EXPECT_EQ(Path::initWithRelativePath("a")->parentPathLocation(), Path::rootPathLocation());
}

TEST(PathLocations, AreExtendedByOneSlashAndStayDirectories) {
  struct Case {
    const char *path, *appended, *expected;
  };
  const Case cases[] = {{"a", "b", "a/b"},      {"a/", "b/", "a/b/"}, {"/", "b", "/b"},
                        {"/", "b/c/", "/b/c/"}, {"a", "/b", "a/b"},   {"a", "", "a"}};
  for (const Case& each : cases) {
    EXPECT_EQ(Path::initWithRelativePath(each.path)->pathLocationByAppendingPath(each.appended)->relativePath(),
              each.expected);
  }
}

TEST(Layouts, NameTheBranchAtAPath) {
  struct Case {
    const char* path;
    String name;
    bool primary;
  };
  const Case cases[] = {
      {"branches/feature/x", "feature/x", false},
      {"trunk", "trunk", true},
      {"branches", {}, false},
      {"branches/", {}, false},
      {"branchesX/foo", "/foo", false},
      {"tags/v1", {}, false},
      {"trunk/sub", {}, false},
      {"/", {}, false},
  };
  auto standard = Layout::locationsWithStandardLayout();
  for (const Case& each : cases) {
    SCOPED_TRACE(each.path);
    auto branch = Branch::initWithBranchPathLocation(Path::initWithRelativePath(each.path), standard, true);
    ASSERT_EQ(branch != nullptr, each.name.has_value());
    if (branch == nullptr) continue;
    EXPECT_EQ(branch->name(), each.name);
    EXPECT_EQ(branch->isPrimaryBranch(), each.primary);
    EXPECT_TRUE(branch->isRemoteBranch());
  }
}

TEST(Layouts, NameTheTagAtAPath) {
  auto tagAt = [](const char* path, const QRBSourceControlBranchAndTagLocationsPtr& layout) {
    auto tag = Tag::initWithTagPathLocation(Path::initWithRelativePath(path), layout);
    return tag == nullptr ? String() : tag->name();
  };
  auto standard = Layout::locationsWithStandardLayout();
  EXPECT_EQ(tagAt("tags/v1/rc", standard), "v1/rc");
  EXPECT_EQ(tagAt("tagsX/v1", standard), "/v1");
  EXPECT_EQ(tagAt("tags", standard), String());
  EXPECT_EQ(tagAt("branches/x", standard), String());
  EXPECT_EQ(tagAt("tags/v1", Layout::locationsWithPrimaryBranchPath("trunk", "branches", "")), String());
  EXPECT_EQ(tagAt("tags/v1", nullptr), String());
}

TEST(Layouts, ThatAreIncompleteNameNoBranch) {
  auto path = Path::initWithRelativePath("branches/x");
  EXPECT_EQ(Branch::initWithBranchPathLocation(path, nullptr, false), nullptr);
  EXPECT_EQ(Branch::initWithBranchPathLocation(nullptr, Layout::locationsWithStandardLayout(), false), nullptr);
  for (auto layout : {Layout::locationsWithPrimaryBranchPath("", "branches", "tags"),
                      Layout::locationsWithPrimaryBranchPath("trunk", nullptr, "tags")}) {
    EXPECT_EQ(Branch::initWithBranchPathLocation(path, layout, false), nullptr);
    EXPECT_FALSE(layout->isCompleteForBranches());
    EXPECT_TRUE(layout->isCompleteForTags());
  }
}

TEST(Layouts, PlaceBranchesAndTags) {
  auto standard = Layout::locationsWithStandardLayout();
  auto none = Layout::locationsWithPrimaryBranchPath("", "", "");
  auto pathOf = [](const QRBSourceControlPathLocationPtr& location) {
    return location == nullptr ? String() : location->relativePath();
  };
  auto primary = Branch::initWithBranchName("whatever", true);
  auto other = Branch::initWithBranchName("feature/x", false);
  auto tag = Tag::initWithTagName("v1");
  EXPECT_EQ(pathOf(primary->pathLocationForBranchAndTagLocations(standard)), "trunk");
  EXPECT_EQ(pathOf(other->pathLocationForBranchAndTagLocations(standard)), "branches/feature/x");
  EXPECT_EQ(pathOf(tag->pathLocationForBranchAndTagLocations(standard)), "tags/v1");
  for (const auto& layout : {none, QRBSourceControlBranchAndTagLocationsPtr()}) {
    EXPECT_EQ(pathOf(primary->pathLocationForBranchAndTagLocations(layout)), String());
    EXPECT_EQ(pathOf(other->pathLocationForBranchAndTagLocations(layout)), String());
    EXPECT_EQ(pathOf(tag->pathLocationForBranchAndTagLocations(layout)), String());
  }
}

}  // namespace
