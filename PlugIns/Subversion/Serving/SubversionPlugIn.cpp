#include "SubversionPlugIn.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <set>

#include "FilePaths.h"
#include "QRBSourceControlAuthenticationTypes.h"
#include "QRBSourceControlConstants.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlSystem.h"
#include "QRBSourceControlWorkingCopy.h"
#include "RemoteAddress.h"
#include "SubversionAddresses.h"
#include "SubversionProbe.h"
#include "SubversionRevisions.h"
#include "SubversionTidying.h"
#include "WorkingCopyCandidates.h"
#include "WorkingCopyLock.h"

namespace {

namespace fs = std::filesystem;

/// By the path that the working copy is of, or by the folders in it, where it is of all that a project has.
SubversionLayout layoutOf(const fs::path& folder, const SubversionInfo& info) {
  std::string path = info.repositoryPath();
  SubversionLayout layout = subversionLayoutAlong(path);
  if (info.url.empty() || layout.isCompleteForBranches()) return layout;
  std::vector<std::string> names;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    std::error_code ignored;
    if (entry->symlink_status(ignored).type() == fs::file_type::directory) names.push_back(entry->path().filename());
  }
  return subversionDetectLayout(
      path, [&](const std::string& asked) { return asked == path ? std::optional(names) : std::nullopt; });
}

}  // namespace

const QRBSourceControlSystemPtr& SubversionPlugIn::system() {
  if (!_system) {
    auto made = QRBSourceControlSystem::initWithName(
        "Subversion", QRBSourceControlSubversionPlugInIdentifier, QRB_SUBVERSION_PLUG_IN_VERSION, ".svn",
        std::set<qrb::String>{"svn", "//svn.", "/svn/", "/svn"}, false, false, true, true, true,
        QRBSourceControlAuthenticationTypeAnonymous | QRBSourceControlAuthenticationTypeBasic |
            QRBSourceControlAuthenticationTypeSSHKeys);
    _system = made->systemWithAdditionalRequests({QRBSourceControlPlugInProtocol::listTagsOfRepository.selector,
                                                  QRBSourceControlPlugInProtocol::listLocksOfWorkingCopy.selector});
  }
  return _system;
}

void SubversionPlugIn::sendProgress(QRBSourceControlProgressStatus status, double fraction, const qrb::String& text,
                                    const qrb::String& identifier) {
  if (!identifier) return;
  _lastProgressValueSent = std::max(_lastProgressValueSent, fraction);
  host().progressStatus(status, _lastProgressValueSent, text, identifier);
}

qrb::Error SubversionPlugIn::resolve(const std::string& folder, const Files& files, std::vector<std::string>& paths) {
  for (const qrb::String& file : files) {
    std::string path;
    if (auto refused = qrb::resolveFilePath(folder, file.view(), ".svn", path)) {
      return QRBSourceControlError_LocationNotFound(QRBSourceControlErrorCode::pathNotFound, file, refused->message);
    }
    if (qrb::isBeyondLink(folder, path)) {
      return QRBSourceControlError_LocationNotFound(QRBSourceControlErrorCode::pathNotFound, file,
                                                    qrb::pathMessage(path, "lies beyond a symbolic link"));
    }
    paths.push_back(qrb::pathOnDisk(folder, path));
  }
  return {};
}

qrb::Error SubversionPlugIn::change(const QRBSourceControlWorkingCopyPtr& workingCopy, const Work& work) const {
  std::string folder = subversionFolderOf(workingCopy);
  qrb::WorkingCopyLock lock(folder, hostConnection());
  auto standing = lock.guard().add(subversionTidyingJob(folder));
  SubversionSession session(hostConnection(), &lock.guard());
  if (qrb::Error error = session.open(workingCopy, SubversionPurpose::change)) return error;
  return work(session);
}

qrb::Error SubversionPlugIn::changeFiles(
    const Files& files, const QRBSourceControlWorkingCopyPtr& workingCopy,
    const std::function<qrb::Error(SubversionSession&, const std::vector<std::string>&)>& work) const {
  std::vector<std::string> paths;
  if (qrb::Error error = resolve(subversionFolderOf(workingCopy), files, paths)) return error;
  if (paths.empty()) return {};
  return change(workingCopy, [&](SubversionSession& session) { return work(session, paths); });
}

void SubversionPlugIn::sourceControlSystem(Answer<QRBSourceControlSystemPtr> completionBlock) {
  completionBlock(system());
}

void SubversionPlugIn::keychainNameFromURL(const qrb::URL& url,
                                           Completion<qrb::String, std::uint64_t, qrb::String> completionBlock) {
  if (qrb::Error refusal = subversionRefuseURL(url)) return completionBlock({}, 0, {}, refusal);
  qrb::RemoteAddress address = qrb::RemoteAddress::parse(url.absoluteString().view());
  if (address.isLocalFile()) return completionBlock({}, 0, {}, {});
  std::uint64_t port = 0;
  std::from_chars(address.port.data(), address.port.data() + address.port.size(), port);
  constexpr std::uint64_t usualPort = 3690;
  completionBlock(address.host, port != 0 ? port : usualPort, address.user ? qrb::String(*address.user) : qrb::String(),
                  {});
}

void SubversionPlugIn::scanForWorkingCopiesInFolderPaths(const Files& folderPaths, bool traversingUp,
                                                         Answer<WorkingCopies> completionBlock) {
  auto candidates = qrb::workingCopyCandidates(folderPaths, traversingUp, ".svn", [](const std::string& folder) {
    return SubversionProbe::of(folder).has_value();
  });
  scanForWorkingCopiesInPotentialWorkingCopies(candidates, std::move(completionBlock));
}

void SubversionPlugIn::scanForWorkingCopiesInPotentialWorkingCopies(const std::vector<qrb::URL>& potentialWorkingCopies,
                                                                    Answer<WorkingCopies> completionBlock) {
  WorkingCopies found;
  SubversionClient client(hostConnection());
  for (const qrb::URL& candidate : potentialWorkingCopies) {
    if (!candidate.isFileURL()) continue;
    fs::path folder = fs::path(candidate.path().str()).lexically_normal();
    if (!folder.has_filename()) folder = folder.parent_path();
    if (folder.filename() == ".svn") folder = folder.parent_path();
    auto probe = SubversionProbe::of(folder.string());
    if (!probe) continue;
    qrb::URL place = qrb::URL::fileURL(folder.string(), true);
    SubversionInfo info;
    SubversionFailure failure;
    if (probe->form == SubversionProbe::Form::current) failure = client.info({folder.string()}, info);
    bool isOld = probe->form == SubversionProbe::Form::old || failure.kind == SubversionFailureKind::needsUpgrade;
    // What is wrong with a working copy the first request on it tells; of a repository nothing is known then.
    std::string address = !info.rootURL.empty() ? info.rootURL : !probe->rootURL.empty() ? probe->rootURL : probe->url;
    auto repository = QRBSourceControlRemoteRepository::initUnsavedWithURL(
        qrb::URL(address), info.repositoryIdentifier.empty() ? qrb::String() : qrb::String(info.repositoryIdentifier),
        system());
    auto workingCopy =
        isOld ? QRBSourceControlWorkingCopy::initWithUpgradableFileURL(place, std::move(repository))
              : QRBSourceControlWorkingCopy::initWithFileURLUnidentifiableRepository(place, std::move(repository));
    SubversionLayout layout = layoutOf(folder, info);
    if (layout.isCompleteForBranches()) workingCopy->setBranchAndTagLocations(layout.locations());
    found.push_back(std::move(workingCopy));
  }
  completionBlock(found);
}

void SubversionPlugIn::identifierOfRepositoryForWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy,
                                                            Completion<qrb::String> completionBlock) {
  SubversionSession session(hostConnection());
  qrb::Error error = session.open(workingCopy, SubversionPurpose::lookHere);
  completionBlock(error ? qrb::String() : qrb::String(session.info().repositoryIdentifier), error);
}

void SubversionPlugIn::baseRevisionOfWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy,
                                                 Completion<QRBSourceControlRevisionPtr> completionBlock) {
  SubversionSession session(hostConnection());
  qrb::Error error = session.open(workingCopy, SubversionPurpose::lookHere);
  completionBlock(error ? nullptr : subversionRevisionValue(session.info().revision), error);
}

void SubversionPlugIn::listRemoteBranchesOfRepository(
    const QRBSourceControlRepositoryPtr&, const QRBSourceControlBranchAndTagLocationsPtr&,
    Completion<Branches, QRBSourceControlRemoteBranchesPtr> completionBlock) {
  completionBlock({}, nullptr, subversionWithoutRemotes());
}

void SubversionPlugIn::listRemoteRepositoriesForRepository(
    const QRBSourceControlRepositoryPtr&,
    Completion<QRBSourceControlRemoteRepositoryPtr, QRBSourceControlRemoteRepositoriesPtr> completionBlock) {
  completionBlock(nullptr, nullptr, subversionWithoutRemotes());
}

void SubversionPlugIn::remoteBranchFromRepository(const QRBSourceControlRepositoryPtr&,
                                                  const QRBSourceControlBranchPtr&,
                                                  Completion<QRBSourceControlBranchPtr> completionBlock) {
  completionBlock(nullptr, subversionWithoutRemotes());
}

void SubversionPlugIn::addRemoteRepository(const QRBSourceControlRemoteRepositoryPtr&, const qrb::String&,
                                           const QRBSourceControlRepositoryPtr&, Completion<> completionBlock) {
  completionBlock(subversionWithoutRemotes());
}

void SubversionPlugIn::removeRemoteRepositoryNamed(const qrb::String&, const QRBSourceControlRepositoryPtr&,
                                                   Completion<> completionBlock) {
  completionBlock(subversionWithoutRemotes());
}

void SubversionPlugIn::downloadUpdatesFromRemoteRepository(const QRBSourceControlRemoteRepositoryPtr&,
                                                           const QRBSourceControlRepositoryPtr&,
                                                           Completion<> completionBlock) {
  completionBlock(subversionWithoutRemotes());
}

void SubversionPlugIn::uploadCommitsToRemoteRepository(const QRBSourceControlRemoteRepositoryPtr&,
                                                       const QRBSourceControlRepositoryPtr&,
                                                       const QRBSourceControlBranchPtr&, Completion<> completionBlock) {
  completionBlock(subversionWithoutRemotes());
}
