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
using Code = QRBSourceControlErrorCode;

/// Where one kind of name goes into a request; the error that comes back.
struct Request {
  const char* name;
  std::function<Error(GitRepository& repository, const std::string& hostile)> send;
};

class GitHostileNames : public GitPlugInTest {
 protected:
  template <class... Values, class Send>
  static Error errorOf(Send&& send) {
    Reply<Values...> reply;
    send(reply.completion());
    return std::get<sizeof...(Values)>(reply.wait());
  }
  static QRBSourceControlBranchPtr branch(const std::string& name) {
    return QRBSourceControlBranch::initWithBranchName(name, false);
  }
  static QRBSourceControlRevisionLocationPtr at(const std::string& text) {
    return QRBSourceControlRevisionLocation::initWithRevision(revision(text));
  }
  static Error resolve(GitRepository& repository, const QRBSourceControlRevisionLocationPtr& location) {
    return errorOf<QRBSourceControlRevisionPtr>([&](auto completion) {
      manager()->revisionOfLocation(location, repositoryAt(repository.root()), nullptr, completion);
    });
  }
  static Error diff(GitRepository& repository, const QRBSourceControlRevisionLocationPtr& from,
                    const QRBSourceControlRevisionLocationPtr& against) {
    return errorOf<Dictionary>([&](auto completion) {
      manager()->diffRepository(repositoryAt(repository.root()), from, against, nullptr, completion);
    });
  }
  static Error addBranch(GitRepository& repository, const QRBSourceControlBranchPtr& made,
                         const QRBSourceControlBranchPtr& from) {
    return errorOf<QRBSourceControlBranchPtr>([&](auto completion) {
      manager()->addBranch(made, from, repositoryAt(repository.root()), nullptr, completion);
    });
  }
  static Error removeBranch(GitRepository& repository, const QRBSourceControlBranchPtr& removed) {
    return errorOf<>([&](auto completion) {
      manager()->removeBranch(removed, repositoryAt(repository.root()), nullptr, nullptr, completion);
    });
  }
  static Error parents(GitRepository& repository, const QRBSourceControlBranchPtr& of) {
    return errorOf<QRBSourceControlBranchPtr, std::vector<QRBSourceControlBranchPtr>>([&](auto completion) {
      manager()->parentBranchesOfBranch(of, repositoryAt(repository.root()), nullptr, completion);
    });
  }
  static Error ancestor(GitRepository& repository, const QRBSourceControlBranchPtr& one,
                        const QRBSourceControlBranchPtr& other) {
    return errorOf<QRBSourceControlRevisionPtr>([&](auto completion) {
      manager()->ancestorRevisionInRepository(repositoryAt(repository.root()), one, other, nullptr, completion);
    });
  }
  static Error upstream(GitRepository& repository, const QRBSourceControlBranchPtr& of) {
    return errorOf<QRBSourceControlBranchPtr>([&](auto completion) {
      manager()->remoteBranchFromRepository(repositoryAt(repository.root()), of, completion);
    });
  }
  static Error addRemote(GitRepository& repository, const std::string& name, const std::string& url) {
    return errorOf<>([&](auto completion) {
      manager()->addRemoteRepository(QRBSourceControlRemoteRepository::initUnsavedWithURL(URL(url), system()), name,
                                     repositoryAt(repository.root()), completion);
    });
  }
  static QRBSourceControlRemoteRepositoryPtr remoteAt(const std::string& url) {
    return QRBSourceControlRemoteRepository::initUnsavedWithURL(URL(url), system());
  }
  static QRBSourceControlRemoteRepositoryPtr itself(const GitRepository& repository) {
    return remoteAt(URL::fileURL(repository.root(), true).absoluteString().str());
  }
  static Error removeRemoteBranch(GitRepository& repository, const QRBSourceControlBranchPtr& removed,
                                  const QRBSourceControlRemoteRepositoryPtr& from) {
    return errorOf<>([&](auto completion) {
      manager()->removeBranch(removed, repositoryAt(repository.root()), from, nullptr, completion);
    });
  }
  static Error download(GitRepository& repository, const QRBSourceControlRemoteRepositoryPtr& from) {
    return errorOf<>([&](auto completion) {
      manager()->downloadUpdatesFromRemoteRepository(from, repositoryAt(repository.root()), {}, completion);
    });
  }
  static Error upload(GitRepository& repository, const QRBSourceControlBranchPtr& to,
                      const QRBSourceControlRemoteRepositoryPtr& remote) {
    return errorOf<>([&](auto completion) {
      manager()->uploadCommitsToRemoteRepository(remote, repositoryAt(repository.root()), to, {}, completion);
    });
  }
  static Error validate(const QRBSourceControlRemoteRepositoryPtr& remote,
                        const QRBSourceControlRevisionLocationPtr& location) {
    return errorOf<>(
        [&](auto completion) { manager()->validateAuthenticationOfRepository(remote, location, nullptr, completion); });
  }
  static Error clone(GitRepository& repository, const QRBSourceControlRemoteRepositoryPtr& from,
                     const QRBSourceControlRevisionLocationPtr& location) {
    return errorOf<QRBSourceControlWorkingCopyPtr>([&](auto completion) {
      manager()->createWorkingCopyFromRepository(from, URL::fileURL(repository.beside("clone"), true), location,
                                                 nullptr, {}, completion);
    });
  }
  static Error merge(GitRepository& repository, const QRBSourceControlBranchPtr& merged) {
    return errorOf<>(
        [&](auto completion) { manager()->mergeBranch(merged, workingCopyAt(repository.root()), completion); });
  }
  static Error switchTo(GitRepository& repository, const QRBSourceControlRevisionLocationPtr& location) {
    return errorOf<QRBSourceControlRevisionLocationPtr>(
        [&](auto completion) { manager()->switchLocation(location, workingCopyAt(repository.root()), completion); });
  }
  static Error exportFrom(GitRepository& repository, const QRBSourceControlRevisionLocationPtr& location) {
    return errorOf<URL>([&](auto completion) {
      manager()->exportFileFromRevisionLocation("file", workingCopyAt(repository.root()), location, URL(), completion);
    });
  }
  static Error exportParent(GitRepository& repository, const std::string& of) {
    return errorOf<URL>([&](auto completion) {
      manager()->exportFileForParentOfRevision("file", workingCopyAt(repository.root()), revision(of), completion);
    });
  }
  static Error blame(GitRepository& repository, const QRBSourceControlRevisionLocationPtr& location) {
    return errorOf<std::vector<QRBSourceControlBlameItemPtr>>(
        [&](auto completion) { manager()->blameFile("file", workingCopyAt(repository.root()), location, completion); });
  }
  static Error removeRemote(GitRepository& repository, const std::string& name) {
    return errorOf<>([&](auto completion) {
      manager()->removeRemoteRepositoryNamed(name, repositoryAt(repository.root()), completion);
    });
  }
  static Error history(GitRepository& repository, const std::string& from, const std::string& to) {
    HistoryQuery query;
    query.from = revision(from);
    query.to = revision(to);
    return std::get<1>(historyOf(workingCopyAt(repository.root()), query));
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

  static void expectRefused(const Error& error, const std::string& request, const std::string& hostile) {
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
  const Request requests[] = {
      {"revision of a branch", [](auto& repository, auto& name) { return resolve(repository, branch(name)); }},
      {"revision of a remote branch",
       [](auto& repository, auto& name) {
         return resolve(repository, QRBSourceControlBranch::initWithBranchNameRemoteName(name, false, "origin"));
       }},
      {"revision of a branch of a remote",
       [](auto& repository, auto& name) {
         return resolve(repository, QRBSourceControlBranch::initWithBranchNameRemoteName("main", false, name));
       }},
      {"revision of a tag",
       [](auto& repository, auto& name) { return resolve(repository, QRBSourceControlTag::initWithTagName(name)); }},
      {"revision", [](auto& repository, auto& name) { return resolve(repository, at(name)); }},
      {"revision of a pinned branch",
       [](auto& repository, auto& name) {
         return resolve(repository, branch("main")->locationWithRevision(revision(name)));
       }},
      {"parents", [](auto& repository, auto& name) { return parents(repository, branch(name)); }},
      {"ancestor", [](auto& repository, auto& name) { return ancestor(repository, branch(name), branch("main")); }},
      {"other's ancestor",
       [](auto& repository, auto& name) { return ancestor(repository, branch("main"), branch(name)); }},
      {"new branch",
       [](auto& repository, auto& name) {
         return addBranch(repository, QRBSourceControlBranch::initWithNewBranchName(name), nullptr);
       }},
      {"branch to begin at",
       [](auto& repository, auto& name) { return addBranch(repository, branch("new"), branch(name)); }},
      {"removed branch", [](auto& repository, auto& name) { return removeBranch(repository, branch(name)); }},
      {"removed remote branch",
       [](auto& repository, auto& name) {
         return removeBranch(repository, QRBSourceControlBranch::initWithBranchName(name, false, true));
       }},
      {"upstream", [](auto& repository, auto& name) { return upstream(repository, branch(name)); }},
      {"compared branch", [](auto& repository, auto& name) { return diff(repository, branch(name), at("HEAD")); }},
      {"branch compared with", [](auto& repository, auto& name) { return diff(repository, at("HEAD"), branch(name)); }},
      {"compared revision", [](auto& repository, auto& name) { return diff(repository, at(name), at("HEAD")); }},
      {"new remote", [](auto& repository, auto& name) { return addRemote(repository, name, "https://host/path"); }},
      {"removed remote", [](auto& repository, auto& name) { return removeRemote(repository, name); }},
      {"branch removed there",
       [](auto& repository, auto& name) { return removeRemoteBranch(repository, branch(name), itself(repository)); }},
      {"new branch there",
       [](auto& repository, auto& name) {
         return addBranch(repository, QRBSourceControlBranch::initWithNewBranchName(name, "origin"), nullptr);
       }},
      {"new branch on a remote",
       [](auto& repository, auto& name) {
         return addBranch(repository, QRBSourceControlBranch::initWithNewBranchName("new", name), nullptr);
       }},
      {"branch sent to",
       [](auto& repository, auto& name) { return upload(repository, branch(name), itself(repository)); }},
      {"branch asked for", [](auto& repository, auto& name) { return validate(itself(repository), branch(name)); }},
      {"tag asked for",
       [](auto& repository, auto& name) {
         return validate(itself(repository), QRBSourceControlTag::initWithTagName(name));
       }},
      {"cloned branch",
       [](auto& repository, auto& name) { return clone(repository, itself(repository), branch(name)); }},
      {"cloned tag",
       [](auto& repository, auto& name) {
         return clone(repository, itself(repository), QRBSourceControlTag::initWithTagName(name));
       }},
      {"cloned revision", [](auto& repository, auto& name) { return clone(repository, itself(repository), at(name)); }},
      {"merged branch", [](auto& repository, auto& name) { return merge(repository, branch(name)); }},
      {"branch switched to", [](auto& repository, auto& name) { return switchTo(repository, branch(name)); }},
      {"new branch switched to",
       [](auto& repository, auto& name) {
         return switchTo(repository, QRBSourceControlBranch::initWithNewBranchName(name));
       }},
      {"tag switched to",
       [](auto& repository, auto& name) { return switchTo(repository, QRBSourceControlTag::initWithTagName(name)); }},
      {"revision switched to", [](auto& repository, auto& name) { return switchTo(repository, at(name)); }},
      {"file of a branch", [](auto& repository, auto& name) { return exportFrom(repository, branch(name)); }},
      {"file of a revision", [](auto& repository, auto& name) { return exportFrom(repository, at(name)); }},
      {"file before a revision", [](auto& repository, auto& name) { return exportParent(repository, name); }},
      {"lines of a branch", [](auto& repository, auto& name) { return blame(repository, branch(name)); }},
      {"lines of a revision", [](auto& repository, auto& name) { return blame(repository, at(name)); }},
      {"history from", [](auto& repository, auto& name) { return history(repository, name, ""); }},
      {"history to", [](auto& repository, auto& name) { return history(repository, "HEAD", name); }},
  };
  auto before = traces(_repository);
  for (const Request& request : requests) {
    for (const std::string& name : hostile) expectRefused(request.send(_repository, name), request.name, name);
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
  for (const std::string& url : urls) {
    expectRefused(addRemote(_repository, "new", url), "new remote", url);
    expectRefused(download(_repository, remoteAt(url)), "download", url);
    expectRefused(upload(_repository, branch("main"), remoteAt(url)), "upload", url);
    expectRefused(removeRemoteBranch(_repository, branch("main"), remoteAt(url)), "branch removed there", url);
    expectRefused(validate(remoteAt(url), nullptr), "validation", url);
    expectRefused(clone(_repository, remoteAt(url), nullptr), "clone", url);
  }
  EXPECT_EQ(traces(_repository), before);
}

}  // namespace
}  // namespace qrb::test
