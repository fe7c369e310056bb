#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "GitNetworkSettings.h"
#include "GitPushPlan.h"
#include "GitPushReport.h"

using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const std::string settingsText =
    "remote.origin.url\nhttps://h/x\0remote.origin.fetch\n+refs/heads/*:refs/remotes/origin/*\0"
    "remote.a.b.url\n/srv/x\0remote.a.b.pushurl\nssh://h/x\0remote.a.b.fetch\nrefs/heads/main:refs/kept/main\0"
    "remote.origin.tagopt\n--no-tags\0remote.pushdefault\nx\0"
    "branch.main.remote\norigin\0branch.main.merge\nrefs/heads/trunk\0branch.x.y.rebase\0"
    "pull.rebase\nmerges\0pull.ff\nonly\0core.bare\nfalse\0"s;

TEST(GitNetworkSettings, areReadWithNamesOfAnyForm) {
  GitNetworkSettings settings = gitReadNetworkSettings(settingsText);
  ASSERT_EQ(settings.remotes.size(), 2u);
  const GitRemoteSettings* const dotted = settings.remoteNamed("a.b");
  ASSERT_NE(dotted, nullptr);
  EXPECT_THAT(dotted->pushURLs, ElementsAre("ssh://h/x"));
  EXPECT_THAT(settings.remoteNamed("origin")->settings, ElementsAre(testing::Pair("tagopt", "--no-tags")));
  EXPECT_EQ(settings.branchNamed("main")->merge, "refs/heads/trunk");
  EXPECT_EQ(settings.branchNamed("x.y")->rebase, "true") << "a variable without a value is a true one";
  EXPECT_EQ(settings.pullRebase + settings.pullFastForward, "mergesonly");
  EXPECT_EQ(settings.remoteNamed("pushdefault"), nullptr);
}

TEST(GitNetworkSettings, aRemoteIsFoundByWhereItIs) {
  GitNetworkSettings settings = gitReadNetworkSettings(settingsText);
  auto nameAt = [&](const char* address) {
    const GitRemoteSettings* const found = settings.remoteAt(qrb::RemoteAddress::parse(address), "/srv");
    return found != nullptr ? found->name : std::string();
  };
  EXPECT_EQ(nameAt("https://ada@H:443/x/"), "origin");
  EXPECT_EQ(nameAt("file:///srv/x"), "a.b");
  EXPECT_EQ(nameAt("ssh://git@h/x"), "a.b") << "by where it is sent to";
  EXPECT_EQ(nameAt("https://h/y"), "");
  EXPECT_EQ(nameAt("http://h/x"), "");
}

TEST(GitTrackingRef, followsTheRulesOfTheRemote) {
  GitNetworkSettings settings = gitReadNetworkSettings(settingsText);
  EXPECT_EQ(gitTrackingRef(*settings.remoteNamed("origin"), "refs/heads/a/b"), "refs/remotes/origin/a/b");
  EXPECT_EQ(gitTrackingRef(*settings.remoteNamed("a.b"), "refs/heads/main"), "refs/kept/main");
  EXPECT_EQ(gitTrackingRef(*settings.remoteNamed("a.b"), "refs/heads/other"), "");
  EXPECT_EQ(gitTrackingRef(*settings.remoteNamed("origin"), "refs/tags/x"), "");
  EXPECT_EQ(gitTrackingRef({"r", {}, {}, {"", ":", "*", "*:", "refs/a", "*refs/a/x*:x"}, {}}, "refs/a/x"), "");
}

TEST(GitPushPlan, sendsTheBranchThatIsMeant) {
  GitNetworkSettings settings = gitReadNetworkSettings(
      "remote.origin.url\nx\0branch.main.remote\norigin\0branch.main.merge\nrefs/heads/trunk\0"
      "branch.other.remote\norigin\0branch.other.merge\nrefs/heads/trunk\0"
      "branch.far.remote\nelsewhere\0branch.far.merge\nrefs/heads/away\0"
      "remote.elsewhere.url\ny\0"
      "branch.own.remote\norigin\0branch.own.merge\nrefs/heads/same\0"s);
  const GitRemoteSettings* const origin = settings.remoteNamed("origin");
  std::vector<std::string> branches = {"far", "main", "new", "other", "own", "same"};
  const struct {
    const char* what;
    const char* current;
    const char* asked;
    const GitRemoteSettings* remote;
    const char* from;
    const char* to;
    const char* follower;
  } cases[] = {
      {"where it follows", "main", "", origin, "refs/heads/main", "refs/heads/trunk", ""},
      {"to its own name", "new", "", origin, "refs/heads/new", "refs/heads/new", "new"},
      {"it follows elsewhere", "far", "", origin, "refs/heads/far", "refs/heads/far", ""},
      {"the one checked out of two", "other", "trunk", origin, "refs/heads/other", "refs/heads/trunk", ""},
      {"two follow it", "new", "trunk", origin, "", "refs/heads/trunk", ""},
      {"another follows it", "main", "same", origin, "refs/heads/same", "refs/heads/same", "same"},
      {"the one checked out follows it", "own", "same", origin, "", "refs/heads/same", ""},
      {"the only one that follows it", "main", "away", settings.remoteNamed("elsewhere"), "refs/heads/far",
       "refs/heads/away", ""},
      {"by its name", "main", "new", origin, "refs/heads/new", "refs/heads/new", "new"},
      {"a name that none has", "main", "fresh", origin, "", "refs/heads/fresh", ""},
      {"no branch", "", "fresh", origin, "", "refs/heads/fresh", ""},
      {"no branch and no name", "", "", origin, "", "", ""},
      {"an address of no remote", "new", "", nullptr, "refs/heads/new", "refs/heads/new", ""},
  };
  for (const auto& each : cases) {
    GitPushPlan plan = gitPlanPush({branches, each.current}, settings, each.remote, each.asked);
    EXPECT_EQ(plan.from, each.from) << each.what;
    EXPECT_EQ(plan.to, each.to) << each.what;
    EXPECT_EQ(plan.newFollower, each.follower) << each.what;
  }
}

TEST(GitPushReport, tellsWhatBecameOfEachBranch) {
  using Result = GitPushedRef::Result;
  auto refs = gitReadPushReport(
      "To https://h/x\n=\trefs/heads/a:refs/heads/a\t[up to date]\n \trefs/heads/b:refs/heads/b\t1234..5678\n"
      "*\tHEAD:refs/heads/c\t[new branch]\n!\trefs/heads/d:refs/heads/d\t[rejected] (fetch first)\n"
      "!\trefs/heads/e:refs/heads/e\t[remote rejected] (pre-receive hook declined)\n-\t:refs/heads/f\t[deleted]\n"
      "!\trefs/heads/g:refs/heads/g\t[rejected] (non-fast-forward)\nDone\n");
  std::vector<Result> results;
  for (const GitPushedRef& ref : refs) results.push_back(ref.result);
  EXPECT_THAT(results, ElementsAre(Result::upToDate, Result::updated, Result::updated, Result::outOfDate,
                                   Result::rejected, Result::updated, Result::outOfDate));
  EXPECT_EQ(refs[2].from, "HEAD");
  EXPECT_EQ(refs[5].from, "");
  EXPECT_EQ(refs[4].summary, "[remote rejected] (pre-receive hook declined)");
  for (const char* text : {"", "\n", "!\n", "!\t\n", "!\ta:b\n", "!\ta\tb\n", "?\ta:b\tc\n", "Done\n"}) {
    EXPECT_THAT(gitReadPushReport(text), IsEmpty()) << text;
  }
}

}  // namespace
