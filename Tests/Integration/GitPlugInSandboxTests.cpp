#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "FileDescriptor.h"
#include "GitPlugInTesting.h"
#include "Process.h"
#include "QRBSourceControlBranch.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlRevisionLocation.h"
#include "Sandbox.h"

// What must go on working for requests that only look, though they may do next to nothing.
namespace qrb::test {
namespace {

class GitPlugInSandboxTest : public GitPlugInTest {
 protected:
  void TearDown() override { ::setenv("GIT_CONFIG_GLOBAL", "/dev/null", 1); }
  void useConfiguration(const std::string& text) {
    std::string file = _folder.path() / "configuration";
    std::ofstream(file) << text;
    ::setenv("GIT_CONFIG_GLOBAL", file.c_str(), 1);
  }
  static String contentOfHead(const std::string& root, const char* file) {
    Reply<URL> reply;
    const auto head =
        QRBSourceControlRevisionLocation::initWithRevision(QRBSourceControlRevision::sharedHeadRevision());
    manager()->exportFileFromRevisionLocation(file, workingCopyAt(root), head, URL(), reply.completion());
    auto [url, error] = reply.wait();
    EXPECT_FALSE(error) << error.description();
    std::ifstream stream(error ? "" : url.path().str(), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(stream), {});
  }
  static Error diffOf(const std::string& root) {
    Reply<Dictionary> reply;
    auto at = [](const QRBSourceControlRevisionPtr& revision) {
      return QRBSourceControlRevisionLocation::initWithRevision(revision);
    };
    manager()->diffRepository(repositoryAt(root), at(QRBSourceControlRevision::sharedHeadRevision()),
                              at(QRBSourceControlRevision::sharedUnversionedRevision()), nullptr, reply.completion());
    return std::get<1>(reply.wait());
  }

  TemporaryDirectory _folder;
};

TEST_F(GitPlugInSandboxTest, filtersOfTheUserGoOnWorking) {
  std::string script = _folder.path() / "script";
  std::ofstream(script) << "#!/bin/sh\ntr a-z A-Z | cat\n";
  std::filesystem::permissions(script, std::filesystem::perms(0755));
  std::vector<std::string> filters = {"[filter \"mine\"]\n\trequired\n\tsmudge = cat\n\tclean = tr a-z A-Z\n",
                                      "[filter \"mine\"]\n\trequired\n\tsmudge = cat\n\tclean = \"tr a-z A-Z | cat\"\n",
                                      "[filter \"mine\"]\n\trequired\n\tsmudge = cat\n\tclean = " + script + "\n"};
  if (!executableInPath("git-lfs").empty()) {
    filters.emplace_back(
        "[filter \"lfs\"]\n\trequired\n\tclean = git-lfs clean -- %f\n\tsmudge = git-lfs smudge -- %f\n"
        "\tprocess = git-lfs filter-process\n");
  }
  for (const std::string& filter : filters) {
    useConfiguration(filter);
    GitRepository repository;
    repository.write(".gitattributes",
                     filter.find("lfs") == std::string::npos ? "*.big filter=mine\n" : "*.big filter=lfs\n");
    repository.write("a.big", "ABC");
    repository.commit("one");
    repository.write("a.big", "ABD");
    EXPECT_EQ(statusWordsOf(repository.root()), (std::map<std::string, Words>{{"a.big", {"modified"}}})) << filter;
    EXPECT_FALSE(diffOf(repository.root())) << filter;
    EXPECT_EQ(contentOfHead(repository.root(), "a.big"), "ABC") << filter;
    // Of the same size and another time: only the filter tells that it is as before.
    repository.write("a.big", "ABC");
    bool isAsBefore = filter.find("lfs") == std::string::npos;  // The repository was made without any filter.
    EXPECT_EQ(statusWordsOf(repository.root()).empty(), isAsBefore) << filter;
  }
}

TEST_F(GitPlugInSandboxTest, partialClonesFetchWhatTheyLackWhileTheyAreLookedAt) {
  GitRepository origin;
  origin.write("file", "1");
  origin.commit("one");
  origin.run({"config", "uploadpack.allowFilter", "true"});
  origin.run({"config", "uploadpack.allowAnySHA1InWant", "true"});
  std::string clone = _folder.path() / "clone";
  origin.run({"clone", "-q", "--no-checkout", "--filter=blob:none", "file://" + origin.root(), clone});
  EXPECT_EQ(contentOfHead(clone, "file"), "1");
}

TEST_F(GitPlugInSandboxTest, lookingLeavesTheStagingAreaAsItIs) {
  if (!sandboxSupport().files) GTEST_SKIP() << "This kernel has none.";
  GitRepository repository;
  repository.write("file", "1");
  repository.commit("one");
  repository.write("file", "1");
  auto index = [&] { return std::filesystem::last_write_time(repository.pathOf(".git/index")); };
  auto before = index();
  EXPECT_FALSE(diffOf(repository.root()));
  EXPECT_TRUE(statusWordsOf(repository.root()).empty());
  EXPECT_EQ(index(), before);
}

using testing::HasSubstr;

/// A repository with one thing in place of a file, and what the three commonest requests make of it.
struct Obstacle {
  explicit Obstacle(const std::string& place) : path(repository.pathOf(place)) {
    repository.write("file", "one\n");
    repository.commit("one");
    repository.run({"pack-refs", "--all"});
    repository.write("file", "two\n");
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::filesystem::remove(path);
  }

  GitRepository repository;
  const std::string path;
  Reply<QRBSourceControlPathStatusesPtr, QRBSourceControlPathStatusesPtr> status;
  Reply<LogItems> log;
  Reply<std::vector<QRBSourceControlBranchPtr>> branches;
};

TEST_F(GitPlugInTest, nothingWaitsForAPipeOrDeviceInPlaceOfAFile) {
  FileDescriptor terminal(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
  ASSERT_EQ(::grantpt(terminal.get()) | ::unlockpt(terminal.get()), 0);
  std::string terminalName = ::ptsname(terminal.get());
  const struct {
    const char* place;
    /// Which of status, log and branches cannot do without the file.
    const char* failing;
    const char* device = nullptr;
  } places[] = {{".git/HEAD", "slb"},
                {".git/config", "slb"},
                {".git/index", "slb"},
                {".git/packed-refs", "slb"},
                {".git/refs/heads/x", "b"},
                {".git/commondir", "slb"},
                {".git/shallow", "sl"},
                {".git/info/exclude", "s"},
                {".git/info/attributes", "s"},
                {".git/info/grafts", "sl"},
                {".git/objects/info/alternates", "sl"},
                {".git/objects/info/commit-graph", "sl"},
                {".gitattributes", "s"},
                {".gitignore", "s"},
                {".gitmodules", ""},
                {".git/info/attributes", "s", terminalName.c_str()},
                {".git/shallow", "sl", terminalName.c_str()}};
  std::vector<std::unique_ptr<Obstacle>> obstacles;
  for (const auto& [place, failing, device] : places) {
    Obstacle& made = *obstacles.emplace_back(std::make_unique<Obstacle>(place));
    ASSERT_EQ(device ? ::symlink(device, made.path.c_str()) : ::mkfifo(made.path.c_str(), 0600), 0) << place;
    const std::string& root = made.repository.root();
    manager()->filesAndStatusOfWorkingCopy(workingCopyAt(root), false, made.status.completion());
    manager()->historyOfWorkingCopy(workingCopyAt(root), nullptr, nullptr, 0, 0, nullptr, 0, {}, made.log.completion());
    manager()->listBranchesOfRepository(repositoryAt(root), nullptr, made.branches.completion());
  }
  for (std::size_t number = 0; number < obstacles.size(); ++number) {
    Obstacle& made = *obstacles[number];
    const char* device = places[number].device;
    std::string failing;
    auto take = [&](char request, const Error& error) {
      if (!error) return;
      failing.push_back(request);
      EXPECT_THAT(error.localizedDescription() + underlyingMessage(error), HasSubstr(device ? device : made.path))
          << request;
    };
    take('s', std::get<Error>(made.status.wait()));
    take('l', std::get<Error>(made.log.wait()));
    take('b', std::get<Error>(made.branches.wait()));
    // Where the sandbox keeps devices from git, it does without the file.
    if (device && failing.empty()) continue;
    EXPECT_EQ(failing, places[number].failing) << places[number].place;
  }
}

}  // namespace
}  // namespace qrb::test
