#include <filesystem>
#include <fstream>
#include <functional>

#include "GitPlugInTesting.h"
#include "QRBSourceControlRemoteRepository.h"

// Names that would make git do something else if they reached it as they are, in every request that takes a name. Each
// has to be refused with an error that says which name it was, and to leave no trace.
namespace qrb::test {
namespace {

using testing::HasSubstr;
using testing::Not;

/// What requests are made of in the repository of a test.
struct Place {
  QRBSourceControlRepositoryPtr local;
  QRBSourceControlWorkingCopyPtr copy;
  QRBSourceControlRemoteRepositoryPtr itself;
  /// For a clone of it.
  URL clone;
};

/// The completion of any request.
struct Done {
  template <class... Values>
  void operator()(const Values&... values) const {
    promise->set_value(std::get<sizeof...(Values) - 1>(std::tie(values...)));
  }
  std::shared_ptr<std::promise<Error>> promise = std::make_shared<std::promise<Error>>();
};

/// Where one kind of name goes into a request.
struct Request {
  std::string name;
  std::function<void(const Place& at, const std::string& hostile, Done done)> send;
};

class GitHostileNames : public GitPlugInTest {
 protected:
  static QRBSourceControlBranchPtr branch(const std::string& name) {
    return QRBSourceControlBranch::initWithBranchName(name, false);
  }
  static QRBSourceControlBranchPtr branch(const std::string& name, const std::string& remote) {
    return QRBSourceControlBranch::initWithBranchNameRemoteName(name, false, remote);
  }
  static QRBSourceControlBranchPtr newBranch(const std::string& name, const String& remote = {}) {
    return QRBSourceControlBranch::initWithNewBranchName(name, remote);
  }
  static QRBSourceControlRevisionLocationPtr at(const std::string& text) {
    return QRBSourceControlRevisionLocation::initWithRevision(revision(text));
  }
  static QRBSourceControlRemoteRepositoryPtr remoteAt(const std::string& url) {
    return QRBSourceControlRemoteRepository::initUnsavedWithURL(URL(url), system());
  }
  Place place() const {
    return {repositoryAt(_repository.root()), workingCopyAt(_repository.root()),
            remoteAt(URL::fileURL(_repository.root(), true).absoluteString().str()),
            URL::fileURL(_repository.beside("clone"), true)};
  }

  /// Every file below the repository's folder with its size and last change: what an attack would leave a trace in.
  static std::map<std::string, std::string> traces(const GitRepository& repository) {
    std::map<std::string, std::string> result;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(repository.beside(""))) {
      std::string& trace = result[entry.path().string()];
      if (!entry.is_regular_file()) continue;
      std::ifstream stream(entry.path(), std::ios::binary);
      trace.assign(std::istreambuf_iterator<char>(stream), {});
    }
    return result;
  }

  void expectRefused(const Request& each, const std::string& hostile) {
    const std::string& request = each.name;
    Done done;
    auto future = done.promise->get_future();
    each.send(place(), hostile, done);
    ASSERT_EQ(future.wait_for(std::chrono::seconds(60)), std::future_status::ready) << request;
    Error error = future.get();
    EXPECT_TRUE(error) << request << " took " << hostile;
    EXPECT_EQ(error.domain(), String(QRBSourceControlErrorDomain)) << request << ": " << error.description();
    // Not by the plug-in's dying of it, and not as something that the user could put right elsewhere.
    EXPECT_LT(error.code(), 0) << request;
    std::string said = error.localizedDescription() + "\n" + underlyingMessage(error);
    EXPECT_THAT(said, HasSubstr(hostile)) << request;
  }

  GitRepository _repository;
};

TEST_F(GitHostileNames, areRefusedByNameAndLeaveNoTrace) {
  _repository.write("file", "1");
  _repository.commit("one");
  _repository.run({"branch", "other"});
  _repository.run({"remote", "add", "origin", "https://host/path"});
  std::string touched = _repository.beside("pwned");
  const std::string hostile[] = {"--upload-pack=touch " + touched,
                                 "--output=" + touched,
                                 "-c core.sshCommand=touch " + touched,
                                 "-d",
                                 "--all",
                                 "--exec=touch " + touched,
                                 "ext::sh -c touch% " + touched,
                                 "main\nother",
                                 "../../../pwned",
                                 "a..b",
                                 "main..other",
                                 "^main",
                                 "main^!",
                                 "HEAD:file",
                                 ":/one",
                                 "refs/heads/*:refs/heads/x",
                                 "@{-1}..main",
                                 "main\x1b[2J:"};
  std::vector<Request> requests = {
      {"parents", [](auto& in, auto& name,
                     auto done) { manager()->parentBranchesOfBranch(branch(name), in.local, nullptr, done); }},
      {"ancestor",
       [](auto& in, auto& name, auto done) {
         manager()->ancestorRevisionInRepository(in.local, branch(name), branch("main"), nullptr, done);
       }},
      {"other's ancestor",
       [](auto& in, auto& name, auto done) {
         manager()->ancestorRevisionInRepository(in.local, branch("main"), branch(name), nullptr, done);
       }},
      {"new branch", [](auto& in, auto& name,
                        auto done) { manager()->addBranch(newBranch(name), nullptr, in.local, nullptr, done); }},
      {"branch to begin at",
       [](auto& in, auto& name, auto done) {
         manager()->addBranch(branch("new"), branch(name), in.local, nullptr, done);
       }},
      {"new branch there",
       [](auto& in, auto& name, auto done) {
         manager()->addBranch(newBranch(name, "origin"), nullptr, in.local, nullptr, done);
       }},
      {"new branch on a remote",
       [](auto& in, auto& name, auto done) {
         manager()->addBranch(newBranch("new", name), nullptr, in.local, nullptr, done);
       }},
      {"removed branch", [](auto& in, auto& name,
                            auto done) { manager()->removeBranch(branch(name), in.local, nullptr, nullptr, done); }},
      {"removed remote branch",
       [](auto& in, auto& name, auto done) {
         manager()->removeBranch(branch(name, "origin"), in.local, nullptr, nullptr, done);
       }},
      {"branch removed there",
       [](auto& in, auto& name, auto done) {
         manager()->removeBranch(branch(name), in.local, in.itself, nullptr, done);
       }},
      {"upstream",
       [](auto& in, auto& name, auto done) { manager()->remoteBranchFromRepository(in.local, branch(name), done); }},
      {"new remote",
       [](auto& in, auto& name, auto done) {
         manager()->addRemoteRepository(remoteAt("https://host/path"), name, in.local, done);
       }},
      {"removed remote",
       [](auto& in, auto& name, auto done) { manager()->removeRemoteRepositoryNamed(name, in.local, done); }},
      {"branch sent to",
       [](auto& in, auto& name, auto done) {
         manager()->uploadCommitsToRemoteRepository(in.itself, in.local, branch(name), {}, done);
       }},
      {"branch asked for",
       [](auto& in, auto& name, auto done) {
         manager()->validateAuthenticationOfRepository(in.itself, branch(name), nullptr, done);
       }},
      {"merged branch", [](auto& in, auto& name, auto done) { manager()->mergeBranch(branch(name), in.copy, done); }},
      {"new branch switched to",
       [](auto& in, auto& name, auto done) { manager()->switchLocation(newBranch(name), in.copy, done); }},
      {"file before a revision",
       [](auto& in, auto& name, auto done) {
         manager()->exportFileForParentOfRevision("file", in.copy, revision(name), done);
       }},
      {"history from",
       [](auto& in, auto& name, auto done) {
         manager()->historyOfWorkingCopy(in.copy, revision(name), revision(""), 0, 0, {}, 0, {}, done);
       }},
      {"history to",
       [](auto& in, auto& name, auto done) {
         manager()->historyOfWorkingCopy(in.copy, revision("HEAD"), revision(name), 0, 0, {}, 0, {}, done);
       }},
  };
  using Location = QRBSourceControlRevisionLocationPtr;
  const std::pair<const char*, std::function<Location(const std::string&)>> locations[] = {
      {"branch", [](auto& name) { return branch(name); }},
      {"remote branch", [](auto& name) { return branch(name, "origin"); }},
      {"branch of a remote", [](auto& name) { return branch("main", name); }},
      {"tag", [](auto& name) { return QRBSourceControlTag::initWithTagName(name); }},
      {"revision", [](auto& name) { return at(name); }},
      {"pinned branch", [](auto& name) { return branch("main")->locationWithRevision(revision(name)); }},
  };
  const std::pair<const char*, std::function<void(const Place&, const Location&, Done)>> ofLocations[] = {
      {"revision",
       [](auto& in, auto& where, auto done) { manager()->revisionOfLocation(where, in.local, nullptr, done); }},
      {"difference",
       [](auto& in, auto& where, auto done) { manager()->diffRepository(in.local, where, at("HEAD"), nullptr, done); }},
      {"other difference",
       [](auto& in, auto& where, auto done) { manager()->diffRepository(in.local, at("HEAD"), where, nullptr, done); }},
      {"clone",
       [](auto& in, auto& where, auto done) {
         manager()->createWorkingCopyFromRepository(in.itself, in.clone, where, nullptr, {}, done);
       }},
      {"switch", [](auto& in, auto& where, auto done) { manager()->switchLocation(where, in.copy, done); }},
      {"file", [](auto& in, auto& where,
                  auto done) { manager()->exportFileFromRevisionLocation("file", in.copy, where, URL(), done); }},
      {"lines", [](auto& in, auto& where, auto done) { manager()->blameFile("file", in.copy, where, done); }},
  };
  for (const auto& [what, send] : ofLocations) {
    for (const auto& [kind, make] : locations) {
      requests.push_back({what + std::string(" of a ") + kind,
                          [send = send, make = make](auto& in, auto& name, auto done) { send(in, make(name), done); }});
    }
  }
  auto before = traces(_repository);
  for (const Request& request : requests) {
    for (const std::string& name : hostile) expectRefused(request, name);
  }
  EXPECT_EQ(traces(_repository), before);
}

TEST_F(GitHostileNames, addressesThatRunProgramsAreRefusedAndNotStored) {
  std::string touched = _repository.beside("pwned");
  auto before = traces(_repository);
  const std::string urls[] = {"--upload-pack=touch " + touched,
                              "-c core.sshCommand=touch " + touched,
                              "ext::sh -c touch% " + touched,
                              "fd::17",
                              "ssh://-oProxyCommand=touch " + touched + "/x",
                              "-oProxyCommand=touch:x",
                              "a@-oProxyCommand=x:path",
                              std::string("host:-path"),
                              std::string("https://host/\nfetch = +x"),
                              std::string("../relative"),
                              std::string("ftp://host/path")};
  const Request requests[] = {
      {"new remote",
       [](auto& in, auto& url, auto done) { manager()->addRemoteRepository(remoteAt(url), "new", in.local, done); }},
      {"download",
       [](auto& in, auto& url, auto done) {
         manager()->downloadUpdatesFromRemoteRepository(remoteAt(url), in.local, {}, done);
       }},
      {"upload",
       [](auto& in, auto& url, auto done) {
         manager()->uploadCommitsToRemoteRepository(remoteAt(url), in.local, branch("main"), {}, done);
       }},
      {"branch removed there",
       [](auto& in, auto& url, auto done) {
         manager()->removeBranch(branch("main"), in.local, remoteAt(url), nullptr, done);
       }},
      {"validation",
       [](auto&, auto& url, auto done) {
         manager()->validateAuthenticationOfRepository(remoteAt(url), nullptr, nullptr, done);
       }},
      {"clone",
       [](auto& in, auto& url, auto done) {
         manager()->createWorkingCopyFromRepository(remoteAt(url), in.clone, nullptr, nullptr, {}, done);
       }},
  };
  for (const Request& request : requests) {
    for (const std::string& url : urls) expectRefused(request, url);
  }
  EXPECT_EQ(traces(_repository), before);
}

}  // namespace
}  // namespace qrb::test
