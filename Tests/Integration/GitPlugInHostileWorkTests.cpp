#include <unistd.h>

#include <functional>

#include "GitWorkTesting.h"
#include "QRBSourceControlBlameItem.h"

// Repositories that somebody hostile has made, and what comes of looking at them and of changing them.
namespace qrb::test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

class GitPlugInHostileTest : public GitWorkTest {
 protected:
  GitPlugInHostileTest() : _mark(_repository.beside("mark")) {
    _repository.write("file", "one\n");
    _repository.write("other", "one\n");
    _repository.commit("one");
    _repository.write("file", "two\n");
    _repository.commit("two");
    _repository.run({"branch", "side", "HEAD^"});
  }

  /// A command that leaves the mark; what a filter gets it passes on.
  std::string markingCommand() const { return "touch '" + _mark + "'; cat"; }
  bool wasRun() {
    bool was = fs::exists(_mark);
    fs::remove(_mark);
    return was;
  }

  std::tuple<std::vector<QRBSourceControlBlameItemPtr>, Error> blame(const String& file) {
    Reply<std::vector<QRBSourceControlBlameItemPtr>> reply;
    workingCopy()->blameFile(file, QRBSourceControlRevisionLocationPtr(), reply.completion());
    return reply.wait();
  }

  /// Everything that only looks.
  void lookAtAll() {
    EXPECT_FALSE(std::get<2>(statusOf(_repository.root(), true)));
    EXPECT_FALSE(std::get<1>(historyOf(workingCopy())));
    EXPECT_FALSE(std::get<1>(blame("file")));
    EXPECT_FALSE(std::get<1>(locationOf(_repository.root())));
    auto base = QRBSourceControlRevisionLocation::initWithRevision(revision("HEAD"));
    auto [url, error] = exportTo("file", base, _repository.beside("."));
    EXPECT_FALSE(error) << underlyingMessage(error);
    fs::remove(_repository.beside("file"));
  }

  const std::string _mark;
};

TEST_F(GitPlugInHostileTest, lookingRunsNothingThatTheRepositoryNames) {
  std::vector<std::pair<std::string, std::string>> settings = {
      {"filter.evil.clean", markingCommand()},
      {"filter.evil.smudge", markingCommand()},
      {"filter.evil.process", markingCommand()},
      {"filter.evil.required", "true"},
      {"filter.e=v.clean", markingCommand()},
      {"filter.e=v.smudge", markingCommand()},
      {"diff.evil.textconv", markingCommand()},
      {"diff.evil.command", markingCommand()},
      {"diff.external", markingCommand()},
      {"core.fsmonitor", markingCommand()},
      {"core.pager", markingCommand()},
      {"core.editor", markingCommand()},
      {"core.sshCommand", markingCommand()},
      {"gpg.program", markingCommand()},
      {"log.showSignature", "true"},
      {"core.hooksPath", _repository.beside("hooks")},
      {"pager.log", markingCommand()},
      {"pager.status", markingCommand()},
      {"alias.log", "!" + markingCommand()},
      {"interactive.diffFilter", markingCommand()},
      {"blame.markUnblamableLines", "true"},
  };
  fs::create_directory(_repository.beside("hooks"));
  for (const char* hook : {"pre-commit", "post-checkout", "post-index-change", "reference-transaction"}) {
    _repository.write("../hooks/" + std::string(hook), "#!/bin/sh\n" + markingCommand() + "\n");
    fs::permissions(_repository.beside("hooks/" + std::string(hook)), fs::perms::owner_all);
  }
  for (const char* attributes : {"* filter=evil diff=evil\n", "* filter=e=v diff=evil\n"}) {
    for (bool isIncluded : {false, true}) {
      _repository.write(".git/info/attributes", attributes);
      std::string file = isIncluded ? _repository.beside("included") : _repository.pathOf(".git/config");
      for (const auto& [name, value] : settings) _repository.run({"config", "--file", file, name, value});
      if (isIncluded) _repository.run({"config", "include.path", file});
      // Of the old size, so that only the content tells.
      _repository.write("file", "2wo\n");
      wasRun();
      lookAtAll();
      EXPECT_FALSE(wasRun()) << attributes;
      _repository.tryRun({"-c", "core.fsmonitor=false", "-c", "core.hooksPath=/dev/null", "status"});
      EXPECT_TRUE(wasRun()) << "git alone would have run a filter";
      _repository.write(".git/config", "[core]\nrepositoryformatversion = 0\n");
    }
  }
}

TEST_F(GitPlugInHostileTest, lookingRunsNothingThatSubmodulesName) {
  // One within another, neither announced by a .gitmodules.
  for (const std::string& part : {std::string("part/inner"), std::string("part")}) {
    std::string path = _repository.pathOf(part);
    auto git = [&](std::vector<std::string> arguments) {
      arguments.insert(arguments.begin(), {"-C", path});
      _repository.run(arguments);
    };
    fs::create_directories(path);
    git({"init", "-q"});
    _repository.write(part + "/file", "one\n");
    git({"add", "."});
    git({"-c", "user.name=x", "-c", "user.email=x@y", "commit", "-q", "-m", "one"});
    _repository.write(part + "/.git/info/attributes", "file filter=evil\n");
    git({"config", "filter.evil.clean", markingCommand()});
    _repository.write(part + "/file", "two\n");
  }
  _repository.run({"-c", "advice.addEmbeddedRepo=false", "add", "part"});
  wasRun();
  lookAtAll();
  EXPECT_FALSE(wasRun());
  EXPECT_TRUE(status().contains("part"));
  EXPECT_FALSE(wasRun());
  _repository.run({"status"});
  EXPECT_TRUE(wasRun()) << "git alone would have run a filter";
}

TEST_F(GitPlugInHostileTest, filtersOfTheUserAreRunWhateverTheRepositoryCallsByTheirName) {
  std::string settings = _repository.beside("settings");
  std::ofstream(settings) << "[filter \"upper\"]\nclean = tr a-z A-Z\nsmudge = tr A-Z a-z\n";
  ::setenv("GIT_CONFIG_GLOBAL", settings.c_str(), 1);
  _repository.write(".git/info/attributes", "upper* filter=upper\n");
  _repository.run({"config", "filter.upper.clean", markingCommand()});
  _repository.run({"config", "filter.upper.smudge", markingCommand()});
  _repository.run({"-c", "filter.upper.clean=tr a-z A-Z", "hash-object", "-w", "--path=upper", "other"});
  _repository.write("upper", "text\n");
  _repository.run({"-c", "filter.upper.clean=tr a-z A-Z", "add", "upper"});
  _repository.commitStaged("three");
  // A new time: the content has to be read to see that nothing has changed.
  fs::last_write_time(_repository.pathOf("upper"), fs::file_time_type::clock::now() - std::chrono::hours(1));
  wasRun();
  EXPECT_EQ(status(), (std::map<std::string, Words>()));
  EXPECT_FALSE(std::get<1>(exportTo("upper", nullptr, _repository.beside("."))));
  EXPECT_EQ(readFile(_repository.beside("upper")), "text\n");
  EXPECT_FALSE(wasRun());
  ::setenv("GIT_CONFIG_GLOBAL", "/dev/null", 1);
}

TEST_F(GitPlugInHostileTest, objectsThatAreMissingAreFetchedByNoProgramOfTheRepository) {
  _repository.write("../program", "#!/bin/sh\n" + markingCommand());
  fs::permissions(_repository.beside("program"), fs::perms::owner_all);
  std::string object = _repository.run({"rev-parse", "HEAD^:file"});
  fs::remove(_repository.pathOf(".git/objects/" + object.substr(0, 2) + "/" + object.substr(2)));
  for (const auto& [name, value] :
       std::vector<std::pair<std::string, std::string>>{{"extensions.partialClone", "origin"},
                                                        {"remote.origin.promisor", "true"},
                                                        {"core.sshCommand", markingCommand()},
                                                        {"core.gitProxy", _repository.beside("program")},
                                                        {"remote.origin.uploadpack", markingCommand()},
                                                        {"core.repositoryFormatVersion", "1"}}) {
    _repository.run({"config", name, value});
  }
  ::setenv("GIT_SSH_VARIANT", "simple", 1);
  for (const std::string& url : {std::string("ssh://localhost:1/x"), "file://" + _repository.beside("x"),
                                 _repository.beside("x"), std::string("git://localhost:1/x"), "ext::sh -c " + _mark}) {
    _repository.run({"config", "remote.origin.url", url});
    EXPECT_TRUE(std::get<1>(blame("file"))) << url;
    EXPECT_FALSE(wasRun()) << url;
    _repository.tryRun({"blame", "file"});
    // All but the last, which git refuses by itself.
    EXPECT_EQ(wasRun(), !url.starts_with("ext:")) << "git alone would have run it: " << url;
  }
  ::unsetenv("GIT_SSH_VARIANT");
}

TEST_F(GitPlugInHostileTest, changesAreMadeInTheFolderThatWasAskedForAndNowhereElse) {
  std::string elsewhere = _repository.beside("elsewhere");
  fs::create_directory(elsewhere);
  std::ofstream(elsewhere + "/file") << "precious";
  _repository.run({"config", "core.worktree", elsewhere});
  auto side = QRBSourceControlBranch::initWithBranchName("side", false);
  const std::vector<std::pair<const char*, std::function<Error()>>> requests = {
      {"discard all", [&] { return discardAll(); }},
      {"remove", [&] { return remove({"file"}); }},
      {"add", [&] { return add({"file"}); }},
      {"commit", [&] { return std::get<1>(commit({"file"})); }},
      {"switch", [&] { return std::get<1>(switchTo(side)); }},
      {"merge", [&] { return merge(side); }},
  };
  for (const auto& [name, request] : requests) {
    Error error = request();
    EXPECT_TRUE(has(error, Code::workingCopyNotFound)) << name << ": " << error.description();
    EXPECT_THAT(underlyingMessage(error), HasSubstr("core.worktree")) << name;
    EXPECT_EQ(readFile(elsewhere + "/file"), "precious") << name;
  }
}

TEST_F(GitPlugInHostileTest, aRepositoryOfSomebodyElseIsNotChanged) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  for (const std::string& path : {_repository.root(), _repository.pathOf(".git")}) {
    ASSERT_EQ(::chown(path.c_str(), 12345, 12345), 0);
  }
  _repository.write("file", "changed\n");
  _repository.write(".git/hooks/pre-commit", "#!/bin/sh\n" + markingCommand() + "\n");
  fs::permissions(_repository.pathOf(".git/hooks/pre-commit"), fs::perms::owner_all);
  auto side = QRBSourceControlBranch::initWithBranchName("side", false);
  const std::vector<std::pair<const char*, std::function<Error()>>> requests = {
      {"add", [&] { return add({"file"}); }},
      {"commit", [&] { return std::get<1>(commit({"file"})); }},
      {"commit all", [&] { return std::get<1>(commit({})); }},
      {"discard", [&] { return discard({"file"}); }},
      {"discard all", [&] { return discardAll(); }},
      {"move", [&] { return move({"other"}, {"x"}); }},
      {"copy", [&] { return copy({"other"}, {"x"}); }},
      {"resolve", [&] { return resolve({"file"}); }},
      {"switch", [&] { return std::get<1>(switchTo(side)); }},
      {"merge", [&] { return merge(side); }},
      {"blame", [&] { return std::get<1>(blame("file")); }},
      {"export", [&] { return std::get<1>(exportTo("file", nullptr, _repository.beside("."))); }},
  };
  for (const auto& [name, request] : requests) {
    Error error = request();
    EXPECT_TRUE(has(error, Code::authenticationPermissionDenied)) << name << ": " << error.description();
    EXPECT_THAT(underlyingMessage(error), HasSubstr("safe.directory")) << name;
  }
  EXPECT_EQ(read("file") + read("x"), "changed\n(gone)");
  EXPECT_FALSE(wasRun());
}

TEST_F(GitPlugInHostileTest, messagesAndNamesAreNeverOptions) {
  for (const char* name : {"--amend", "-m", "--", "--pathspec-from-file=/etc/passwd", ":(exclude)*", ":!file"}) {
    _repository.write(name, "x");
    ASSERT_FALSE(add({name})) << name;
    auto [revision, error] = commit({name}, "--amend");
    ASSERT_TRUE(revision) << name << error.description();
    EXPECT_EQ(_repository.run({"show", "--format=%s", "--name-only", "-z", "HEAD"}),
              std::string("--amend") + '\0' + "\n" + name + '\0');
    EXPECT_EQ(std::get<0>(blame(name)).size(), 1u);
    EXPECT_FALSE(std::get<1>(exportTo(name, nullptr, _repository.beside("."))));
    EXPECT_EQ(readFile(_repository.beside(fs::path(name).filename().string())), "x");
    EXPECT_FALSE(move({name}, {String(std::string(name) + "x")}));
    EXPECT_FALSE(discard({name}));
    EXPECT_EQ(status(), (std::map<std::string, Words>())) << name;
    EXPECT_FALSE(remove({name}));
    EXPECT_FALSE(std::get<1>(commit({name})));
  }
}

}  // namespace
}  // namespace qrb::test
