#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "FileDescriptor.h"
#include "GitPlugInTesting.h"

namespace qrb::test {
namespace {

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
