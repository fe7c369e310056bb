#include "FileSystem.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <iterator>

#include "PrivateFolder.h"
#include "TemporaryDirectory.h"

namespace qrb {
namespace {

mode_t permissionsOf(const std::string& path) {
  struct stat status;
  return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 07777u : 0;
}

class PrivateFiles : public testing::Test {
 protected:
  PrivateFiles() : _umask(::umask(0)) {}
  ~PrivateFiles() override { ::umask(_umask); }

  test::TemporaryDirectory directory;

 private:
  mode_t _umask;
};

TEST_F(PrivateFiles, AreTheUsersOwnWhateverTheUmask) {
  for (mode_t mask : {0u, 0777u}) {
    ::umask(mask);
    std::string path = directory.string() + "/key" + std::to_string(mask);
    ASSERT_TRUE(writePrivateFile(path, std::string_view("a\0b", 3)));
    EXPECT_EQ(permissionsOf(path), 0600u);
    std::ifstream file(path);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), std::string("a\0b", 3));
  }
}

TEST_F(PrivateFiles, TakeNobodysPlace) {
  std::string path = directory.string() + "/key";
  ASSERT_EQ(::symlink("elsewhere", path.c_str()), 0);
  EXPECT_FALSE(writePrivateFile(path, "secret"));
  EXPECT_EQ(errno, EEXIST);
  EXPECT_EQ(permissionsOf(directory.string() + "/elsewhere"), 0u);
}

TEST_F(PrivateFiles, LieInDirectoriesOfTheSameKind) {
  std::string path = directory.string() + "/new/inner/keys";
  EXPECT_TRUE(makePrivateDirectory(path));
  EXPECT_EQ(permissionsOf(path), 0700u);
  EXPECT_FALSE(makePrivateDirectory(path));
  EXPECT_EQ(errno, EEXIST);
  ASSERT_TRUE(writePrivateFile(path + "/file", ""));
  EXPECT_FALSE(makePrivateDirectory(path + "/file/below"));
}

TEST_F(PrivateFiles, AreMadeOfFilesThatWereNotBeforeTheFirstByteIsWritten) {
  std::string path = directory.string() + "/file";
  ASSERT_TRUE(overwriteFile(path, "a longer text for everybody", FileAccess::asUsual));
  EXPECT_EQ(permissionsOf(path), 0666u);
  ASSERT_TRUE(overwriteFile(path, "secret", FileAccess::userOnly));
  EXPECT_EQ(permissionsOf(path), 0600u);
  EXPECT_EQ(readFile(path, 6), "secret");
  ASSERT_TRUE(overwriteFile(path, "", FileAccess::asUsual));
  EXPECT_EQ(permissionsOf(path), 0600u) << "what was private stays so";
  EXPECT_FALSE(overwriteFile(directory.string() + "/none/file", "x", FileAccess::userOnly));
  EXPECT_EQ(errno, ENOENT);
  EXPECT_FALSE(overwriteFile(directory.string(), "x", FileAccess::asUsual));
  EXPECT_EQ(errno, EISDIR);
}

TEST_F(PrivateFiles, ThatCannotBeWrittenWholeAreGone) {
  if (::access("/dev/full", W_OK) != 0) GTEST_SKIP() << "there is no /dev/full";
  EXPECT_FALSE(overwriteFile("/dev/full", "x", FileAccess::asUsual));
  EXPECT_EQ(errno, EINVAL) << "a device is not emptied";
  EXPECT_EQ(::access("/dev/full", W_OK), 0);
}

TEST_F(PrivateFiles, AreReadUpToALimitAndOnlyIfTheyAreFiles) {
  std::string path = directory.string() + "/file";
  ASSERT_TRUE(writePrivateFile(path, std::string(100'000, 'x')));
  EXPECT_EQ(readFile(path, 100'000), std::string(100'000, 'x'));
  EXPECT_EQ(readFile(path, 99'999), std::nullopt);
  EXPECT_EQ(errno, EFBIG);
  EXPECT_EQ(readFile(directory.string(), 1), std::nullopt);
  EXPECT_EQ(errno, EISDIR);
  ASSERT_EQ(::mkfifo((directory.string() + "/pipe").c_str(), 0600), 0);
  EXPECT_EQ(readFile(directory.string() + "/pipe", 1), std::nullopt);
  std::string link = directory.string() + "/link";
  ASSERT_EQ(::symlink("file", link.c_str()), 0);
  EXPECT_TRUE(readFile(link, anySize));
  EXPECT_EQ(readFile(link, anySize, ReadableKind::plainFileItself), std::nullopt);
  EXPECT_EQ(errno, ELOOP);
  EXPECT_EQ(readFile("/dev/null", 1), std::nullopt);
  EXPECT_EQ(readFile("/dev/null", 1, ReadableKind::anything), "");
  EXPECT_EQ(readToEnd(holdInMemory("held").get(), 4), "held");
}

TEST_F(PrivateFiles, LieInAFolderThatGoesWithItsObject) {
  std::string kept;
  std::string gone;
  {
    PrivateFolder folder(directory.string(), ".work-");
    gone = folder.path();
    EXPECT_EQ(permissionsOf(gone), 0700u);
    ASSERT_TRUE(writePrivateFile(gone + "/file", "x"));
    kept = PrivateFolder(directory.string(), ".work-").keep();
  }
  EXPECT_NE(::access(gone.c_str(), F_OK), 0);
  EXPECT_EQ(::access(kept.c_str(), F_OK), 0);
  EXPECT_EQ(PrivateFolder(directory.string() + "/none", "x").path(), "");
  EXPECT_EQ(errno, ENOENT);
}

}  // namespace
}  // namespace qrb
