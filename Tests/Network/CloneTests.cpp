#include <sys/file.h>
#include <sys/prctl.h>

#include <random>

#include "ConnectionServer.h"
#include "NetworkTesting.h"
#include "ProcessReaper.h"

namespace qrb::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class CloneTest : public NetworkTest {
 protected:
  void SetUp() override {
    NetworkTest::SetUp();
    _origin.write("file", "1");
    _one = _origin.commit("one");
    _origin.run({"tag", "-a", "-m", "first", "v1"});
    _origin.run({"checkout", "-q", "-b", "topic"});
    _origin.write("file", "2");
    _two = _origin.commit("two");
    _origin.run({"tag", "both"});
    _origin.run({"checkout", "-q", "main"});
    _origin.run({"branch", "both"});
    std::filesystem::create_directory(pathOf("work"));
  }
  std::string target() const { return pathOf("work/clone"); }
  Remote remote() const { return remoteAt("file://" + _origin.root()); }
  std::string head(const std::string& path) { return git(path, {"rev-parse", "HEAD"}); }

  GitRepository _origin;
  std::string _one;
  std::string _two;
};

TEST_F(CloneTest, whatIsThereAlreadyStays) {
  std::filesystem::create_directories(pathOf("work/full"));
  std::ofstream(pathOf("work/full/file")) << "mine";
  std::ofstream(pathOf("work/file")) << "mine";
  std::filesystem::create_symlink(pathOf("work/nowhere"), pathOf("work/link"));
  GitRepository other;
  EXPECT_TRUE(has(cloneError(remote(), pathOf("work/full")), Code::invalidURL));
  EXPECT_TRUE(has(cloneError(remote(), pathOf("work/file")), Code::invalidURL));
  EXPECT_TRUE(has(cloneError(remote(), pathOf("work/link")), Code::invalidURL));
  EXPECT_TRUE(has(cloneError(remote(), pathOf("work/file/below")), Code::invalidURL));
  EXPECT_TRUE(has(cloneError(remote(), other.root()), Code::repositoryExists));
  EXPECT_EQ(textOf(pathOf("work/full/file")) + textOf(pathOf("work/file")), "minemine");
  EXPECT_THAT(namesIn(pathOf("work")), ElementsAre("file", "full", "link"));
  std::filesystem::create_directory(pathOf("work/empty"));
  auto [workingCopy, error] = clone(remote(), pathOf("work/empty"));
  EXPECT_TRUE(workingCopy) << error.description();
  EXPECT_EQ(head(pathOf("work/empty")), _one);
}

TEST_F(CloneTest, noRepositoryWritesWhereSettingsOfOthersAreLookedFor) {
  GitRepository other;
  std::filesystem::create_directory_symlink(other.root() + "/.git", pathOf("work/link"));
  for (const std::string& place : {pathOf("work/.git"), pathOf("work/.Git/deep"), pathOf("work/.svn"),
                                   pathOf("work/.git/../.git"), other.root() + "/.git/new", pathOf("work/link/new")}) {
    Error error = cloneError(remote(), place);
    EXPECT_TRUE(has(error, Code::invalidURL)) << place << ": " << error.description();
    EXPECT_THAT(underlyingMessage(error), HasSubstr("metadata"));
    EXPECT_FALSE(std::filesystem::exists(place)) << place;
  }
  EXPECT_THAT(namesIn(pathOf("work")), ElementsAre("link"));
  EXPECT_FALSE(cloneError(remote(), pathOf("work/.github")));
}

TEST_F(CloneTest, anEmptyRepositoryMakesAnEmptyWorkingCopy) {
  GitRepository empty({"--bare"});
  auto [workingCopy, error] = clone(remoteAt("file://" + empty.root()), target());
  ASSERT_TRUE(workingCopy) << error.description() << underlyingMessage(error);
  EXPECT_EQ(git(target(), {"symbolic-ref", "HEAD"}), "refs/heads/main");
  EXPECT_TRUE(
      has(cloneError(remoteAt("file://" + empty.root()), pathOf("work/b"), branch("main")), Code::branchNotFound));
}

TEST_F(CloneTest, submodulesAreLeftForTheUser) {
  GitRepository part;
  part.commit("part");
  _origin.run({"submodule", "--quiet", "add", part.root(), "part"});
  _origin.commit("with a submodule");
  auto [workingCopy, error] = clone(remote(), target());
  ASSERT_TRUE(workingCopy) << error.description() << underlyingMessage(error);
  EXPECT_TRUE(std::filesystem::is_empty(target() + "/part"));
}

TEST_F(CloneTest, aPlaceThatAnotherRequestHasIsNotTaken) {
  std::filesystem::create_directory(target());
  FileDescriptor other(::open(target().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  ASSERT_EQ(::flock(other.get(), LOCK_EX), 0);
  Error error = cloneError(remote(), target());
  EXPECT_TRUE(has(error, Code::invalidURL));
  EXPECT_THAT(underlyingMessage(error), HasSubstr("Another request is making a working copy there"));
  EXPECT_TRUE(std::filesystem::is_empty(target()));
}

/// With more in it, over git's own protocol, so that there is something to interrupt.
class CancellationTest : public CloneTest {
 protected:
  void SetUp() override {
    CloneTest::SetUp();
    // What a killed plug-in leaves is then reaped here, at once, and not by whatever the machine has for that.
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    std::string bytes(100'000, 'x');
    for (int file = 0; file < 30; ++file) {
      for (char& byte : bytes) byte = static_cast<char>(_random());
      _origin.write("large/" + std::to_string(file), bytes);
    }
    _origin.commit("large");
    _daemon = std::make_unique<ConnectionServer>(
        std::vector<std::string>{"git", "daemon", "--inetd", "--export-all", _origin.root()},
        std::vector<std::string>{std::string("PATH=") + ::getenv("PATH"), "HOME=/nonexistent",
                                 "GIT_CONFIG_NOSYSTEM=1"});
    _remote = remoteAt("git://127.0.0.1:" + std::to_string(_daemon->port()) + _origin.root());
  }

  void TearDown() override {
    ::prctl(PR_SET_CHILD_SUBREAPER, 0);
    CloneTest::TearDown();
  }

  /// Lets a request run for a part of the time that it takes as a whole, then cancels it, and waits for the end of all
  /// that it has started. True where it was cancelled before it was done.
  template <class Start>
  bool cancelAtRandom(const Start& start) {
    auto settled = std::make_shared<std::promise<Error>>();
    auto future = settled->get_future();
    auto begin = std::chrono::steady_clock::now();
    auto request = start([settled](const Error& error) { settled->set_value(error); });
    std::uniform_real_distribution<double> part(0, 1.1);
    std::chrono::duration<double> until = _longest * part(_random);
    future.wait_for(until);
    request->cancel();
    Error error = future.get();
    if (!error) _longest = std::max<std::chrono::duration<double>>(_longest, std::chrono::steady_clock::now() - begin);
    EXPECT_TRUE(!error || has(error, Code::canceled)) << error.description() << underlyingMessage(error);
    EXPECT_TRUE(ProcessReaper::shared().drain(std::chrono::seconds(60)));
    return static_cast<bool>(error);
  }

  std::mt19937 _random{20240917};
  std::chrono::duration<double> _longest{0.2};
  std::unique_ptr<ConnectionServer> _daemon;
  Remote _remote;
};

TEST_F(CancellationTest, aCloneThatIsCancelledIsWholeOrNotThere) {
  int cancelled = 0;
  for (int round = 0; round < 50; ++round) {
    bool wasCancelled = cancelAtRandom([&](const auto& done) {
      return _remote->createWorkingCopyAtURL(URL::fileURL(target(), true), nullptr, nullptr, {},
                                             [done](const auto&, const Error& error) { done(error); });
    });
    cancelled += wasCancelled;
    std::vector<std::string> names = namesIn(pathOf("work"));
    if (names.empty()) {
      EXPECT_TRUE(wasCancelled);
      continue;
    }
    // It was there when the cancellation came.
    ASSERT_THAT(names, ElementsAre("clone")) << "round " << round;
    EXPECT_EQ(git(target(), {"status", "--porcelain"}), "") << "round " << round;
    std::filesystem::remove_all(target());
  }
  EXPECT_GT(cancelled, 10);
  EXPECT_FALSE(cloneError(_remote, target()));
}

TEST_F(CancellationTest, aFetchThatIsCancelledLeavesTheRepositoryWhole) {
  GitRepository clone = GitRepository::cloneOf(_origin.root(), {"--depth=1", "--no-local"});
  clone.run({"remote", "set-url", "origin", _remote->URL().absoluteString().str()});
  _longest = std::chrono::milliseconds(60);
  int cancelled = 0;
  std::string bytes(100'000, 'x');
  for (int round = 0; round < 50; ++round) {
    for (char& byte : bytes) byte = static_cast<char>(_random());
    _origin.write("large/0", bytes);
    _origin.commit("more");
    cancelled += cancelAtRandom([&](const auto& done) {
      return repositoryAt(clone.root())->downloadUpdatesFromRemoteRepository(_remote, {}, [done](const Error& error) {
        done(error);
      });
    });
    for (const auto& entry : std::filesystem::recursive_directory_iterator(clone.pathOf(".git"))) {
      EXPECT_NE(entry.path().extension(), ".lock") << entry.path();
    }
    ProgramResult check = clone.tryRun({"fsck", "--connectivity-only"});
    EXPECT_EQ(check.status, 0) << check.output;
  }
  EXPECT_GT(cancelled, 10);
  EXPECT_FALSE(fetch(_remote, clone.root()));
  EXPECT_EQ(clone.run({"rev-parse", "origin/main"}), _origin.head());
}

TEST_F(CancellationTest, progressOfLargeWorkGoesFromNothingToAllWithoutGoingBack) {
  ProgressLog cloned;
  auto [workingCopy, error] = clone(_remote, target(), nullptr, &cloned);
  ASSERT_TRUE(workingCopy) << error.description();
  cloned.expectWhole();
  EXPECT_GT(cloned.fractions().size(), 10u);
  ProgressLog local;
  EXPECT_TRUE(std::get<0>(clone(remote(), pathOf("work/local"), nullptr, &local)));
  local.expectWhole();
  _origin.run({"checkout", "-q", "--detach"});
  std::string bytes(2'000'000, 'x');
  for (char& byte : bytes) byte = static_cast<char>(_random());
  std::ofstream(target() + "/new") << bytes;
  git(target(), {"add", "new"});
  git(target(), {"-c", "user.name=x", "-c", "user.email=x@y", "commit", "-q", "-m", "new"});
  ProgressLog sent;
  EXPECT_FALSE(push(remote(), target(), nullptr, &sent));
  sent.expectWhole();
}

}  // namespace
}  // namespace qrb::test
