// The programs that the documentation shows do what it says, in real processes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <future>

#include "QRBSourceControlError.h"
#include "QRBSourceControlModelPrivate.h"
#include "QRBSourceControlStatusValues.h"
#include "RunProgram.h"
#include "ServiceDirectories.h"
#include "TemporaryDirectory.h"

namespace {

using qrb::test::TemporaryDirectory;

struct Answer {
  QRBSourceControlPathStatusesPtr local;
  qrb::Error error;
};

Answer manifestStatus(const std::filesystem::path& folder) {
  auto system = QRBSourceControlSystem::initWithName("Manifest", "com.example.Manifest", "1.0", ".manifest", {}, true,
                                                     false, false, false, false, 1);
  qrb::URL url = qrb::URL::fileURL(folder.string(), true);
  auto workingCopy = QRBSourceControlWorkingCopy::initWithFileURLUnidentifiableRepository(
      url, QRBSourceControlRepository::initWithURL(url, system));
  std::promise<Answer> answer;
  workingCopy->filesAndStatusWithRemoteStatus(false, [&](auto local, auto, qrb::Error error) {
    answer.set_value({local, error});
  });
  return answer.get_future().get();
}

class ExamplePlugIn : public testing::Test {
 protected:
  void SetUp() override { qrb::ServiceDirectories::registerDirectory(QRB_EXAMPLES_FOLDER "/plug-ins"); }
  void TearDown() override { qrb::ServiceDirectories::unregisterAll(); }

  void write(const std::string& name, const std::string& text) {
    std::filesystem::create_directories((_folder.path() / name).parent_path());
    std::ofstream(_folder.path() / name) << text;
  }
  TemporaryDirectory _folder;
};

TEST_F(ExamplePlugIn, ReportsWhatItsListAndTheFolderDifferIn) {
  write(".manifest/files", "kept\ngone\n");
  write("kept", "");
  write("new", "");
  Answer answer = manifestStatus(_folder.path());
  ASSERT_FALSE(answer.error) << answer.error.description();
  EXPECT_EQ(*answer.local, (QRBSourceControlPathStatuses{{"gone", QRBSourceControlStatusMissing},
                                                         {"new", QRBSourceControlStatusUntracked}}));
}

TEST_F(ExamplePlugIn, SaysThatAFolderIsNoWorkingCopyOfIts) {
  Answer answer = manifestStatus(_folder.path());
  EXPECT_EQ(answer.error.code(), static_cast<std::int64_t>(QRBSourceControlErrorCode::workingCopyNotFound));
  EXPECT_EQ(answer.local, nullptr);
}

#ifdef QRB_HAVE_GIT_PLUG_IN
TEST(ExampleHost, PrintsTheStatusOfAWorkingCopyOfEitherSystem) {
  for (const char* make :
       {"git init --quiet work", "svnadmin create repository && svn checkout -q file://$PWD/repository work"}) {
    SCOPED_TRACE(make);
    TemporaryDirectory folder;
    std::vector<std::string> environment{"PATH=/usr/bin:/bin", "HOME=" + folder.string()};
    auto made = qrb::test::runProgram({"sh", "-c", make}, environment, folder.string());
    ASSERT_EQ(made.status, 0) << made.output;
    std::ofstream(folder.path() / "work/new file") << "text";
    auto result = qrb::test::runProgram({QRB_EXAMPLES_FOLDER "/example-host", "work"}, environment, folder.string());
    EXPECT_EQ(result.status, 0) << result.output;
    EXPECT_EQ(result.output, "untracked new file\n");
  }
}

TEST(ExampleHost, WaitsForARevisionAndGetsAHistoryOnItsOwnThread) {
  TemporaryDirectory folder;
  std::vector<std::string> environment{"PATH=/usr/bin:/bin", "HOME=" + folder.string()};
  auto git = [&](std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"git", "-c", "user.name=Ann", "-c", "user.email=ann@example.org"});
    auto result = qrb::test::runProgram(arguments, environment, folder.string());
    EXPECT_EQ(result.status, 0) << result.output;
    return result.output;
  };
  auto example = [&](const char* name) {
    return qrb::test::runProgram({std::string(QRB_EXAMPLES_FOLDER "/") + name, "."}, environment, folder.string());
  };
  git({"init", "--quiet", "."});
  git({"commit", "--quiet", "--allow-empty", "--message=plant"});
  git({"commit", "--quiet", "--allow-empty", "--message=harvest"});
  auto waiting = example("example-waiting");
  EXPECT_EQ(waiting.status, 0);
  EXPECT_EQ(waiting.output, git({"rev-parse", "HEAD"}));
  auto executor = example("example-executor");
  EXPECT_EQ(executor.status, 0);
  EXPECT_THAT(executor.output, testing::ContainsRegex("harvest\n+plant\n+"));
  EXPECT_THAT(executor.output, testing::HasSubstr("2 entries\n"));

  std::filesystem::remove_all(folder.path() / ".git");
  for (const char* name : {"example-waiting", "example-executor"}) {
    auto failed = example(name);
    EXPECT_EQ(failed.status, 1) << name << ": " << failed.output;
  }
}
#endif

}  // namespace
