#include <sys/stat.h>

#include "RandomCancellation.h"
#include "SubversionTesting.h"

// What a working copy or a server says is not trusted, and what is cut off leaves nothing in the way.
namespace qrb::test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

class SubversionSafetyTest : public SubversionTest {
 protected:
  Error statusError(const QRBSourceControlWorkingCopyPtr& workingCopy) const {
    Reply<QRBSourceControlPathStatusesPtr, QRBSourceControlPathStatusesPtr> reply;
    manager()->filesAndStatusOfWorkingCopy(workingCopy, true, reply.completion());
    return std::get<2>(reply.wait());
  }
  /// A program in PATH under the name of ssh that leaves a mark.
  std::string plantPrograms() const {
    std::string mark = _repository.pathOf("mark");
    std::ofstream(_repository.pathOf("evil")) << "#!/bin/sh\necho ran >>" << mark << "\n";
    fs::permissions(_repository.pathOf("evil"), fs::perms(0755));
    return mark;
  }
};

TEST_F(SubversionSafetyTest, externalsStayOnTheRepositorysServerAndInTheirFolder) {
  _repository.run({"svnadmin", "create", _repository.pathOf("foreign")});
  std::string mark = plantPrograms();
  fs::create_directories(_repository.pathOf("home/.subversion"));
  std::ofstream(_repository.pathOf("home/.subversion/config"))
      << "[tunnels]\nevil = " << _repository.pathOf("evil") << "\n";
  fs::create_directory(_repository.pathOf("outside"));
  _repository.write("file.txt", "1\n");
  _repository.commit();
  _repository.svn({"mkdir", "-m", "lib", _repository.url("lib"), _repository.url("lib/inner")});
  // A nested one leads on.
  _repository.svn({"checkout", _repository.url("lib"), _repository.pathOf("lib")});
  _repository.svn({"propset", "svn:externals", "^/trunk again\nfile://" + _repository.pathOf("foreign") + " deep",
                   _repository.pathOf("lib")});
  _repository.svn({"commit", "-m", "nested", _repository.pathOf("lib")});
  const std::vector<std::pair<std::string, bool>> table = {
      {"^/lib allowed", true},
      {"^/lib@1 pinned-too-early", false},
      {"file://" + _repository.pathOf("foreign") + " foreign", false},
      {"^/../foreign sideways", false},
      {"svn+evil://host/x tunnel", false},
      {"svn+ssh://-oProxyCommand=" + _repository.pathOf("evil") + "/x option", false},
      {"http://127.0.0.1:1/x elsewhere", false},
      {"^/lib .svn/hidden", false},
  };
  std::string definitions;
  for (const auto& [definition, allowed] : table) definitions += definition + "\n";
  std::ofstream(_repository.pathOf("definitions")) << definitions;
  _repository.svn({"propset", "--force", "svn:externals", "-F", _repository.pathOf("definitions"), "."});
  _repository.svn({"commit", "-m", "externals", "--depth", "empty", "."});
  ::setenv("HOME", _repository.pathOf("home").c_str(), 1);
  auto [made, error] = checkout(_repository.url("trunk"), _repository.pathOf("made"));
  ASSERT_TRUE(made) << error.description() << underlyingMessage(error);
  for (const auto& [definition, allowed] : table) {
    std::string target = definition.substr(definition.rfind(' ') + 1);
    EXPECT_EQ(fs::exists(_repository.pathOf("made/" + target)), allowed) << definition;
  }
  EXPECT_TRUE(fs::exists(_repository.pathOf("made/allowed/again/file.txt")));
  EXPECT_FALSE(fs::exists(_repository.pathOf("made/allowed/deep")));
  EXPECT_FALSE(fs::exists(mark));
}

TEST_F(SubversionSafetyTest, whatAWorkingCopySaysOfItselfIsRefusedOrHarmless) {
  _repository.write("file.txt", "1\n");
  _repository.commit();
  std::string mark = plantPrograms();
  auto copyOfWork = [&](const std::string& name) {
    fs::copy(_repository.root(), _repository.pathOf(name), fs::copy_options::recursive);
    return _repository.pathOf(name);
  };
  struct Case {
    const char* what;
    std::function<void(const std::string& root)> harm;
  };
  auto setURL = [&](const std::string& root, const std::string& url) {
    _repository.run({"/usr/bin/python3", "-c",
                     "import sqlite3,sys\nd=sqlite3.connect(sys.argv[1])\nd.execute('update repository set "
                     "root=?',(sys.argv[2],))\nd.commit()",
                     root + "/.svn/wc.db", url});
  };
  const Case cases[] = {
      {"damaged database",
       [](const std::string& root) {
         std::ofstream(root + "/.svn/wc.db", std::ios::binary) << std::string(20000, 'x');
       }},
      {"empty database", [](const std::string& root) { fs::resize_file(root + "/.svn/wc.db", 0); }},
      {"administrative folder that is a link",
       [&](const std::string& root) {
         fs::rename(root + "/.svn", root + "/data");
         fs::create_directory_symlink("data", root + "/.svn");
       }},
      {"database that is a link",
       [&](const std::string& root) {
         fs::rename(root + "/.svn/wc.db", root + "/data");
         fs::create_symlink("../data", root + "/.svn/wc.db");
       }},
      {"database that is a pipe",
       [](const std::string& root) {
         fs::remove(root + "/.svn/wc.db");
         ::mkfifo((root + "/.svn/wc.db").c_str(), 0600);
       }},
      {"address of a program", [&](const std::string& root) { setURL(root, "svn+evil://host/repository"); }},
      {"address of an option",
       [&](const std::string& root) { setURL(root, "svn+ssh://-oProxyCommand=" + _repository.pathOf("evil") + "/x"); }},
      {"address of another server", [&](const std::string& root) { setURL(root, "svn://127.0.0.1:1/repository"); }},
  };
  int number = 0;
  for (const Case& each : cases) {
    SCOPED_TRACE(each.what);
    std::string root = copyOfWork("harmed" + std::to_string(++number));
    each.harm(root);
    auto harmed = workingCopyAt(root, _repository.rootURL());
    Error error = statusError(harmed);
    EXPECT_TRUE(error);
    EXPECT_NE(error.domain(), String("NSCocoaErrorDomain")) << "the plug-in died";
    Error changing = perform([&](auto done) { harmed->discardAllChangesWithCompletionBlock(done); });
    EXPECT_FALSE(changing.code() == 4097) << changing.description();
    EXPECT_FALSE(fs::exists(mark));
  }
}

TEST_F(SubversionSafetyTest, whatIsCancelledAtAnyMomentLeavesTheWorkingCopyUsable) {
  constexpr int files = 60;
  auto fill = [&](const std::string& text) {
    for (int number = 0; number < files; ++number) {
      _repository.write("folder/" + std::to_string(number), text + std::string(3000, 'x') + "\n");
    }
  };
  fill("trunk");
  _repository.commit();
  _repository.svn({"copy", "-m", "branch", _repository.url("trunk"), _repository.url("branches/side")});
  _repository.svn({"switch", _repository.url("branches/side")});
  fill("side");
  _repository.commit();
  _repository.svn({"switch", _repository.url("trunk")});
  auto settle = [](auto completion) { return [=](const auto&, const Error& error) { completion(error); }; };
  std::string made;
  std::string when;
  auto tally = cancelAtRandomMoments(
      _repository.root(), 200, 7,
      [&](int number, auto completion) -> QRBSourceControlCancellablePtr {
        auto here = workingCopy();
        when = std::to_string(number);
        switch (number % 6) {
          case 0:
            _repository.write("folder/1", when);
            return manager()->commitFiles({}, here, when, settle(completion));
          case 1:
            return manager()->switchLocation(branch(number % 2 == 0 ? "trunk" : "side"), here, settle(completion));
          case 2:
            return manager()->mergeBranch(branch("side"), here, completion);
          case 3:
            return manager()->forceUpdateWorkingCopy(here, remoteAt(_repository.rootURL()), {}, completion);
          case 4:
            return manager()->blameFile("folder/1", here, nullptr, settle(completion));
          default:
            made = _repository.pathOf("made" + when);
            return manager()->createWorkingCopyFromRepository(
                remoteAt(_repository.url("trunk")), URL::fileURL(made, true), nullptr, nullptr, {}, settle(completion));
        }
      },
      [&](int number, const Error& error) {
        std::string info = _repository.svn({"status"});
        EXPECT_EQ(info.find("  L"), std::string::npos) << when << " left a lock:\n" << info;
        if (number % 6 == 5) {
          EXPECT_EQ(fs::exists(made), !error) << made;
          fs::remove_all(made);
        }
        // As the next one needs it, and as svn itself would work.
        _repository.svn({"revert", "-R", "."});
        if (number % 6 == 3) _repository.svn({"switch", _repository.url("trunk")});
      });
  EXPECT_GT(tally.cancelled, 20);
  for (const auto& entry : fs::directory_iterator(fs::temp_directory_path())) {
    EXPECT_TRUE(entry.path().filename().string().starts_with("qrb-test-")) << "left " << entry.path();
  }
  EXPECT_EQ(_repository.run({"svnadmin", "verify", "-q", _repository.pathOf("repository")}), "");
}

}  // namespace
}  // namespace qrb::test
