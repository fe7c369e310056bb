// The user's list of accounts: nothing in it is lost, whoever writes it, whenever it is interrupted.
#include "AccountFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include "FileReplacement.h"
#include "TemporaryDirectory.h"

namespace {

namespace fs = std::filesystem;
using host::AccountFile;
using host::FileReplacement;
using nlohmann::json;
using testing::HasSubstr;

class AccountFileTest : public testing::Test {
 protected:
  void write(const std::string& text) {
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream(path) << text;
  }
  std::string text() const {
    std::ifstream stream(path);
    return {std::istreambuf_iterator<char>(stream), {}};
  }
  static unsigned modeOf(const fs::path& path) {
    struct stat status {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
  }
  void append(const std::string& name) {
    qrb::Error error = file.update([&](AccountFile::Records& records) { records.push_back({{"n", name}}); });
    EXPECT_FALSE(error) << error.description();
  }
  AccountFile::Records records() const {
    auto read = file.read();
    EXPECT_TRUE(read) << read.error().description();
    return read.valueOr({});
  }

  qrb::test::TemporaryDirectory folder;
  std::string path = folder.string() + "/config/qrbscm/accounts.json";
  AccountFile file{path};
};

TEST_F(AccountFileTest, IsPrivateWhateverTheUmaskAndNoFileIsAnEmptyList) {
  EXPECT_TRUE(records().empty());
  mode_t umaskBefore = ::umask(0);
  append("one");
  append("two");
  ::umask(umaskBefore);
  EXPECT_EQ(modeOf(path), 0600u);
  EXPECT_EQ(modeOf(fs::path(path).parent_path()), 0700u);
  EXPECT_EQ(records().size(), 2u);
}

TEST_F(AccountFileTest, BecomesPrivateWithTheNextChange) {
  write("{}");
  fs::permissions(path, fs::perms(0644));
  append("one");
  EXPECT_EQ(modeOf(path), 0600u);
}

TEST_F(AccountFileTest, KeepsWhatItDoesNotKnow) {
  write(R"({"later": [1, {"x": null}], "QRBSourceControlAccountDefaultsKey": [{"n": "one", "colour": "red"}]})");
  append("two");
  json document = json::parse(text());
  EXPECT_EQ(document["later"], json::parse(R"([1, {"x": null}])"));
  EXPECT_EQ(document["QRBSourceControlAccountDefaultsKey"][0], json::parse(R"({"n": "one", "colour": "red"})"));
  EXPECT_EQ(document["QRBSourceControlAccountDefaultsKey"].size(), 2u);
}

TEST_F(AccountFileTest, AFileThatIsNotUnderstoodIsRefusedAndKept) {
  const char* cases[] = {
      "",
      "{",
      "{\"QRBSourceControlAccountDefaultsKey\": [}",
      "[]",
      "\"text\"",
      "{\"QRBSourceControlAccountDefaultsKey\": {}}",
      "{\"QRBSourceControlAccountDefaultsKey\": [1]}",
      "{} trailing",
      "\xff\xfe{}",
      "{\"a\": \"\xC3(\"}",
  };
  for (const char* each : cases) {
    write(each);
    for (const qrb::Error& error : {file.read().error(), file.update([](auto& records) { records.clear(); })}) {
      EXPECT_THAT(error.localizedDescription(), HasSubstr(path)) << each;
      EXPECT_FALSE(error.localizedRecoverySuggestion().empty());
    }
    EXPECT_EQ(text(), each) << "what the user has is lost";
  }
}

TEST_F(AccountFileTest, ACrashBeforeTheRenameLeavesTheOldFileAndDisturbsNobody) {
  append("one");
  std::string before = text();
  EXPECT_EXIT(
      {
        FileReplacement replacement(path);
        if (!replacement.write("half of something new")) ::raise(SIGKILL);
        ::_exit(1);
      },
      testing::KilledBySignal(SIGKILL), "");
  ASSERT_TRUE(fs::exists(path + ".new")) << "the crash was not where this test wants it";
  EXPECT_EQ(modeOf(path + ".new"), 0600u);
  EXPECT_EQ(text(), before);
  append("two");
  EXPECT_EQ(records().size(), 2u);
  EXPECT_FALSE(fs::exists(path + ".new"));
}

TEST_F(AccountFileTest, ALinkInItsPlaceStaysALink) {
  std::string elsewhere = folder.string() + "/kept-elsewhere.json";
  std::ofstream(elsewhere) << "{}";
  fs::create_directories(fs::path(path).parent_path());
  fs::create_symlink(elsewhere, path);
  append("one");
  EXPECT_TRUE(fs::is_symlink(path));
  EXPECT_EQ(records().size(), 1u);
}

TEST_F(AccountFileTest, ManyWritersLoseNothingOfEachOther) {
  constexpr int kWriters = 8;
  constexpr int kEach = 10;
  std::vector<std::thread> writers;
  for (int writer = 0; writer < kWriters; ++writer) {
    writers.emplace_back([&, writer] {
      for (int number = 0; number < kEach; ++number) append(std::to_string(writer * kEach + number));
    });
  }
  for (std::thread& writer : writers) writer.join();
  std::vector<std::string> names;
  for (const auto& record : records()) names.push_back(record["n"]);
  std::sort(names.begin(), names.end());
  EXPECT_EQ(std::unique(names.begin(), names.end()) - names.begin(), kWriters * kEach);
}

TEST_F(AccountFileTest, AFolderThatCannotBeMadeIsAnError) {
  std::ofstream(folder.string() + "/config") << "in the way";
  EXPECT_TRUE(file.update([](AccountFile::Records& records) { records.push_back(json::object()); }));
}

}  // namespace
