// The small tools that plug-ins find in their base class.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <stdexcept>
#include <thread>

#include "Assertion.h"
#include "Log.h"
#include "QRBSourceControlPlugInPrimary.h"
#include "RunLoop.h"

namespace {

namespace fs = std::filesystem;
using qrb::FileHandle;
using qrb::RunLoop;

struct PlugIn : QRBSourceControlPlugInPrimary {
  using QRBSourceControlPlugInPrimary::_launchPathForTask;
  using QRBSourceControlPlugInPrimary::_readDataFromFileHandle;
  using QRBSourceControlPlugInPrimary::setIncrementalLogStatus;
  using QRBSourceControlPlugInPrimary::setProgressStatus;
  using QRBSourceControlPlugInPrimary::tempFilePathBasedOnFileName;
};

// A temporary path

class TemporaryPath : public testing::Test {
 protected:
  fs::path make(const char* name) {
    fs::path path(PlugIn::tempFilePathBasedOnFileName(name).path().str());
    _folders.push_back(path.parent_path());
    return path;
  }
  void TearDown() override {
    for (const fs::path& folder : _folders) fs::remove_all(folder);
  }
  std::vector<fs::path> _folders;
};

TEST_F(TemporaryPath, StandsInANewFolderThatOnlyTheUserMayEnter) {
  fs::path path = make("/a/b/file.txt");
  EXPECT_EQ(path.filename(), "file.txt");
  EXPECT_EQ(path.parent_path().parent_path(), fs::temp_directory_path());
  EXPECT_FALSE(fs::exists(path));
  struct stat info {};
  ASSERT_EQ(::stat(path.parent_path().c_str(), &info), 0);
  EXPECT_TRUE(S_ISDIR(info.st_mode));
  EXPECT_EQ(info.st_mode & 0777, 0700u);
}

TEST_F(TemporaryPath, KeepsTheBytesOfTheName) {
  for (const char* name : {"a b%41?#.txt", "\xff\xfe", "-rf", "..."}) EXPECT_EQ(make(name).filename(), name);
}

TEST_F(TemporaryPath, IsAbsentForANameThatWouldReachOutOfTheNewFolder) {
  for (const char* name : {"", "/", ".", "..", "/tmp/..", "a/."}) {
    EXPECT_FALSE(PlugIn::tempFilePathBasedOnFileName(name)) << name;
  }
  EXPECT_FALSE(PlugIn::tempFilePathBasedOnFileName({}));
}

// Where tools are

// Search terms

// Readers

struct Reader {
  explicit Reader(std::int64_t& counter) : outstanding(counter) {
    qrb::DescriptorPair pipe = qrb::makePipe();
    input = std::move(pipe.second);
    handle = FileHandle::make(std::move(pipe.first));
  }
  void start() {
    token = PlugIn::_readDataFromFileHandle(handle, buffer, outstanding,
                                            [this](std::string_view chunk) { chunks.emplace_back(chunk); });
  }
  void write(std::string_view text) { ASSERT_TRUE(qrb::writeFully(input.get(), text)); }

  std::int64_t& outstanding;
  qrb::FileDescriptor input;
  std::shared_ptr<FileHandle> handle;
  std::string buffer;
  std::vector<std::string> chunks;
  qrb::ObserverToken token;
};

TEST(OutputReader, SharesItsCounterWithOthersAndAllHasComeWhenItIsZero) {
  std::int64_t outstanding = 0;
  Reader first(outstanding), second(outstanding);
  first.start();
  second.start();
  EXPECT_EQ(outstanding, 2);
  second.write("late");
  first.input.reset();
  EXPECT_EQ(RunLoop::current().runOnce(), 2u);
  EXPECT_EQ(outstanding, 1);
  EXPECT_EQ(second.buffer, "late");
  second.input.reset();
  EXPECT_EQ(RunLoop::current().runOnce(), 1u);
  EXPECT_EQ(outstanding, 0);
  EXPECT_EQ(RunLoop::current().runOnce(), 0u) << "nothing is left to wait for";
}

TEST(OutputReader, TakesAHandleThatIsClosedOrCannotBeReadAsEnded) {
  std::int64_t outstanding = 0;
  Reader closed(outstanding), folder(outstanding);
  folder.handle = FileHandle::make(qrb::FileDescriptor(::open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC)));
  closed.start();
  folder.start();
  EXPECT_EQ(outstanding, 2);
  closed.handle->close();
  RunLoop::current().run();
  EXPECT_EQ(outstanding, 0);
  EXPECT_EQ(closed.buffer + folder.buffer, "");
  EXPECT_THROW(closed.handle->availableData(), qrb::FileHandleError);
  EXPECT_THROW(folder.handle->availableData(), qrb::FileHandleError);
}

TEST(OutputReader, LetsWhatItsParserThrowOutAndLeavesTheOthersWaiting) {
  std::int64_t outstanding = 0;
  Reader failing(outstanding), other(outstanding);
  failing.token = PlugIn::_readDataFromFileHandle(failing.handle, failing.buffer, outstanding,
                                                  [](std::string_view) { throw std::runtime_error("bad output"); });
  other.start();
  failing.write("x");
  other.write("y");
  EXPECT_THROW(RunLoop::current().runOnce(), std::runtime_error);
  EXPECT_EQ(RunLoop::current().runOnce(), 1u);
  EXPECT_EQ(other.buffer, "y");
  other.input.reset();
  RunLoop::current().run();
}

TEST(OutputReader, ReadsNoMoreOnceItsTokenIsGone) {
  std::int64_t outstanding = 0;
  Reader reader(outstanding);
  reader.start();
  reader.write("read");
  RunLoop::current().runOnce();
  reader.token.reset();
  reader.write("left");
  RunLoop::current().runOnce();
  EXPECT_EQ(reader.buffer, "read");
  EXPECT_EQ(reader.handle->availableData(), "left");
}

TEST(OutputReader, CollectsMoreThanAPipeHolds) {
  std::int64_t outstanding = 0;
  Reader reader(outstanding);
  reader.start();
  std::string text(300000, 'x');
  std::thread writer([&] {
    EXPECT_TRUE(qrb::writeFully(reader.input.get(), text));
    reader.input.reset();
  });
  RunLoop::current().run();
  writer.join();
  EXPECT_TRUE(reader.buffer == text);
  EXPECT_GT(reader.chunks.size(), 1u);
}

// What a plug-in must not call

}  // namespace
