#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <memory>

#include "TemporaryDirectory.h"

namespace {

/// What the programs that a test starts hand over in temporary files is the caller's to remove, and what a killed one
/// leaves is nobody's: all of it lies in a folder that goes with the test.
class OwnTemporaryFolder : public testing::Environment {
 public:
  void SetUp() override {
    _folder = std::make_unique<qrb::test::TemporaryDirectory>();
    // Servers that a test starts may work as another user, who has to get to what lies below.
    std::filesystem::permissions(_folder->path(), std::filesystem::perms(0711));
    ASSERT_EQ(setenv("TMPDIR", _folder->string().c_str(), 1), 0);
  }
  void TearDown() override { _folder.reset(); }

 private:
  std::unique_ptr<qrb::test::TemporaryDirectory> _folder;
};

[[maybe_unused]] const testing::Environment* const ownTemporaryFolder =
    testing::AddGlobalTestEnvironment(new OwnTemporaryFolder);

}  // namespace
