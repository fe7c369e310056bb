#include <gmock/gmock.h>

#include "GitRepository.h"
#include "ServiceTesting.h"

namespace qrb::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using WorkingCopies = QRBSourceControlManager::WorkingCopies;
using ScanOutcome = Outcome<std::shared_ptr<const WorkingCopies>>;

class ScanTest : public ServiceTest {
 protected:
  static void SetUpTestSuite() {
    ::setenv("GIT_CONFIG_GLOBAL", "/dev/null", 1);
    ::setenv("GIT_CONFIG_NOSYSTEM", "1", 1);
  }

  static std::shared_ptr<ScanOutcome> startScan(const std::string& folder,
                                                const QRBSourceControlManager::Systems& systems, bool up = false,
                                                QRBSourceControlOperationPtr* operation = nullptr) {
    auto outcome = ScanOutcome::make();
    auto queued = manager()->scanForWorkingCopiesInFolderPaths(
        {String(folder)}, up, systems, [done = outcome->completion()](const auto& found) { done(found, Error()); });
    if (operation != nullptr) *operation = queued;
    return outcome;
  }
  static std::vector<std::string> pathsOf(const std::shared_ptr<ScanOutcome>& outcome) {
    auto found = std::get<0>(outcome->wait());
    if (found == nullptr) return {"(null)"};
    std::vector<std::string> paths;
    for (const auto& workingCopy : *found) paths.push_back(workingCopy->fileURL().path().str());
    return paths;
  }
  static QRBSourceControlSystemPtr git() { return system("Git", ".git"); }
};

TEST_F(ScanTest, GitTellsItsWorkingCopiesAmongTheCandidates) {
  GitRepository repository;
  repository.write("file", "text");
  repository.commit("first");
  repository.run({"worktree", "add", "--quiet", repository.beside("tree")});
  std::filesystem::create_directories(repository.beside("no repository/.git"));
  std::string folder = std::filesystem::path(repository.root()).parent_path().string();
  EXPECT_THAT(pathsOf(startScan(folder, {git()})),
              testing::UnorderedElementsAre(repository.root(), repository.beside("tree")));
}

TEST_F(ScanTest, UpwardsTheWorkingCopyAroundAFolderIsFound) {
  GitRepository repository;
  std::string inner = repository.pathOf("some/folder");
  std::filesystem::create_directories(inner);
  EXPECT_THAT(pathsOf(startScan(inner, {git()})), IsEmpty());
  EXPECT_THAT(pathsOf(startScan(inner, {git()}, true)), ElementsAre(repository.root()));
}

TEST_F(ScanTest, ASystemWithoutAFolderNameLooksForItselfAndTheOthersGetTheCandidates) {
  TemporaryDirectory folder;
  std::filesystem::create_directories(folder.path() / "copy/.git");
  useTestPlugIn("Git", "good");
  useTestPlugIn("Subversion", "good");
  EXPECT_THAT(pathsOf(startScan(folder.string(), {system("Subversion", {}), git()}, true)),
              ElementsAre(folder.string() + "/up", folder.string() + "/copy"));
}

TEST_F(ScanTest, APlugInThatDiesContributesNothingAndTheScanGoesOn) {
  TemporaryDirectory folder;
  for (const char* mode : {"killed-at-start", "killed-without-reply", "exit-without-reply", "garbage"}) {
    ServiceDirectories::unregisterAll();
    useTestPlugIn("Git", mode);
    useTestPlugIn("Subversion", "good-after-" + std::string(mode));
    EXPECT_THAT(pathsOf(startScan(folder.string(), {git(), system("Subversion", {})})),
                ElementsAre(folder.string() + "/down"))
        << mode;
  }
}

TEST_F(ScanTest, AScanCancelledWhileAPlugInHangsAnswersNothingAndTheNextOneWorks) {
  TemporaryDirectory folder;
  std::filesystem::create_directories(folder.path() / ".git");
  useTestPlugIn("Git", "hang");
  QRBSourceControlOperationPtr operation;
  auto cancelled = startScan(folder.string(), {git()}, false, &operation);
  awaitProcessOf("Git");
  operation->cancel();
  EXPECT_EQ(std::get<0>(cancelled->wait()), nullptr);
  ServiceDirectories::unregisterAll();
  useTestPlugIn("Git", "good");
  EXPECT_THAT(pathsOf(startScan(folder.string(), {git()})), ElementsAre(folder.string()));
  EXPECT_EQ(cancelled->calls(), 1u);
}

TEST_F(ScanTest, HoweverACancellationMeetsAScanItSettlesOnce) {
  TemporaryDirectory folder;
  std::filesystem::create_directories(folder.path() / ".git");
  useTestPlugIn("Git", "good");
  std::vector<std::shared_ptr<ScanOutcome>> outcomes;
  for (int round = 0; round < 200; ++round) {
    QRBSourceControlOperationPtr operation;
    outcomes.push_back(startScan(folder.string(), {git(), git()}, false, &operation));
    // Lets each round get a little further than the one before.
    for (int turn = 0; turn < round * 20; ++turn) std::this_thread::yield();
    operation->cancel();
  }
  auto last = startScan(folder.string(), {git()});
  EXPECT_THAT(pathsOf(last), ElementsAre(folder.string()));
  for (auto& outcome : outcomes) {
    outcome->wait();
    EXPECT_EQ(outcome->calls(), 1u);
  }
}

}  // namespace
}  // namespace qrb::test
