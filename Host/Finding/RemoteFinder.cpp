#include "RemoteFinder.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "AccountRecord.h"
#include "HostError.h"
#include "ProgramAccounts.h"
#include "QRBSourceControlAuthenticationStrategy.h"
#include "QRBSourceControlBranch.h"
#include "QRBSourceControlCancellable.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlSystem.h"
#include "QRBSourceControlURL.h"
#include "QRBSourceControlWorkingCopy.h"
#include "Text.h"

namespace host {

namespace {

// Known by its name, whatever it stands for by now.
QRBSourceControlBranchPtr unpinned(const QRBSourceControlRevisionLocationPtr& location) {
  auto branch = std::dynamic_pointer_cast<const QRBSourceControlBranch>(location);
  if (branch == nullptr) return nullptr;
  return std::dynamic_pointer_cast<const QRBSourceControlBranch>(branch->locationWithRevision(nullptr));
}

std::string nameOf(const ListedRemotes& listed, const QRBSourceControlRemoteRepositoryPtr& remote) {
  for (const auto& [name, each] : *listed.byName) {
    if (each == remote || (each && remote && each->URL() == remote->URL())) return name.str();
  }
  return {};
}

}  // namespace

void useKeptAccount(const QRBSourceControlRemoteRepositoryPtr& remote) {
  const auto& manager = accountManager();
  auto anyone = QRBSourceControlAuthenticationStrategy::sharedAnonymousStrategy();
  if (auto account = manager->existingAccountForRepository(remote, anyone, false)) remote->setAccount(account);
  if (qrb::String fingerprint = manager->existingFingerprintForRepository(remote)) {
    remote->setTrustedServerFingerprint(fingerprint);
  }
}

qrb::Result<ListedRemotes> listRemotes(Session& session, const QRBSourceControlRepositoryPtr& repository) {
  auto listed = std::make_shared<ListedRemotes>();
  qrb::Error failure = session.perform("Looking for remotes", [&](Session::Done done) {
    return repository->listRemoteRepositoriesWithCompletionBlock(
        [listed, done](auto primary, auto remotes, qrb::Error error) {
          listed->primary = std::move(primary);
          listed->byName = std::move(remotes);
          done(std::move(error));
        });
  });
  if (failure) return failure;
  return *listed;
}

qrb::Result<std::vector<qrb::String>> listRemotesWithoutURL(Session& session,
                                                            const QRBSourceControlRepositoryPtr& repository,
                                                            const ListedRemotes& listed) {
  auto found = std::make_shared<std::vector<qrb::String>>();
  qrb::Error failure = session.perform("Looking for remotes", [&](Session::Done done) {
    // What was fetched is told of every remote.
    return repository->listRemoteBranchesForBranchAndTagLocations(
        nullptr, [found, listed, done](auto, auto branches, qrb::Error error) {
          if (branches != nullptr) {
            for (const auto& [name, each] : *branches) {
              bool isListed = listed.byName != nullptr && listed.byName->find(name.view()) != nullptr;
              if (!isListed) found->push_back(name);
            }
          }
          done(std::move(error));
        });
  });
  // A system that has no branches of remotes to tell of has listed all.
  bool isUnsupported =
      failure.domain().view() == QRBSourceControlErrorDomain &&
      failure.code() == static_cast<std::int64_t>(QRBSourceControlErrorCode::systemDistributedRepositoriesUnsupported);
  if (failure && !isUnsupported) return failure;
  return *found;
}

qrb::Result<FoundRemote> findRemote(Session& session, const QRBSourceControlRepositoryPtr& repository,
                                    const std::string& name) {
  auto listed = listRemotes(session, repository);
  if (!listed) return listed.error();
  bool hasSome = listed->byName != nullptr && !listed->byName->empty();
  QRBSourceControlRemoteRepositoryPtr remote;
  if (hasSome && name.empty()) {
    remote = listed->primary;
  } else if (hasSome) {
    for (const auto& [each, candidate] : *listed->byName) {
      if (each.view() == name) remote = candidate;
    }
  }
  if (remote != nullptr) {
    useKeptAccount(remote);
    return FoundRemote{remote, name.empty() ? nameOf(*listed, remote) : name};
  }
  if (!name.empty()) {
    // Asked only for a better word of why there is none, so that its own failure is no matter.
    auto others = listRemotesWithoutURL(session, repository, *listed).valueOr({});
    if (std::find(others.begin(), others.end(), name) != others.end()) {
      return hostError("The remote \"" + name + "\" has no URL.", "Remove it, and add it with one.", ENOENT);
    }
  }
  std::string what = hasSome && name.empty() ? "None of the remotes is the primary one."
                     : name.empty()          ? "The repository has no remotes."
                                             : "There is no remote named \"" + name + "\".";
  const char* help = hasSome && name.empty() ? "Name one; \"qrbscm remote list\" shows which there are."
                     : hasSome               ? "\"qrbscm remote list\" shows which there are."
                                             : "\"qrbscm remote add NAME URL\" adds one.";
  return hostError(what, help, ENOENT);
}

qrb::Result<FoundRemote> findUpdateSource(Session& session, const QRBSourceControlRepositoryPtr& repository,
                                          const std::string& name) {
  bool hasRemotes = repository->sourceControlSystem()->supportsMultipleRemoteRepositories();
  if (hasRemotes || !name.empty()) return findRemote(session, repository, name);
  auto itself = std::dynamic_pointer_cast<QRBSourceControlRemoteRepository>(repository);
  if (itself != nullptr) useKeptAccount(itself);
  return FoundRemote{itself, "the repository"};
}

std::string addressOf(const QRBSourceControlRemoteRepositoryPtr& remote) {
  return displayText(remote->URL().withoutPassword().absoluteString().view());
}

qrb::Result<qrb::URL> readAddress(const std::string& text, const std::string& folder) {
  namespace fs = std::filesystem;
  std::error_code failure;
  fs::path local = fs::absolute(folder.empty() ? "." : folder, failure) / text;
  bool isPath =
      text.starts_with('/') || text.starts_with("./") || text.starts_with("../") || fs::exists(local, failure);
  if (!text.empty() && isPath) return qrb::URL::fileURL(local.lexically_normal().native());
  qrb::URL url(text);
  if (qrb::Error error = refusePassword(url, "Leave it out; it is asked for, or kept with \"qrbscm accounts add\".")) {
    return error;
  }
  if (url.isFileURL() || qrbscm_isValid(url)) return url;
  return hostError("\"" + text + "\" is no address of a repository.",
                   "A URL is, or user@host:path, or the path of a folder.");
}

qrb::Result<CurrentBranch> findCurrentBranch(Session& session, const QRBSourceControlWorkingCopyPtr& workingCopy) {
  auto current = std::make_shared<CurrentBranch>();
  qrb::Error error = session.perform("Asking for the branch", [&](Session::Done done) {
    return workingCopy->currentLocationWithCompletionBlock([current, done](auto location, qrb::Error failure) {
      current->branch = unpinned(location);
      done(std::move(failure));
    });
  });
  if (error) return error;
  if (current->branch == nullptr) {
    return hostError("The working copy is on no branch.", "\"qrbscm switch BRANCH\" puts it on one.");
  }
  error = session.perform("Asking what the branch follows", [&](Session::Done done) {
    return workingCopy->repository()->remoteBranchForBranch(current->branch,
                                                            [current, done](auto branch, qrb::Error failure) {
                                                              current->followed = unpinned(branch);
                                                              done(std::move(failure));
                                                            });
  });
  bool followsNothing = error.domain().view() == QRBSourceControlErrorDomain &&
                        error.code() == static_cast<std::int64_t>(QRBSourceControlErrorCode::branchNotFound);
  if (error && !followsNothing) return error;
  return *current;
}

}  // namespace host
