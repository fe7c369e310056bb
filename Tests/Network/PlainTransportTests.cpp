#include "GitDaemon.h"
#include "NetworkTesting.h"

namespace qrb::test {
namespace {

using testing::HasSubstr;
using testing::Not;

class PlainTransportTest : public NetworkTest {
 protected:
  void SetUp() override {
    NetworkTest::SetUp();
    _origin.write("file", "1");
    _one = _origin.commit("one");
    _origin.run({"branch", "feature/x"});
    _origin.run({"clone", "-q", "--bare", _origin.root(), pathOf("served/origin.git")});
    _origin.run({"remote", "add", "served", pathOf("served/origin.git")});
  }
  /// Both ways without a login to the same repository.
  std::vector<std::string> urls() { return {_daemon.url("origin.git"), "file://" + pathOf("served/origin.git")}; }
  std::string commitAndServe(const std::string& text) {
    _origin.write("file", text);
    std::string revision = _origin.commit(text);
    _origin.run({"push", "-q", "served", "main"});
    return revision;
  }

  GitRepository _origin;
  std::string _one;
  std::filesystem::path _made = std::filesystem::path(pathOf("served"));
  bool _hasFolder = std::filesystem::create_directories(_made);
  GitDaemon _daemon{pathOf("served")};
};

TEST_F(PlainTransportTest, aRemoteIsKnownHoweverItsAddressIsWritten) {
  GitRepository clone = GitRepository::cloneOf(pathOf("served/origin.git"));
  std::string path = pathOf("served/origin.git");
  std::string relative = std::filesystem::relative(path, clone.root());
  clone.run({"config", "url." + pathOf("served") + "/.insteadOf", "short:"});
  for (const std::string& written : {path, path + "/", "file://" + path, relative, std::string("short:origin.git")}) {
    clone.run({"remote", "set-url", "origin", written});
    std::string next = commitAndServe("for " + written);
    Error error = fetch(remoteAt("file://" + path), clone.root());
    EXPECT_FALSE(error) << written << ": " << error.description() << underlyingMessage(error);
    EXPECT_EQ(clone.run({"rev-parse", "origin/main"}), next) << written;
  }
}

TEST_F(PlainTransportTest, whatARemoteDoesNotTakeIsToldForWhatItIs) {
  GitRepository clone = GitRepository::cloneOf(urls()[1]);
  Remote remote = remoteAt(urls()[1]);
  commitAndServe("meanwhile");
  clone.commit("ours");
  Error late = push(remote, clone.root());
  EXPECT_EQ(late.localizedDescription(), QRBSourceControlError_RemoteOperationOutOfDate({}).localizedDescription());
  EXPECT_THAT(underlyingMessage(late), HasSubstr("fetch first"));
  clone.run({"pull", "-q", "--rebase"});
  std::string hook = pathOf("served/origin.git/hooks/pre-receive");
  std::ofstream(hook) << "#!/bin/sh\necho not on Fridays >&2\nexit 1\n";
  std::filesystem::permissions(hook, std::filesystem::perms(0755));
  Error rejected = push(remote, clone.root());
  EXPECT_TRUE(has(rejected, Code::remoteOperationRejected)) << rejected.description();
  EXPECT_THAT(underlyingMessage(rejected), HasSubstr("not on Fridays"));
  EXPECT_THAT(underlyingMessage(rejected), Not(HasSubstr("100%"))) << "how far it came is no reason";
}

TEST_F(PlainTransportTest, anUpdateDoesAsTheUserHasSetUp) {
  Remote remote = remoteAt(urls()[0]);
  GitRepository clone = GitRepository::cloneOf(urls()[0]);
  clone.run({"config", "pull.rebase", "true"});
  clone.write("ours", "1");
  clone.commit("ours");
  std::string two = commitAndServe("two");
  Error error = update(clone.root(), remote);
  EXPECT_FALSE(error) << error.description() << underlyingMessage(error);
  EXPECT_EQ(clone.run({"rev-parse", "HEAD^"}), two);
  clone.run({"config", "pull.rebase", "false"});
  clone.run({"config", "pull.ff", "only"});
  commitAndServe("three");
  std::string before = clone.head();
  EXPECT_TRUE(update(clone.root(), remote));
  EXPECT_EQ(clone.head(), before);
}

TEST_F(PlainTransportTest, anUpdateThatMeetsOtherChangesLosesNone) {
  Remote remote = remoteAt(urls()[0]);
  GitRepository clone = GitRepository::cloneOf(urls()[0]);
  commitAndServe("theirs");
  clone.write("file", "not committed");
  Error inTheWay = update(clone.root(), remote);
  EXPECT_TRUE(has(inTheWay, Code::repositoryMidOperation)) << inTheWay.description();
  EXPECT_EQ(textOf(clone.pathOf("file")), "not committed");
  clone.commit("ours");
  Error conflict = update(clone.root(), remote);
  EXPECT_TRUE(has(conflict, Code::repositoryMidOperation)) << conflict.description();
  EXPECT_THAT(underlyingMessage(conflict), HasSubstr("CONFLICT"));
  EXPECT_THAT(textOf(clone.pathOf("file")), HasSubstr("<<<<<<<"));
  clone.run({"reset", "-q", "--hard"});
  clone.run({"checkout", "-q", "--detach"});
  EXPECT_TRUE(has(update(clone.root(), remote), Code::branchNotFound));
}

TEST_F(PlainTransportTest, aLocationIsLookedForWhereALoginIsChecked) {
  _origin.run({"tag", "v1"});
  _origin.run({"push", "-q", "served", "v1"});
  // Git takes what it is asked for as the end of a name.
  _origin.run({"push", "-q", "served", "HEAD:refs/heads/odd/refs/heads/hidden", "v1:refs/tags/odd/refs/tags/v2"});
  for (const std::string& url : urls()) {
    EXPECT_FALSE(validate(remoteAt(url), branch("odd/refs/heads/hidden")));
    EXPECT_TRUE(has(validate(remoteAt(url), branch("hidden")), Code::branchNotFound));
    EXPECT_TRUE(has(validate(remoteAt(url), QRBSourceControlTag::initWithTagName("v2")), Code::tagNotFound));
    EXPECT_FALSE(validate(remoteAt(url)));
    EXPECT_FALSE(validate(remoteAt(url), branch("feature/x")));
    EXPECT_FALSE(validate(remoteAt(url), QRBSourceControlTag::initWithTagName("v1")));
    EXPECT_TRUE(has(validate(remoteAt(url), branch("feature")), Code::branchNotFound));
    EXPECT_TRUE(has(validate(remoteAt(url), branch("v1")), Code::branchNotFound));
    EXPECT_TRUE(has(validate(remoteAt(url), QRBSourceControlTag::initWithTagName("main")), Code::tagNotFound));
    EXPECT_TRUE(has(validate(remoteAt(url + "x")), Code::remoteRepositoryNotFound));
  }
}

TEST_F(PlainTransportTest, aRemoteIsAskedForItsBranchesAndNewestRevisionsWithoutAClone) {
  std::string two = commitAndServe("two");
  _origin.run({"tag", "-m", "with a message", "v1", _one});
  _origin.run({"push", "-q", "served", "v1", "main:refs/notes/refs/heads/decoy"});
  GitRepository empty({"--bare"});
  empty.run({"clone", "-q", "--bare", empty.root(), pathOf("served/empty.git")});
  auto revisionOf = [](const Remote& remote, const QRBSourceControlRevisionLocationPtr& location) {
    Reply<QRBSourceControlRevisionPtr> reply;
    remote->revisionOfLocation(location, nullptr, reply.completion());
    auto [revision, error] = reply.wait();
    return revision ? revision->identifier().str() : std::to_string(error.code());
  };
  auto headOf = [](const Remote& remote) {
    Reply<QRBSourceControlRevisionPtr> reply;
    remote->headRevisionWithCompletionBlock(reply.completion());
    return reply.wait();
  };
  for (const std::string& url : urls()) {
    Remote remote = remoteAt(url);
    EXPECT_EQ(std::get<0>(headOf(remote))->identifier().str(), two);
    EXPECT_EQ(revisionOf(remote, branch("main")), two);
    EXPECT_EQ(revisionOf(remote, QRBSourceControlBranch::initWithBranchNameRemoteName("main", true, "origin")), two);
    EXPECT_EQ(revisionOf(remote, branch("feature/x")), _one);
    EXPECT_EQ(revisionOf(remote, QRBSourceControlTag::initWithTagName("v1")), _one) << "what the tag is on";
    EXPECT_EQ(revisionOf(remote, nullptr), two);
    EXPECT_EQ(
        revisionOf(remote, branch("main")->locationWithRevision(QRBSourceControlRevision::initWithIdentifier(_one))),
        _one);
    EXPECT_EQ(revisionOf(remote, branch("gone")), "-252");
    EXPECT_EQ(revisionOf(remote, QRBSourceControlTag::initWithTagName("main")), "-253");
    EXPECT_EQ(revisionOf(remote, branch("--upload-pack=x")), "-252");
    Reply<std::vector<QRBSourceControlBranchPtr>> reply;
    remote->listBranchesWithCompletionBlock(reply.completion());
    auto [branches, error] = reply.wait();
    ASSERT_FALSE(error) << error.description();
    ASSERT_EQ(branches.size(), 2u);
    EXPECT_EQ(branches[0]->name(), "feature/x");
    EXPECT_EQ(branches[1]->name(), "main");
    EXPECT_EQ(branches[1]->revision()->identifier().str(), two);
  }
  EXPECT_TRUE(has(std::get<1>(headOf(remoteAt(_daemon.url("empty.git")))), Code::revisionNotFound));
  EXPECT_TRUE(has(std::get<1>(headOf(remoteAt(_daemon.url("none.git")))), Code::remoteRepositoryNotFound));
}

}  // namespace
}  // namespace qrb::test
