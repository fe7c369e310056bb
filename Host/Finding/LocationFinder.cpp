#include "LocationFinder.h"

#include "ErrorPrinting.h"
#include "QRBSourceControlBranch.h"
#include "QRBSourceControlCancellable.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlRepository.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlTag.h"

namespace host {

namespace {

using Branches = std::vector<QRBSourceControlBranchPtr>;
using Code = QRBSourceControlErrorCode;

struct Answers {
  Branches branches;
  Branches remoteBranches;
  QRBSourceControlRevisionPtr tagged;
  QRBSourceControlRevisionPtr revision;
};

bool isNotThere(const qrb::Error& error) {
  return error.domain().view() == QRBSourceControlErrorDomain &&
         error.code() <= static_cast<std::int64_t>(Code::locationNotFound) &&
         error.code() >= static_cast<std::int64_t>(Code::pathNotFound);
}

// That there is no such thing, or that the system has none of its kind, is what the next kind is asked for.
bool isOnlyNotFound(const qrb::Error& error) {
  if (error.domain().view() != QRBSourceControlErrorDomain) return false;
  auto code = error.code();
  return isNotThere(error) || code == static_cast<std::int64_t>(Code::systemDistributedRepositoriesUnsupported) ||
         code == static_cast<std::int64_t>(Code::branchAndTagLocationsRequired);
}

// Whether the system told something else of the name than that it does not know it.
bool saysMore(const qrb::Error& error, const std::string& name) {
  if (!isNotThere(error)) return false;
  return !isSameFailure(error, QRBSourceControlError_LocationNotFound(static_cast<Code>(error.code()), name, {}));
}

Session::Start askBranches(const QRBSourceControlRepositoryPtr& repository, const std::shared_ptr<Answers>& answers) {
  return [=](Session::Done done) {
    return repository->listBranchesWithCompletionBlock([answers, done](auto branches, qrb::Error error) {
      answers->branches = std::move(branches);
      done(std::move(error));
    });
  };
}

Session::Start askRemoteBranches(const QRBSourceControlRepositoryPtr& repository,
                                 const std::shared_ptr<Answers>& answers) {
  return [=](Session::Done done) {
    return repository->listRemoteBranchesForBranchAndTagLocations(
        nullptr, [answers, done](auto branches, auto, qrb::Error error) {
          answers->remoteBranches = std::move(branches);
          done(std::move(error));
        });
  };
}

Session::Start askRevision(const QRBSourceControlRepositoryPtr& repository,
                           const QRBSourceControlRevisionLocationPtr& location, const std::shared_ptr<Answers>& answers,
                           QRBSourceControlRevisionPtr Answers::*place) {
  return [=](Session::Done done) {
    return repository->revisionOfLocation(location, nullptr, [=](auto revision, qrb::Error error) {
      (*answers).*place = std::move(revision);
      done(std::move(error));
    });
  };
}

QRBSourceControlBranchPtr branchNamed(const Answers& answers, const std::string& name) {
  for (const QRBSourceControlBranchPtr& branch : answers.branches) {
    if (branch->name().view() == name) return branch;
  }
  for (const QRBSourceControlBranchPtr& branch : answers.remoteBranches) {
    if (branch->remoteName().str() + "/" + branch->name().str() == name) return branch;
  }
  return nullptr;
}

// By its bare name, where only one remote has a branch of it.
QRBSourceControlBranchPtr onlyRemoteBranchNamed(const Answers& answers, const std::string& name) {
  QRBSourceControlBranchPtr only;
  for (const QRBSourceControlBranchPtr& branch : answers.remoteBranches) {
    if (branch->name().view() != name) continue;
    if (only != nullptr) return nullptr;
    only = branch;
  }
  return only;
}

FoundLocation found(const QRBSourceControlBranchPtr& branch) {
  return {branch->locationWithRevision(nullptr), branch->revision()};
}

qrb::Error firstReal(const std::vector<qrb::Error>& errors) {
  for (const qrb::Error& error : errors) {
    if (error && !isOnlyNotFound(error)) return error;
  }
  return {};
}

}  // namespace

qrb::Result<FoundLocation> findLocation(Session& session, const QRBSourceControlRepositoryPtr& repository,
                                        const std::string& name) {
  QRBSourceControlRevisionPtr named = revisionNamed(name);
  auto asRevision = QRBSourceControlRevisionLocation::initWithRevision(named);
  if (named->isPlaceholderRevision()) return FoundLocation{asRevision, named};
  auto answers = std::make_shared<Answers>();
  std::vector<Session::Start> starts{askBranches(repository, answers), askRemoteBranches(repository, answers)};
  auto tag = QRBSourceControlTag::initWithTagName(name);
  if (tag != nullptr) {
    starts.push_back(askRevision(repository, tag, answers, &Answers::tagged));
    starts.push_back(askRevision(repository, asRevision, answers, &Answers::revision));
  }
  auto errors = session.perform("Looking for " + name, starts);
  if (qrb::Error error = firstReal(errors)) return error;
  if (auto branch = branchNamed(*answers, name)) return found(branch);
  if (answers->tagged != nullptr) return FoundLocation{tag, answers->tagged};
  if (answers->revision != nullptr) {
    return FoundLocation{QRBSourceControlRevisionLocation::initWithRevision(answers->revision), answers->revision};
  }
  if (auto branch = onlyRemoteBranchNamed(*answers, name)) return found(branch);
  for (const qrb::Error& error : errors) {
    if (saysMore(error, name)) return error;
  }
  return QRBSourceControlError_LocationNotFound(
      Code::locationNotFound, name, "no branch, no branch of a remote, no tag and no revision is called so");
}

qrb::Result<FoundLocation> findBranch(Session& session, const QRBSourceControlRepositoryPtr& repository,
                                      const std::string& name) {
  auto answers = std::make_shared<Answers>();
  auto errors = session.perform("Looking for " + name,
                                {askBranches(repository, answers), askRemoteBranches(repository, answers)});
  if (qrb::Error error = firstReal(errors)) return error;
  auto branch = branchNamed(*answers, name);
  if (branch == nullptr) branch = onlyRemoteBranchNamed(*answers, name);
  if (branch == nullptr) return QRBSourceControlError_LocationNotFound(Code::branchNotFound, name, {});
  return found(branch);
}

QRBSourceControlRevisionLocationPtr locationNamed(const LocationNames& names) {
  QRBSourceControlRevisionPtr revision = names.revision.empty() ? nullptr : revisionNamed(names.revision);
  QRBSourceControlRevisionLocationPtr location;
  if (!names.branch.empty()) location = QRBSourceControlBranch::initWithBranchName(names.branch, false);
  if (!names.tag.empty()) location = QRBSourceControlTag::initWithTagName(names.tag);
  if (location == nullptr) {
    return revision == nullptr ? nullptr : QRBSourceControlRevisionLocation::initWithRevision(revision);
  }
  return revision == nullptr ? location : location->locationWithRevision(revision);
}

QRBSourceControlRevisionPtr revisionNamed(const std::string& name) {
  if (name == "HEAD") return QRBSourceControlRevision::sharedHeadRevision();
  if (name == "BASE") return QRBSourceControlRevision::sharedBaseRevision();
  if (name == "INITIAL") return QRBSourceControlRevision::sharedInitialRevision();
  return QRBSourceControlRevision::initWithIdentifier(name);
}

}  // namespace host
