#include <chrono>
#include <filesystem>
#include <iostream>

#include "Errors.h"
#include "Localization.h"
#include "QRBSourceControlBranch.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlRevisionLocation.h"
#include "QRBSourceControlWorkingCopy.h"
#include "SubversionAddresses.h"
#include "SubversionExternals.h"
#include "SubversionPlugIn.h"
#include "SubversionProbe.h"
#include "SubversionRevisions.h"
#include "WorkingCopyLock.h"

namespace {

namespace fs = std::filesystem;

/// For requests that bring no identifier: the request that the process serves.
const qrb::String ownRequest("");

/// Counts what conflicts an update, a switch or a merge has left.
class Conflicts {
 public:
  explicit Conflicts(SubversionClient& client) : _client(client) {
    client.setNotices([this](const SubversionNotice& notice) {
      if (notice.action != SubversionNotice::Action::conflicted) return;
      ++_count;
      if (_first.empty()) _first = notice.path;
    });
  }
  ~Conflicts() { _client.setNotices({}); }
  Conflicts(const Conflicts&) = delete;
  Conflicts& operator=(const Conflicts&) = delete;

  qrb::Error error(const char* description) const {
    if (_count == 0) return {};
    return qrb::rewordedError(QRBSourceControlError_RepositoryMidOperation({}), description,
                              qrb::localizable("Resolve the conflicts, mark the files as resolved and commit, or "
                                               "discard all changes."),
                              {}, "The first of " + std::to_string(_count) + " is “" + _first + "”.");
  }

 private:
  SubversionClient& _client;
  std::size_t _count = 0;
  std::string _first;
};

void tell(const std::vector<std::string>& lines) {
  for (const std::string& line : lines) std::cerr << line << '\n';
}

/// Externals that are left out are no failure of what brought the rest.
SubversionFailure bringExternals(SubversionSession& session, const std::string& folder) {
  std::vector<std::string> leftOut;
  SubversionFailure failure = subversionBringExternals(session.client(), folder, leftOut);
  tell(leftOut);
  return failure;
}

qrb::Error unusablePlace(const qrb::URL& url, const std::string& reason) {
  return QRBSourceControlError_InvalidURL(url, "Subversion", reason);
}

/// No error for a place where a working copy can be made: where nothing is, or an empty folder.
qrb::Error placeFault(const qrb::URL& url, const std::string& path) {
  if (path.empty() || path == "/" || path.find('\0') != std::string::npos) {
    return unusablePlace(url, "A working copy can be made in a folder of this machine only.");
  }
  std::error_code error;
  fs::file_status status = fs::symlink_status(path, error);
  if (!fs::exists(status)) return {};
  if (fs::exists(fs::symlink_status(fs::path(path) / ".svn", error)))
    return QRBSourceControlError_RepositoryExists(url);
  bool isEmptyFolder = fs::is_directory(status) && fs::is_empty(path, error) && !error;
  return isEmptyFolder ? qrb::Error() : unusablePlace(url, "There is something else already, which is not replaced.");
}

/// Tells the host of work whose whole nobody knows, a few times a second.
class Counting {
 public:
  using Tell = std::function<void(const std::string& text)>;
  Counting(SubversionClient& client, Tell tellHost) : _client(client), _tell(std::move(tellHost)) {
    client.setNotices([this](const SubversionNotice& notice) {
      using Action = SubversionNotice::Action;
      bool counts = notice.action == Action::added || notice.action == Action::upgraded;
      if (counts) ++_count;
      auto now = std::chrono::steady_clock::now();
      if (!counts || now - _last < std::chrono::milliseconds(100)) return;
      _last = now;
      _tell(std::to_string(_count));
    });
  }
  ~Counting() { _client.setNotices({}); }
  Counting(const Counting&) = delete;
  Counting& operator=(const Counting&) = delete;

 private:
  SubversionClient& _client;
  Tell _tell;
  std::size_t _count = 0;
  std::chrono::steady_clock::time_point _last;
};

QRBSourceControlRevisionLocationPtr locationHere(const SubversionSession& session,
                                                 const QRBSourceControlBranchAndTagLocationsPtr& given) {
  SubversionLayout layout = SubversionLayout::of(given);
  std::string path = session.path();
  if (!layout.isCompleteForBranches()) layout = subversionLayoutAlong(path);
  // What the line was changed by last, as a repository tells of it: whoever compares both knows whether there is more.
  return layout.locationOf(path)->locationWithRevision(subversionRevisionValue(session.info().lastChangedRevision));
}

}  // namespace

void SubversionPlugIn::currentLocationOfWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy,
                                                    Completion<QRBSourceControlRevisionLocationPtr> completionBlock) {
  SubversionSession session(hostConnection());
  qrb::Error error = session.open(workingCopy, SubversionPurpose::lookHere);
  completionBlock(error ? nullptr : locationHere(session, workingCopy->branchAndTagLocations()), error);
}

void SubversionPlugIn::mergeBranch(const QRBSourceControlBranchPtr& branch,
                                   const QRBSourceControlWorkingCopyPtr& intoWorkingCopy,
                                   Completion<> completionBlock) {
  if (!branch) {
    return completionBlock(QRBSourceControlError_LocationNotFound(QRBSourceControlErrorCode::branchNotFound, {},
                                                                  "The request names no branch."));
  }
  completionBlock(change(intoWorkingCopy, [&](SubversionSession& session) {
    SubversionTarget source;
    // The newest revision of the branch, whatever pins it.
    qrb::Error error =
        session.locate(branch->locationWithRevision(nullptr), intoWorkingCopy->branchAndTagLocations(), source);
    if (error) return error;
    SubversionInfo info;
    error = session.errorFor(session.client().info(source, info), branch->locationWithRevision(nullptr));
    if (error) return error;
    Conflicts conflicts(session.client());
    SubversionFailure failure = session.client().merge(source, session.folder());
    bool hasConflicts = !failure || failure.kind == SubversionFailureKind::conflicted;
    qrb::Error conflict = hasConflicts ? conflicts.error(qrb::localizable("The merge has conflicts.")) : qrb::Error();
    return conflict ? conflict : session.errorFor(failure);
  }));
}

void SubversionPlugIn::forceUpdateWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy,
                                              const QRBSourceControlRemoteRepositoryPtr& fromRepository,
                                              Completion<> completionBlock) {
  completionBlock(change(workingCopy, [&](SubversionSession& session) {
    // The repository that the request names brings the login, and has to be the working copy's.
    if (fromRepository && fromRepository->URL()) {
      std::string address = subversionAddressOf(fromRepository->URL());
      qrb::RemoteAddress own = qrb::RemoteAddress::parse(session.info().rootURL);
      qrb::RemoteAddress given = qrb::RemoteAddress::parse(address);
      bool isSame = own.scheme == given.scheme && own.host == given.host && own.port == given.port;
      if (!isSame) {
        return QRBSourceControlError_InvalidURL(
            qrb::URL(address), "Subversion",
            "The working copy is of the repository " + session.info().rootURL + " and cannot be updated from another.");
      }
      session.client().setAccess(qrb::RemoteAccess::of(*fromRepository));
    }
    sendProgress(QRBSourceControlProgressStatus::transferring, 0, {}, ownRequest);
    Conflicts conflicts(session.client());
    long revision = -1;
    SubversionFailure failure = session.client().update(session.folder(), SubversionRevision::head(), revision);
    if (!failure) failure = bringExternals(session, session.folder());
    if (failure) return session.errorFor(failure);
    sendProgress(QRBSourceControlProgressStatus::transferring, 1, {}, ownRequest);
    return conflicts.error(qrb::localizable("The update has left conflicts."));
  }));
}

void SubversionPlugIn::switchLocation(const QRBSourceControlRevisionLocationPtr& location,
                                      const QRBSourceControlWorkingCopyPtr& ofWorkingCopy,
                                      Completion<QRBSourceControlRevisionLocationPtr> completionBlock) {
  QRBSourceControlRevisionLocationPtr reached;
  qrb::Error error = change(ofWorkingCopy, [&](SubversionSession& session) {
    const auto& given = ofWorkingCopy->branchAndTagLocations();
    SubversionTarget target;
    if (qrb::Error refused = session.locate(location, given, target)) return refused;
    const auto* const branch = dynamic_cast<const QRBSourceControlBranch*>(location.get());
    if (branch != nullptr && branch->isNewBranch()) {
      SubversionCommitted made;
      // Where the working copy is, or at the revision that pins the branch.
      SubversionRevision start = SubversionRevision::at(session.info().revision);
      if (subversionPinOf(location)) start = target.revision;
      SubversionFailure failure = session.client().copyOnServer(
          {session.info().url, start, start}, target.place,
          "Create the branch “" + branch->name().str() + "” from “" + session.path() + "”.", made);
      if (failure) return session.errorFor(failure);
      target.revision = SubversionRevision::head();
    }
    SubversionInfo info;
    qrb::Error missing = session.errorFor(session.client().info({target.place, target.revision}, info), location);
    if (missing) return missing;
    Conflicts conflicts(session.client());
    long revision = -1;
    SubversionFailure failure = session.client().switchTo(session.folder(), info.url, target.revision, revision);
    if (!failure) failure = bringExternals(session, session.folder());
    if (failure) return session.errorFor(failure);
    SubversionSession after(hostConnection());
    if (qrb::Error unread = after.open(ofWorkingCopy, SubversionPurpose::change)) return unread;
    reached = locationHere(after, given);
    return conflicts.error(qrb::localizable("The switch has left conflicts."));
  });
  completionBlock(error ? nullptr : reached, error);
}

void SubversionPlugIn::upgradeWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy,
                                          const qrb::String& progressIdentifier, Completion<> completionBlock) {
  std::string folder = subversionFolderOf(workingCopy);
  auto probe = SubversionProbe::of(folder);
  if (!probe) {
    return completionBlock(
        QRBSourceControlError_WorkingCopyNotFound("“" + folder + "” is not the root of a working copy."));
  }
  qrb::WorkingCopyLock lock(folder, hostConnection());
  SubversionClient client(hostConnection());
  auto errorFor = [&](const SubversionFailure& failure) {
    return subversionError(failure, workingCopy->displayName(), &client);
  };
  if (probe->form == SubversionProbe::Form::current) {
    SubversionInfo info;
    SubversionFailure failure = client.info({folder}, info);
    if (!failure) return completionBlock(QRBSourceControlError_WorkingCopyUpgradeNotNeeded());
    if (failure.kind != SubversionFailureKind::needsUpgrade) return completionBlock(errorFor(failure));
  }
  Counting counting(client, [&](const std::string& count) {
    sendProgress(QRBSourceControlProgressStatus::upgrading, 0, count, progressIdentifier);
  });
  completionBlock(errorFor(client.upgrade(folder)));
}

void SubversionPlugIn::createWorkingCopyFromRepository(
    const QRBSourceControlRemoteRepositoryPtr& repository, const QRBSourceControlRevisionLocationPtr& location,
    const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations, const qrb::URL& localAddress,
    const qrb::String& progressIdentifier, Completion<QRBSourceControlWorkingCopyPtr> completionBlock) {
  std::string place = localAddress.isFileURL() ? localAddress.path().str() : std::string();
  while (place.size() > 1 && place.ends_with('/')) place.pop_back();
  qrb::Error error = placeFault(localAddress, place);
  qrb::Guard guard;
  SubversionSession session(hostConnection(), &guard);
  if (!error) error = session.open(repository, SubversionPurpose::change);
  sendProgress(QRBSourceControlProgressStatus::authenticating, 0, {}, progressIdentifier);
  SubversionTarget target;
  if (!error) error = session.locate(location, branchAndTagLocations, target);
  if (error) return completionBlock(nullptr, error);
  SubversionFailure failure;
  {
    Counting counting(session.client(), [&](const std::string& count) {
      sendProgress(QRBSourceControlProgressStatus::transferring, 0, count, progressIdentifier);
    });
    long revision = -1;
    failure = session.client().checkout(target, place, revision);
  }
  if (failure.kind == SubversionFailureKind::pathNotFound && location) {
    return completionBlock(nullptr, subversionLocationNotFound(location, failure.message));
  }
  if (!failure) failure = bringExternals(session, place);
  // What fails half-way is the host's to remove, as it is when this process is killed.
  if (failure) return completionBlock(nullptr, session.errorFor(failure));
  sendProgress(QRBSourceControlProgressStatus::copying, 1, {}, progressIdentifier);
  SubversionInfo info;
  if ((failure = session.client().info({place}, info))) return completionBlock(nullptr, session.errorFor(failure));
  auto known =
      QRBSourceControlRemoteRepository::initUnsavedWithURL(qrb::URL(info.rootURL), info.repositoryIdentifier, system());
  auto made = QRBSourceControlWorkingCopy::initWithFileURLUnidentifiableRepository(qrb::URL::fileURL(place, true),
                                                                                   std::move(known));
  SubversionLayout layout = SubversionLayout::of(branchAndTagLocations);
  if (!layout.isCompleteForBranches()) layout = subversionLayoutAlong(info.repositoryPath());
  if (layout.isCompleteForBranches()) made->setBranchAndTagLocations(layout.locations());
  completionBlock(made, {});
}
