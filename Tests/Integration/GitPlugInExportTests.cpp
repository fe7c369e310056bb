#include <unistd.h>

#include "GitWorkTesting.h"

namespace qrb::test {
namespace {

namespace fs = std::filesystem;

class GitPlugInExportTest : public GitWorkTest {
 protected:
  GitPlugInExportTest() : _folder(_repository.beside("out")) { fs::create_directory(_folder); }

  std::tuple<URL, Error> exportParent(const String& file, const std::string& ofRevision) {
    Reply<URL> reply;
    workingCopy()->exportFile(file, revision(ofRevision), reply.completion());
    return reply.wait();
  }
  static QRBSourceControlRevisionLocationPtr at(const std::string& name) {
    return QRBSourceControlRevisionLocation::initWithRevision(revision(name));
  }
  /// Exports, which must succeed, and removes the file again.
  std::string exported(const String& file, const QRBSourceControlRevisionLocationPtr& location) {
    auto [url, error] = exportTo(file, location, _folder);
    EXPECT_FALSE(error) << error.description() << underlyingMessage(error);
    EXPECT_EQ(url.path().str(), _folder + "/" + fs::path(file.str()).filename().string());
    std::string content = readFile(url.path().str());
    fs::remove(url.path().str());
    return content;
  }
  bool isFolderEmpty() const { return fs::is_empty(_folder); }

  const std::string _folder;
};

TEST_F(GitPlugInExportTest, writesTheFileAsTheLocationHasIt) {
  std::string bytes = std::string("\0\r\n\xff", 4) + std::string(3'000'000, 'x');
  _repository.write("folder/-file\xff", bytes);
  std::string one = _repository.commit("one");
  _repository.run({"tag", "v1"});
  _repository.run({"branch", "old"});
  _repository.write("folder/-file\xff", "two");
  _repository.commit("two");
  _repository.write("folder/-file\xff", "uncommitted");
  String file("folder/-file\xff");
  EXPECT_TRUE(exported(file, at(one)) == bytes);
  EXPECT_TRUE(exported(file, at(one.substr(0, 10))) == bytes);
  EXPECT_TRUE(exported(file, QRBSourceControlTag::initWithTagName("v1")) == bytes);
  EXPECT_TRUE(exported(file, QRBSourceControlBranch::initWithBranchName("old", false)) == bytes);
  EXPECT_EQ(exported(file, nullptr), "two");
  EXPECT_EQ(exported(String(_repository.pathOf(file.view())), at("HEAD")), "two");
}

TEST_F(GitPlugInExportTest, theFileIsWhatACheckoutWouldMakeOfIt) {
  _repository.write(".gitattributes", "*.txt text eol=crlf\n");
  _repository.write("lines.txt", "a\r\nb\r\n");
  _repository.write("program", "#!/bin/sh\n");
  fs::permissions(_repository.pathOf("program"), fs::perms::owner_exec, fs::perm_options::add);
  fs::create_symlink("/etc/passwd", _repository.pathOf("link"));
  _repository.commit("one");
  EXPECT_EQ(_repository.run({"show", "HEAD:lines.txt"}), "a\nb");
  EXPECT_EQ(exported("lines.txt", at("HEAD")), "a\r\nb\r\n");
  EXPECT_FALSE(std::get<1>(exportTo("program", at("HEAD"), _folder)));
  EXPECT_EQ(::access((_folder + "/program").c_str(), X_OK), 0);
  EXPECT_EQ(exported("link", at("HEAD")), "/etc/passwd") << "what the link holds, not a way out of the folder";
}

TEST_F(GitPlugInExportTest, nothingIsOverwrittenAndNothingHalfIsLeft) {
  _repository.write("file", "new");
  _repository.write("folder/x", "");
  _repository.commit("one");
  auto refused = [&](const String& file, const QRBSourceControlRevisionLocationPtr& location,
                     const std::string& folder) { return std::get<1>(exportTo(file, location, folder)); };
  for (const char* file : {"missing", "folder", ".", "", "../file", "/etc/passwd", ".git/config"}) {
    EXPECT_TRUE(has(refused(file, at("HEAD"), _folder), Code::pathNotFound)) << file;
  }
  EXPECT_TRUE(has(refused("file", at("nothing"), _folder), Code::revisionNotFound));
  EXPECT_TRUE(has(refused("file", at("HEAD:file"), _folder), Code::revisionNotFound));
  EXPECT_TRUE(has(refused("file", at("HEAD"), _folder + "/missing"), Code::pathNotFound));
  EXPECT_TRUE(isFolderEmpty());
  std::ofstream(_folder + "/file") << "old";
  EXPECT_TRUE(has(refused("file", at("HEAD"), _folder), Code::repositoryExists));
  EXPECT_EQ(readFile(_folder + "/file"), "old");
  Reply<URL> reply;
  workingCopy()->exportFile("file", at("HEAD"), URL("https://example.org/x"), reply.completion());
  EXPECT_TRUE(has(std::get<1>(reply.wait()), Code::invalidURL));
}

TEST_F(GitPlugInExportTest, theParentHasTheFileUnderItsFormerName) {
  _repository.write("old name", "one\ntwo\nthree\nfour\n");
  std::string one = _repository.commit("one");
  _repository.write("old name", "one\ntwo\nthree\nfour\nfive\n");
  std::string two = _repository.commit("two");
  ASSERT_FALSE(move({"old name"}, {"folder/new name"}));
  _repository.write("folder/new name", "one\ntwo\nthree\nfour\nfive\nsix\n");
  std::string three = _repository.commit("three");
  auto parentOf = [&](const String& file, const std::string& revision) {
    auto [url, error] = exportParent(file, revision);
    EXPECT_FALSE(error) << error.description() << underlyingMessage(error);
    std::string path = url.path().str();
    EXPECT_EQ(fs::path(path).filename(), fs::path(file.str()).filename());
    EXPECT_FALSE(path.starts_with(_repository.root()));
    std::string content = readFile(path);
    fs::remove_all(fs::path(path).parent_path());
    return content;
  };
  EXPECT_EQ(parentOf("old name", two), "one\ntwo\nthree\nfour\n");
  EXPECT_EQ(parentOf("folder/new name", three), "one\ntwo\nthree\nfour\nfive\n");
  EXPECT_EQ(parentOf("folder/new name", "HEAD"), "one\ntwo\nthree\nfour\nfive\n");
  EXPECT_TRUE(has(std::get<1>(exportParent("old name", one)), Code::revisionNotFound)) << "it is the first";
  EXPECT_TRUE(has(std::get<1>(exportParent("missing", two)), Code::pathNotFound));
  EXPECT_TRUE(has(std::get<1>(exportParent("old name", "nothing")), Code::revisionNotFound));
}

}  // namespace
}  // namespace qrb::test
