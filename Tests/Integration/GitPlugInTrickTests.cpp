#include <future>

#include "GitWorkTesting.h"
#include "Recipes.h"
#include "Requests.h"
#include "Snapshot.h"

// Tricks by which git once ran what a repository named, or changed files elsewhere, under the eyes of the plug-in.
namespace qrb::test {
namespace {

namespace fs = std::filesystem;
using hostile::Recipe;

class GitPlugInTrickTest : public GitPlugInTest, public testing::WithParamInterface<Recipe> {
 protected:
  GitPlugInTrickTest() {
    fs::create_directories(_folder.path() / "marks");
    fs::create_directories(_folder.path() / "cases");
    std::ofstream(_folder.path() / "program") << "#!/bin/sh\n";
    static const std::vector<hostile::Template> templates = hostile::makeTemplates();
    hostile::makeCase(templates, GetParam()).tree.write({_case, _mark, _folder.string() + "/program"});
    _victim = victim();
  }

  hostile::Snapshot victim() const { return hostile::Snapshot::of(_case + "/" + hostile::victimFolder); }
  std::vector<std::string> changesOfVictim() const { return _victim.differencesTo(victim()); }
  bool wasRun() const { return fs::exists(_mark); }
  std::string root() const { return _case + "/" + hostile::repositoryFolder; }
  /// What becomes of it does not matter.
  void runGit(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), "git");
    runProgram(arguments, GitRepository().environment(), root());
  }

  TemporaryDirectory _folder;
  const std::string _case = _folder.string() + "/cases/case-0";
  const std::string _mark = _folder.string() + "/marks/case-0";
  hostile::Snapshot _victim;
};

TEST_P(GitPlugInTrickTest, lookingRunsNothing) {
  for (const hostile::LookingRequest& request : hostile::lookingRequests()) {
    auto answer = std::make_shared<std::promise<void>>();
    request.begin(_case, [answer](const Error&) { answer->set_value(); });
    ASSERT_EQ(answer->get_future().wait_for(std::chrono::seconds(60)), std::future_status::ready) << request.name;
    ASSERT_FALSE(wasRun()) << request.name;
  }
  EXPECT_THAT(changesOfVictim(), testing::IsEmpty());
}

TEST_P(GitPlugInTrickTest, changesStayInTheFolder) {
  auto workingCopy = workingCopyAt(root());
  Reply<> all, some, moved;
  manager()->discardChangesInFiles({"file"}, workingCopy, some.completion());
  some.wait();
  manager()->moveFiles({"other"}, {"moved"}, workingCopy, moved.completion());
  moved.wait();
  manager()->discardAllChangesInWorkingCopy(workingCopy, all.completion());
  all.wait();
  EXPECT_THAT(changesOfVictim(), testing::IsEmpty());
}

TEST_P(GitPlugInTrickTest, gitAloneFallsForIt) {
  runGit({"status"});
  runGit({"diff"});
  bool ranWhenLooking = wasRun();
  runGit({"reset", "--hard"});
  EXPECT_TRUE(ranWhenLooking || !changesOfVictim().empty());
}

INSTANTIATE_TEST_SUITE_P(Known, GitPlugInTrickTest, testing::ValuesIn(hostile::allRecipes()),
                         [](const testing::TestParamInfo<Recipe>& row) {
                           std::string name(row.param.name);
                           std::ranges::replace_if(
                               name, [](unsigned char letter) { return !std::isalnum(letter); }, '_');
                           return name;
                         });

}  // namespace
}  // namespace qrb::test
