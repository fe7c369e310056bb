#include <algorithm>
#include <filesystem>

#include "Errors.h"
#include "Localization.h"
#include "QRBSourceControlBranch.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlPathLocation.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlTag.h"
#include "SubversionAddresses.h"
#include "SubversionAncestry.h"
#include "SubversionPlugIn.h"
#include "SubversionRevisions.h"

namespace {

namespace fs = std::filesystem;

QRBSourceControlBranchPtr pinned(const QRBSourceControlBranchPtr& branch, long revision) {
  return std::static_pointer_cast<const QRBSourceControlBranch>(
      branch->locationWithRevision(subversionRevisionValue(revision)));
}

/// The folders in one, with the revision that changed each last; none where it is not there.
qrb::Error listFolders(SubversionSession& session, const std::string& path, std::vector<SubversionEntry>& entries) {
  SubversionFailure failure =
      session.client().list({subversionURL(session.info().rootURL, path), SubversionRevision::head()}, entries);
  std::erase_if(entries, [](const SubversionEntry& entry) { return entry.kind != SubversionNodeKind::folder; });
  return failure.kind == SubversionFailureKind::pathNotFound ? qrb::Error() : session.errorFor(failure);
}

qrb::Error withoutBranch() {
  return QRBSourceControlError_LocationNotFound(QRBSourceControlErrorCode::branchNotFound, {},
                                                "The request names no branch.");
}

qrb::Error withoutLayout() {
  return QRBSourceControlError_BranchAndTagLocationsRequired();
}

/// Nobody means the line that all others come from, nor the one that he works on.
qrb::Error refuseRemoval(const SubversionSession& session, const std::string& url, const SubversionLayout& layout,
                         const qrb::String& name) {
  if (url == subversionURL(session.info().rootURL, layout.primary)) {
    return qrb::rewordedError(QRBSourceControlError_RemoteRepositoryOperationInvalid(),
                              qrb::localizable("The branch “%@” is the primary one, which is not removed."),
                              qrb::localizable("Name another branch, and try again."), name, {});
  }
  std::string here = session.folder().empty() ? std::string() : session.info().url;
  if (here != url && !here.starts_with(url + "/")) return {};
  return qrb::rewordedError(QRBSourceControlError_RepositoryLocked({}, {}),
                            qrb::localizable("The branch “%@” is checked out in a working copy."),
                            qrb::localizable("Switch that working copy to another branch and try again."), name, {});
}

/// Where a branch begins that is to begin nowhere in particular: where the working copy is or the address leads, as it
/// is there, else at the primary branch.
QRBSourceControlRevisionLocationPtr startOf(const SubversionSession& session, const SubversionLayout& layout) {
  std::string path = session.path();
  if (path.empty()) return layout.branchAt(layout.primary);
  auto place = layout.locationOf(path);
  return session.folder().empty() ? place
                                  : place->locationWithRevision(subversionRevisionValue(session.info().revision));
}

}  // namespace

void SubversionPlugIn::headRevisionOfRepository(const QRBSourceControlRepositoryPtr& repository,
                                                Completion<QRBSourceControlRevisionPtr> completionBlock) {
  SubversionSession session(hostConnection());
  std::string root;
  qrb::Error error = session.open(repository, SubversionPurpose::look);
  if (!error) error = session.root(root);
  completionBlock(error ? nullptr : subversionRevisionValue(session.info().revision), error);
}

void SubversionPlugIn::revisionOfLocation(const QRBSourceControlRevisionLocationPtr& location,
                                          const QRBSourceControlRepositoryPtr& inRepository,
                                          const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
                                          Completion<QRBSourceControlRevisionPtr> completionBlock) {
  SubversionSession session(hostConnection());
  SubversionTarget target;
  SubversionInfo info;
  qrb::Error error = session.open(inRepository, SubversionPurpose::look);
  if (!error) error = session.locate(location, branchAndTagLocations, target);
  if (!error) error = session.errorFor(session.client().info(target, info), location);
  // A pin is the answer; a line is where it was changed last.
  bool isPinned = target.revision.kind == SubversionRevision::Kind::number;
  completionBlock(
      error ? nullptr : subversionRevisionValue(isPinned ? target.revision.number : info.lastChangedRevision), error);
}

void SubversionPlugIn::listSubpathsOfRepository(
    const QRBSourceControlRepositoryPtr& repository, const QRBSourceControlPathLocationPtr& atPath,
    Completion<std::vector<QRBSourceControlPathLocationPtr>> completionBlock) {
  SubversionSession session(hostConnection());
  SubversionTarget target;
  QRBSourceControlPathLocationPtr place = atPath ? atPath : QRBSourceControlPathLocation::rootPathLocation();
  std::vector<SubversionEntry> entries;
  qrb::Error error = session.open(repository, SubversionPurpose::look);
  if (!error) error = session.locate(place, nullptr, target);
  if (!error) error = session.errorFor(session.client().list(target, entries), place);
  if (error) return completionBlock({}, error);
  std::vector<QRBSourceControlPathLocationPtr> paths;
  for (const SubversionEntry& entry : entries) {
    std::string_view folder = subversionTrimmed(place->relativePath().view());
    std::string path = folder.empty() ? std::string() : std::string(folder) + "/";
    path += subversionEncoded(entry.name);
    if (entry.kind == SubversionNodeKind::folder) path += '/';
    paths.push_back(QRBSourceControlPathLocation::initWithRelativePath(path));
  }
  completionBlock(paths, {});
}

void SubversionPlugIn::listBranchesOfRepository(const QRBSourceControlRepositoryPtr& repository,
                                                const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
                                                Completion<Branches> completionBlock) {
  SubversionSession session(hostConnection());
  SubversionLayout layout;
  std::string root;
  qrb::Error error = session.open(repository, SubversionPurpose::look);
  if (!error) error = session.root(root);
  if (!error) error = session.layout(branchAndTagLocations, layout);
  if (!error && !layout.isCompleteForBranches()) error = withoutLayout();
  Branches branches;
  SubversionInfo trunk;
  if (!error) {
    SubversionFailure failure =
        session.client().info({subversionURL(root, layout.primary), SubversionRevision::head()}, trunk);
    if (!failure) branches.push_back(pinned(layout.branchAt(layout.primary), trunk.lastChangedRevision));
    if (failure && failure.kind != SubversionFailureKind::pathNotFound) error = session.errorFor(failure);
  }
  std::vector<SubversionEntry> entries;
  if (!error) error = listFolders(session, layout.branches, entries);
  if (error) return completionBlock({}, error);
  for (const SubversionEntry& entry : entries) {
    branches.push_back(
        pinned(QRBSourceControlBranch::initWithBranchName(entry.name, false), entry.lastChangedRevision));
  }
  completionBlock(branches, {});
}

void SubversionPlugIn::listTagsOfRepository(const QRBSourceControlRepositoryPtr& repository,
                                            const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
                                            Completion<std::vector<QRBSourceControlTagPtr>> completionBlock) {
  SubversionSession session(hostConnection());
  SubversionLayout layout;
  std::string root;
  qrb::Error error = session.open(repository, SubversionPurpose::look);
  if (!error) error = session.root(root);
  if (!error) error = session.layout(branchAndTagLocations, layout);
  if (!error && layout.tags.empty()) error = withoutLayout();
  std::vector<SubversionEntry> entries;
  if (!error) error = listFolders(session, layout.tags, entries);
  if (error) return completionBlock({}, error);
  std::vector<QRBSourceControlTagPtr> tags;
  for (const SubversionEntry& entry : entries) {
    tags.push_back(std::static_pointer_cast<const QRBSourceControlTag>(
        QRBSourceControlTag::initWithTagName(entry.name)
            ->locationWithRevision(subversionRevisionValue(entry.lastChangedRevision))));
  }
  completionBlock(tags, {});
}

void SubversionPlugIn::parentBranchesOfBranch(const QRBSourceControlBranchPtr& branch,
                                              const QRBSourceControlRepositoryPtr& inRepository,
                                              const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
                                              Completion<QRBSourceControlBranchPtr, Branches> completionBlock) {
  if (!branch) return completionBlock(nullptr, {}, withoutBranch());
  SubversionSession session(hostConnection());
  SubversionTarget target;
  SubversionLayout layout;
  std::vector<SubversionSegment> segments;
  qrb::Error error = session.open(inRepository, SubversionPurpose::look);
  if (!error) error = session.locate(branch, branchAndTagLocations, target);
  if (!error) error = session.layout(branchAndTagLocations, layout);
  if (!error)
    error = session.errorFor(session.client().segments(target.place, segments), branch->locationWithRevision(nullptr));
  if (error) return completionBlock(nullptr, {}, error);
  // Each copy leads to the line that it was made from, the nearest first.
  Branches parents;
  for (std::size_t number = 1; number < segments.size(); ++number) {
    auto parent = layout.branchAt(segments[number].path);
    bool isKnown = parent && (parent->isSimilar(branch) ||
                              std::ranges::any_of(parents, [&](const auto& each) { return each->isSimilar(parent); }));
    if (parent && !isKnown) parents.push_back(pinned(parent, segments[number].last));
  }
  completionBlock(parents.empty() ? nullptr : parents.front(), parents, {});
}

void SubversionPlugIn::ancestorRevisionInRepository(
    const QRBSourceControlRepositoryPtr& repository, const QRBSourceControlBranchPtr& ofBranch,
    const QRBSourceControlBranchPtr& otherBranch, const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
    Completion<QRBSourceControlRevisionPtr> completionBlock) {
  if (!ofBranch || !otherBranch) return completionBlock(nullptr, withoutBranch());
  SubversionSession session(hostConnection());
  qrb::Error error = session.open(repository, SubversionPurpose::look);
  std::vector<SubversionSegment> segments[2];
  const QRBSourceControlBranchPtr branches[] = {ofBranch, otherBranch};
  for (std::size_t side = 0; side < 2 && !error; ++side) {
    SubversionTarget target;
    error = session.locate(branches[side], branchAndTagLocations, target);
    if (error) break;
    SubversionFailure failure = session.client().segments(target.place, segments[side]);
    error = session.errorFor(failure, branches[side]->locationWithRevision(nullptr));
  }
  if (error) return completionBlock(nullptr, error);
  auto ancestor = subversionCommonAncestor(segments[0], segments[1]);
  if (!ancestor) {
    return completionBlock(nullptr, QRBSourceControlError_LocationNotFound(
                                        QRBSourceControlErrorCode::revisionNotFound, {},
                                        "The branches “" + ofBranch->name().str() + "” and “" +
                                            otherBranch->name().str() + "” have no revision in common."));
  }
  completionBlock(subversionRevisionValue(ancestor->revision), {});
}

void SubversionPlugIn::addBranch(const QRBSourceControlBranchPtr& branch, const QRBSourceControlBranchPtr& fromBranch,
                                 const QRBSourceControlRepositoryPtr& toRepository,
                                 const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
                                 Completion<QRBSourceControlBranchPtr> completionBlock) {
  if (!branch) return completionBlock(nullptr, withoutBranch());
  SubversionSession session(hostConnection());
  qrb::Error error = session.open(toRepository, SubversionPurpose::change);
  SubversionLayout layout;
  SubversionTarget target;
  SubversionTarget source;
  if (!error) error = session.locate(branch, branchAndTagLocations, target);
  if (!error) error = session.layout(branchAndTagLocations, layout);
  QRBSourceControlRevisionLocationPtr start = fromBranch;
  if (!error && !start) start = startOf(session, layout);
  if (!error) error = session.locate(start, branchAndTagLocations, source);
  if (!error) {
    SubversionInfo there;
    SubversionFailure failure = session.client().info({target.place, SubversionRevision::head()}, there);
    if (!failure) {
      failure = {SubversionFailureKind::exists, "The server has it already."};
      failure.subject = branch->name().str();
      error = session.errorFor(failure);
    } else if (failure.kind != SubversionFailureKind::pathNotFound) {
      error = session.errorFor(failure);
    }
  }
  if (error) return completionBlock(nullptr, error);
  SubversionCommitted committed;
  SubversionFailure failure = session.client().copyOnServer(
      source, target.place,
      "Create the branch “" + branch->name().str() + "” from “" + start->displayName().str() + "”.", committed);
  if (failure) return completionBlock(nullptr, session.errorFor(failure, start));
  completionBlock(pinned(QRBSourceControlBranch::initWithBranchName(branch->name(), false), committed.revision), {});
}

void SubversionPlugIn::removeBranch(const QRBSourceControlBranchPtr& branch,
                                    const QRBSourceControlRepositoryPtr& fromRepository,
                                    const QRBSourceControlRemoteRepositoryPtr& andRemoteRepository,
                                    const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
                                    Completion<> completionBlock) {
  if (!branch) return completionBlock(withoutBranch());
  SubversionSession session(hostConnection());
  QRBSourceControlRepositoryPtr repository = andRemoteRepository ? andRemoteRepository : fromRepository;
  qrb::Error error = session.open(repository, SubversionPurpose::change);
  SubversionTarget target;
  SubversionLayout layout;
  if (!error) error = session.locate(branch->locationWithRevision(nullptr), branchAndTagLocations, target);
  if (!error) error = session.layout(branchAndTagLocations, layout);
  if (!error) error = refuseRemoval(session, target.place, layout, branch->name());
  if (error) return completionBlock(error);
  SubversionCommitted committed;
  completionBlock(session.errorFor(
      session.client().removeOnServer(target.place, "Remove the branch “" + branch->name().str() + "”.", committed),
      branch->locationWithRevision(nullptr)));
}

void SubversionPlugIn::automaticallyDetectBranchAndTagLocationsForRepository(
    const QRBSourceControlRepositoryPtr& repository, const QRBSourceControlPathLocationPtr& fromPath,
    Completion<QRBSourceControlRevisionLocationPtr, QRBSourceControlBranchAndTagLocationsPtr> completionBlock) {
  SubversionSession session(hostConnection());
  std::string root;
  qrb::Error error = session.open(repository, SubversionPurpose::look);
  if (!error) error = session.root(root);
  std::string path = session.path();
  if (!error && fromPath && !fromPath->isRootPath()) error = subversionPathOf(fromPath, {}, path);
  SubversionLayout layout;
  if (!error) {
    SubversionInfo there;
    SubversionFailure failure = session.client().info({subversionURL(root, path), SubversionRevision::head()}, there);
    error = session.errorFor(failure, fromPath);
  }
  if (!error) error = session.detect(path, layout);
  if (error) return completionBlock(nullptr, nullptr, error);
  completionBlock(layout.locationOf(path), layout.locations(), {});
}

void SubversionPlugIn::createRepositoryAtFileURL(const qrb::URL& fileURL,
                                                 Completion<QRBSourceControlRepositoryPtr> completionBlock) {
  std::string folder = fileURL.isFileURL() ? fileURL.path().str() : std::string();
  if (folder.empty() || folder.find('\0') != std::string::npos) {
    return completionBlock(nullptr,
                           QRBSourceControlError_InvalidURL(fileURL, "Subversion",
                                                            "A repository can be made in a folder of this machine "
                                                            "only."));
  }
  std::error_code error;
  bool isThere = fs::exists(fs::symlink_status(folder, error));
  if (isThere && fs::exists(fs::path(folder) / "format", error) && fs::is_directory(fs::path(folder) / "db", error)) {
    return completionBlock(nullptr, QRBSourceControlError_RepositoryExists(fileURL));
  }
  if (isThere && (!fs::is_directory(folder, error) || !fs::is_empty(folder, error))) {
    return completionBlock(nullptr,
                           QRBSourceControlError_InvalidURL(fileURL, "Subversion",
                                                            "There is something else already, which is not replaced."));
  }
  fs::create_directories(fs::path(folder).parent_path(), error);
  SubversionFailure failure = SubversionClient::createRepository(folder);
  if (failure) return completionBlock(nullptr, subversionError(failure, fileURL.lastPathComponent()));
  completionBlock(QRBSourceControlRepository::initWithURL(qrb::URL::fileURL(folder, true), system()), {});
}

void SubversionPlugIn::repositoryURLRootForRepository(
    const QRBSourceControlRemoteRepositoryPtr& repository,
    Completion<qrb::URL, QRBSourceControlPathLocationPtr> completionBlock) {
  SubversionSession session(hostConnection());
  std::string root;
  qrb::Error error = session.open(repository, SubversionPurpose::look);
  if (!error) error = session.root(root);
  if (error) return completionBlock({}, nullptr, error);
  std::string path = session.path();
  completionBlock(qrb::URL(root),
                  path.empty() ? QRBSourceControlPathLocation::rootPathLocation()
                               : QRBSourceControlPathLocation::initWithRelativePath(subversionEncoded(path) + "/"),
                  {});
}

void SubversionPlugIn::validateAuthenticationOfRemoteRepository(
    const QRBSourceControlRemoteRepositoryPtr& repository, const QRBSourceControlRevisionLocationPtr& location,
    const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations, Completion<> completionBlock) {
  SubversionSession session(hostConnection());
  SubversionTarget target;
  qrb::Error error = session.open(repository, SubversionPurpose::look);
  if (!error) error = session.locate(location, branchAndTagLocations, target);
  if (!error && location) {
    SubversionInfo info;
    SubversionFailure failure = session.client().info(target, info);
    error = session.errorFor(failure, location);
  }
  completionBlock(error);
}
