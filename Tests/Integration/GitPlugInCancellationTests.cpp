#include "GitWorkTesting.h"
#include "RandomCancellation.h"

// What changes a working copy, cut off at random moments.
namespace qrb::test {
namespace {

namespace fs = std::filesystem;

class GitPlugInCancellationTest : public GitWorkTest {
 protected:
  static constexpr int fileCount = 100;

  GitPlugInCancellationTest() {
    writeFiles("main");
    _repository.commit("main");
    _repository.run({"checkout", "-q", "-b", "side"});
    writeFiles("side");
    _repository.commit("side");
    _repository.run({"checkout", "-q", "main"});
  }

  /// Files that each branch has its own content of, and files that only one of them has.
  void writeFiles(const std::string& branch) {
    for (int number = 0; number < fileCount; ++number) {
      std::string name = "folder/" + std::to_string(number);
      _repository.write(name, branch + " " + std::to_string(number) + std::string(2000, 'x') + "\n");
      _repository.write(branch + "/" + std::to_string(number), branch + std::to_string(number) + "\n");
    }
    if (branch == "side") fs::remove_all(_repository.pathOf("main"));
  }
  static QRBSourceControlBranchPtr branch(const std::string& name) {
    return QRBSourceControlBranch::initWithBranchName(name, false);
  }
};

TEST_F(GitPlugInCancellationTest, commitsLeaveTheRepositoryWholeAndReadyForTheNext) {
  int commits = 0;
  std::string name;
  auto tally = cancelAtRandomMoments(
      _repository.root(), 40, 1,
      [&](int number, auto completion) {
        name = "new " + std::to_string(number);
        _repository.write(name, "new");
        _repository.write("folder/1", name);
        return manager()->commitFiles(
            {"folder/1", name}, workingCopy(), name,
            [=](const QRBSourceControlRevisionPtr&, const Error& error) { completion(error); });
      },
      [&](int number, const Error& error) {
        expectConsistent(_repository, "commit " + std::to_string(number));
        bool isDone = _repository.run({"log", "-1", "--format=%s"}) == name;
        EXPECT_TRUE(isDone || error) << error.description();
        if (isDone) ++commits;
        if (isDone) return;
        auto [revision, nextError] = commit({"folder/1", String(name)}, name);
        EXPECT_TRUE(revision) << number << nextError.description() << underlyingMessage(nextError);
      });
  EXPECT_EQ(tally.failed, 0);
  EXPECT_GE(commits, tally.succeeded);
  EXPECT_EQ(status(), (std::map<std::string, Words>()));
}

TEST_F(GitPlugInCancellationTest, switchesLeaveNothingThatIsInTheWayOfTheNext) {
  std::string target;
  auto tally = cancelAtRandomMoments(
      _repository.root(), 30, 2,
      [&](int number, auto completion) {
        target = number % 2 == 0 ? "side" : "main";
        return manager()->switchLocation(
            branch(target), workingCopy(),
            [=](const QRBSourceControlRevisionLocationPtr&, const Error& error) { completion(error); });
      },
      [&](int number, const Error&) {
        expectConsistent(_repository, "switch " + std::to_string(number));
        auto [now, error] = switchTo(branch(target));
        EXPECT_TRUE(now) << number << error.description() << underlyingMessage(error);
        EXPECT_EQ(status(), (std::map<std::string, Words>())) << number;
      });
  EXPECT_EQ(tally.failed, 0);
}

TEST_F(GitPlugInCancellationTest, mergesLeaveNothingThatIsInTheWayOfTheNext) {
  std::string before = _repository.head();
  auto tally = cancelAtRandomMoments(
      _repository.root(), 30, 3,
      [&](int number, auto completion) {
        _repository.run({"reset", "-q", "--hard", before});
        // Every other one has to make a commit, the rest only go forward.
        if (number % 2 == 0) {
          _repository.write("ours", std::to_string(number));
          _repository.commit("ours");
        }
        return manager()->mergeBranch(branch("side"), workingCopy(), completion);
      },
      [&](int number, const Error&) {
        expectConsistent(_repository, "merge " + std::to_string(number));
        Error error = merge(branch("side"));
        EXPECT_FALSE(error) << number << error.description() << underlyingMessage(error);
        EXPECT_EQ(_repository.run({"merge-base", "side", "HEAD"}), _repository.run({"rev-parse", "side"})) << number;
        EXPECT_EQ(status(), (std::map<std::string, Words>())) << number;
      });
  EXPECT_EQ(tally.failed, 0);
}

}  // namespace
}  // namespace qrb::test
