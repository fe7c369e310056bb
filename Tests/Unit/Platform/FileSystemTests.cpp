#include "FileSystem.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <iterator>

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

}  // namespace
}  // namespace qrb
