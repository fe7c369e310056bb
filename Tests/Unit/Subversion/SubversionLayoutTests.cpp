#include <gmock/gmock.h>

#include <map>

#include "QRBSourceControlRevisionLocation.h"
#include "SubversionAddresses.h"
#include "SubversionAncestry.h"
#include "SubversionDiffParser.h"
#include "SubversionExternals.h"
#include "SubversionLayout.h"

namespace qrb::test {
namespace {

using testing::HasSubstr;

TEST(SubversionLayoutTest, isFoundAroundAnyPath) {
  const std::map<std::string, std::vector<std::string>> folders = {
      {"", {"plain", "proj", "other", "odd"}},
      {"proj", {"trunk", "branches", "tags"}},
      {"proj/trunk", {"src", "branches"}},
      {"proj/trunk/branches", {}},
      {"proj/branches", {"b"}},
      {"proj/branches/b", {"src"}},
      {"other", {"Branch", "Tag"}},
      {"other/Branch", {"x"}},
      {"odd", {"tags"}},
      {"plain", {"deep"}},
      {"plain/deep", {}},
  };
  auto listing = [&](const std::string& path) {
    auto found = folders.find(path);
    return found == folders.end() ? std::nullopt : std::optional(found->second);
  };
  struct Case {
    const char* path;
    SubversionLayout layout;
    const char* location;
  };
  const Case cases[] = {
      {"proj", {"proj/trunk", "proj/branches", "proj/tags"}, "Path: proj/"},
      {"proj/trunk", {"proj/trunk", "proj/branches", "proj/tags"}, "Branch: trunk"},
      {"proj/trunk/src", {"proj/trunk", "proj/branches", "proj/tags"}, "Path: proj/trunk/src/"},
      {"proj/trunk/branches", {"proj/trunk", "proj/branches", "proj/tags"}, "Path: proj/trunk/branches/"},
      {"proj/branches/b", {"proj/trunk", "proj/branches", "proj/tags"}, "Branch: b"},
      {"proj/branches", {"proj/trunk", "proj/branches", "proj/tags"}, "Path: proj/branches/"},
      {"proj/tags/1.0", {"proj/trunk", "proj/branches", "proj/tags"}, "Tag: 1.0"},
      {"other/Branch/x", {"other/trunk", "other/Branch", "other/Tag"}, "Branch: x"},
      {"plain/deep", {}, "Path: plain/deep/"},
      {"", {}, "Path: /"},
      {"odd", {}, "Path: odd/"},
  };
  for (const Case& each : cases) {
    SubversionLayout found = subversionDetectLayout(each.path, listing);
    EXPECT_EQ(found.primary, each.layout.primary) << each.path;
    EXPECT_EQ(found.branches, each.layout.branches) << each.path;
    EXPECT_EQ(found.tags, each.layout.tags) << each.path;
    EXPECT_EQ(found.locationOf(each.path)->description(), each.location) << each.path;
  }
  EXPECT_EQ(subversionLayoutAlong("a/trunk/b").branches, "a/branches");
  EXPECT_EQ(subversionLayoutAlong("a/b").primary, "");
}

TEST(SubversionExternalsTest, leadNowhereButToTheServerOfTheRepository) {
  const std::string root = "https://host/svn/repo";
  const std::vector<std::pair<const char*, const char*>> table = {
      {"^/lib", "https://host/svn/repo/lib"},
      {"^/../other/lib", "https://host/svn/other/lib"},
      {"^/../../../../x", nullptr},
      {"//host/svn/x", "https://host/svn/x"},
      {"//elsewhere/svn/x", nullptr},
      {"/svn/x", "https://host/svn/x"},
      {"../lib", "https://host/svn/repo/trunk/lib"},
      {"https://host/a/../b", nullptr},
      {"http://host/svn/x", nullptr},
      {"https://host:444/svn/x", nullptr},
      {"file:///srv/x", nullptr},
      {"svn+ssh://-oProxyCommand=x/y", nullptr},
      {"svn+evil://host/x", nullptr},
      {"https://host@elsewhere/x", nullptr},
  };
  for (const auto& [written, expected] : table) {
    SubversionExternalPlace place =
        subversionPlaceOf({"/wc/dir", "target", written, {}, {}}, root, root + "/trunk/dir");
    EXPECT_EQ(place.url, expected != nullptr ? expected : "") << written;
    EXPECT_EQ(place.refusal.empty(), expected != nullptr) << written << place.refusal;
  }
  // A repository of this machine shares none with others of it.
  EXPECT_FALSE(
      subversionPlaceOf({"/wc", "t", "^/../other", {}, {}}, "file:///srv/repo", "file:///srv/repo").refusal.empty());
}

TEST(SubversionAncestryTest, isTheNewestRevisionInWhichBothLinesWereOne) {
  using Segments = std::vector<SubversionSegment>;
  const Segments trunk = {{"trunk", 1, 20}};
  const Segments branch = {{"branches/b", 11, 20}, {"trunk", 1, 10}};
  const Segments nested = {{"branches/c", 16, 20}, {"branches/b", 11, 15}, {"trunk", 1, 10}};
  EXPECT_EQ(subversionCommonAncestor(trunk, branch)->revision, 10);
  EXPECT_EQ(subversionCommonAncestor(branch, nested)->revision, 15);
  EXPECT_EQ(subversionCommonAncestor(nested, branch)->path, "branches/b");
  EXPECT_FALSE(subversionCommonAncestor(trunk, {{"other", 3, 20}}));
}

TEST(SubversionDiffTest, noContentPassesForAnotherFile) {
  const std::string diff =
      "Index: a b.txt\n===================================================================\n"
      "diff --git a/trunk/a b.txt b/trunk/a b.txt\n--- a/trunk/a b.txt\t(revision 1)\n+++ b/trunk/a b.txt\t(revision "
      "2)\n"
      "@@ -1,2 +1,3 @@\n one\n-Index: evil\n+Index: evil\n+--- a/evil\n\\ No newline at end of file\n"
      "Index: new.bin\n===================================================================\n"
      "diff --git a/trunk/new.bin b/trunk/new.bin\nnew file mode 100644\n"
      "GIT binary patch\nliteral 3\nKcmZQ%\n\nliteral 0\nHcmV?d00001\n\n\nProperty changes on: trunk/new.bin\n"
      "___\nAdded: p\n## -0,0 +1 ##\n+Index: x\n";
  // Cut anywhere.
  for (std::size_t cut = 0; cut <= diff.size(); ++cut) {
    SubversionDiffParser parser;
    parser.feed(std::string_view(diff).substr(0, cut));
    parser.feed(std::string_view(diff).substr(cut));
    parser.finish();
    const auto& files = parser.files();
    ASSERT_EQ(files.size(), 2u) << cut;
    ASSERT_EQ(files[0].path, "a b.txt");
    ASSERT_EQ(files[0].additions, 2u);
    ASSERT_EQ(files[0].deletions, 1u);
    ASSERT_THAT(files[0].patch, HasSubstr("--- a/a b.txt\n+++ b/a b.txt\n@@ -1,2"));
    ASSERT_TRUE(files[1].isBinary);
    ASSERT_EQ(files[1].patch,
              "diff --git a/new.bin b/new.bin\nnew file mode 100644\nBinary files /dev/null and b/new.bin differ\n"
              "Property changes on: new.bin\n___\nAdded: p\n## -0,0 +1 ##\n+Index: x\n");
  }
}

}  // namespace
}  // namespace qrb::test
