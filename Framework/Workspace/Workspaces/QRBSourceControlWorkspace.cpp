#include "QRBSourceControlWorkspace.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "BlueprintIdentityPrivate.h"
#include "Localization.h"
#include "NameOrderPrivate.h"
#include "PathString.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlRevisionLocation.h"
#include "QRBSourceControlString.h"
#include "QRBSourceControlURL.h"
#include "QRBSourceControlWorkingCopy.h"
#include "QRBSourceControlWorkspaceBlueprint.h"
#include "UUIDString.h"
#include "UnicodeText.h"
#include "WorkspacePlacesPrivate.h"

QRB_DEFINE_OBJECT(QRBSourceControlWorkspace, qrb::Object, "QRBSourceControlWorkspace", nullptr);

using Workspace = QRBSourceControlWorkspace;
using WorkspacePtr = QRBSourceControlWorkspacePtr;
using WorkingCopyPtr = QRBSourceControlWorkingCopyPtr;
using RemotePtr = QRBSourceControlRemoteRepositoryPtr;
using BlueprintPtr = QRBSourceControlWorkspaceBlueprintPtr;
using qrb::detail::arePresentAndEqual;

namespace {

qrb::String repositoryIdentifier(const WorkingCopyPtr& workingCopy) {
  if (workingCopy == nullptr) return {};
  QRBSourceControlRepositoryPtr repository = workingCopy->repository();
  return repository == nullptr ? qrb::String() : repository->identifier();
}

std::string pathOf(const WorkingCopyPtr& workingCopy) {
  return workingCopy == nullptr ? std::string() : workingCopy->fileURL().path().str();
}

std::string blueprintPath(const QRBSourceControlWorkspaceBlueprint& blueprint, const RemotePtr& remote) {
  return qrbscm_stringByDeletingTrailingSlash(blueprint.workingCopyPathForRemoteRepository(remote).view());
}

bool isContinuationByte(char byte) {
  return (static_cast<unsigned char>(byte) & 0xc0) == 0x80;
}

std::size_t characterCount(std::string_view text) {
  return text.size() - static_cast<std::size_t>(std::count_if(text.begin(), text.end(), isContinuationByte));
}

std::string firstCharacters(std::string_view text, std::size_t count) {
  std::size_t end = 0;
  while (end < text.size() && count > 0) {
    ++end;
    while (end < text.size() && isContinuationByte(text[end])) ++end;
    --count;
  }
  return std::string(text.substr(0, end));
}

/// The folder that a blueprint's paths begin in, with its slash, as the place of its primary repository tells: what is
/// in front of it, where it is sorted before it at all.
std::optional<std::string> blueprintRoot(const std::string& primaryPath, const std::string& pathInBlueprint) {
  if (primaryPath.empty() || pathInBlueprint.empty()) return std::nullopt;
  if (qrb::lowercased(primaryPath) >= qrb::lowercased(pathInBlueprint)) return std::nullopt;
  std::size_t whole = characterCount(primaryPath);
  std::size_t tail = characterCount(pathInBlueprint);
  if (whole < tail) return std::nullopt;
  return firstCharacters(primaryPath, whole - tail);
}

}  // namespace

// Making one

Workspace::QRBSourceControlWorkspace(Key) : _operationQueue("Source Control Workspace Operation Queue") {
  set_id(qrb::makeUUIDString());
}

WorkspacePtr Workspace::init() {
  return std::make_shared<Workspace>(Key());
}

WorkspacePtr Workspace::initWithWorkingCopies(const WorkingCopies& workingCopies) {
  WorkspacePtr workspace = init();
  std::unordered_set<WorkingCopyPtr, qrb::detail::ObjectHash, qrb::detail::ObjectEqual> taken;
  for (const WorkingCopyPtr& workingCopy : workingCopies) {
    if (workingCopy != nullptr && taken.insert(workingCopy).second) workspace->_workingCopies.push_back(workingCopy);
  }
  return workspace;
}

WorkspacePtr Workspace::initWithPrimaryWorkingCopy(WorkingCopyPtr primaryWorkingCopy, qrb::String relativePathToProject,
                                                   const WorkingCopies& workingCopies) {
  WorkspacePtr workspace = initWithWorkingCopies(workingCopies);
  workspace->_primaryWorkingCopy = std::move(primaryWorkingCopy);
  workspace->_relativePathToProject = std::move(relativePathToProject);
  return workspace;
}

// Fields

void Workspace::set_id(const qrb::String& identifier) {
  if (!identifier.empty()) _idProperty.set(identifier);
}

qrb::URL Workspace::workspaceRootFolder() const {
  WorkingCopyPtr inner = _primaryWorkingCopy;
  if (inner == nullptr && !_workingCopies.empty()) inner = _workingCopies.front();
  return qrb::detail::folderAt(inner == nullptr ? qrb::URL() : inner->fileURL(), "..");
}

std::string Workspace::description() const {
  return qrb::format("Workspace: %@ (%@ working copies)", {_id(), std::to_string(_workingCopies.size())});
}

// Finding working copies

void Workspace::sortWorkingCopies() {
  qrb::detail::sortByName(_workingCopies, _primaryWorkingCopy,
                          [](const WorkingCopyPtr& workingCopy) { return workingCopy->displayName(); });
}

WorkingCopyPtr Workspace::workingCopyForURL(const qrb::URL& URL) const {
  if (!URL.isFileURL()) return nullptr;
  std::vector<std::string> place = URL.pathComponents();
  WorkingCopyPtr innermost;
  std::size_t depth = 0;
  for (const WorkingCopyPtr& workingCopy : _workingCopies) {
    std::vector<std::string> root = workingCopy->fileURL().pathComponents();
    bool holds = root.size() <= place.size() && std::equal(root.begin(), root.end(), place.begin());
    if (holds && (innermost == nullptr || root.size() > depth)) {
      innermost = workingCopy;
      depth = root.size();
    }
  }
  return innermost;
}

WorkingCopyPtr Workspace::workingCopyForRepositoryID(const qrb::String& identifier) const {
  WorkingCopyPtr only;
  for (const WorkingCopyPtr& workingCopy : _workingCopies) {
    if (!arePresentAndEqual(repositoryIdentifier(workingCopy), identifier)) continue;
    if (only != nullptr) return nullptr;
    only = workingCopy;
  }
  return only;
}

WorkingCopyPtr Workspace::workingCopyForRemoteRepository(const RemotePtr& remoteRepository,
                                                         const BlueprintPtr& inBlueprint) const {
  if (remoteRepository == nullptr || inBlueprint == nullptr) return nullptr;
  if (WorkingCopyPtr known = workingCopyForRepositoryID(remoteRepository->identifier())) return known;
  auto root =
      blueprintRoot(pathOf(_primaryWorkingCopy), blueprintPath(*inBlueprint, inBlueprint->primaryRemoteRepository()));
  if (!root || !inBlueprint->workingCopyPathForRemoteRepository(remoteRepository)) return nullptr;
  std::string wanted = qrb::lowercased(blueprintPath(*inBlueprint, remoteRepository));
  auto isThere = [&](const WorkingCopyPtr& workingCopy) {
    std::string path = pathOf(workingCopy);
    return path.starts_with(*root) && qrb::lowercased(std::string_view(path).substr(root->size())) == wanted;
  };
  auto found = std::find_if(_workingCopies.begin(), _workingCopies.end(), isThere);
  return found == _workingCopies.end() ? nullptr : *found;
}

// Blueprints

bool Workspace::representsBlueprint(const BlueprintPtr& blueprint) const {
  if (blueprint == nullptr || blueprint->primaryRemoteRepository() == nullptr) return false;
  return arePresentAndEqual(blueprint->primaryRemoteRepository()->identifier(),
                            repositoryIdentifier(_primaryWorkingCopy)) &&
         blueprint->relativePathToProject() == _relativePathToProject;
}

std::uint64_t Workspace::compareToBlueprint(const BlueprintPtr& blueprint) const {
  if (blueprint == nullptr) return QRBSourceControlWorkspaceUnrelatedToBlueprint;
  std::unordered_map<qrb::String, RemotePtr> byIdentifier;
  for (const RemotePtr& remote : blueprint->remoteRepositories()) {
    if (remote->identifier()) byIdentifier.emplace(remote->identifier(), remote);
  }
  std::int64_t matches = 0;
  bool areLocationsEqual = true;
  for (const WorkingCopyPtr& workingCopy : _workingCopies) {
    auto match = byIdentifier.find(repositoryIdentifier(workingCopy));
    if (match == byIdentifier.end()) continue;
    ++matches;
    areLocationsEqual = areLocationsEqual && qrb::areEqual(workingCopy->cachedCurrentLocation(),
                                                           blueprint->locationForRemoteRepository(match->second));
  }
  if (matches == 0) return QRBSourceControlWorkspaceUnrelatedToBlueprint;
  std::int64_t extraWorkingCopies = std::ssize(_workingCopies) - matches;
  // Below 0 where several working copies are of one repository; those are no plain match.
  std::int64_t extraRemotes = std::ssize(blueprint->remoteRepositories()) - matches;
  if (extraWorkingCopies == 0 && extraRemotes == 0) {
    return areLocationsEqual ? QRBSourceControlWorkspaceSameAsBlueprint : QRBSourceControlWorkspaceOnOtherLocations;
  }
  if (extraRemotes == 0) return QRBSourceControlWorkspaceHasMoreThanBlueprint;
  if (extraWorkingCopies == 0 && extraRemotes > 0) return QRBSourceControlWorkspaceHasLessThanBlueprint;
  return QRBSourceControlWorkspaceAndBlueprintDiffer;
}

Workspace::WorkingCopies Workspace::workingCopiesMissingFromBlueprint(const BlueprintPtr& blueprint) const {
  std::unordered_set<qrb::String> identifiers;
  std::unordered_set<qrb::String> paths;
  if (blueprint != nullptr) {
    for (const RemotePtr& remote : blueprint->remoteRepositories()) {
      if (remote->identifier()) identifiers.insert(remote->identifier());
      if (qrb::String path = blueprint->workingCopyPathForRemoteRepository(remote)) paths.insert(path);
    }
  }
  qrb::URL root = workspaceRootFolder();
  WorkingCopies missing;
  std::copy_if(_workingCopies.begin(), _workingCopies.end(), std::back_inserter(missing),
               [&](const WorkingCopyPtr& workingCopy) {
                 return !identifiers.contains(repositoryIdentifier(workingCopy)) &&
                        !paths.contains(qrb::detail::workingCopyPath(workingCopy->fileURL(), root));
               });
  return missing;
}

// Revisions for histories

Workspace::WeakRevisionTable Workspace::_revisionTableWithRevison(const QRBSourceControlRevisionPtr& revision) const {
  WeakRevisionTable table;
  for (const WorkingCopyPtr& workingCopy : _workingCopies) table.set(workingCopy, revision);
  return table;
}

Workspace::WeakRevisionTable Workspace::headRevisionsMapTable() const {
  return _revisionTableWithRevison(QRBSourceControlRevision::sharedHeadRevision());
}

Workspace::WeakRevisionTable Workspace::baseRevisionsMapTable() const {
  return _revisionTableWithRevison(QRBSourceControlRevision::sharedBaseRevision());
}

Workspace::WeakRevisionTable Workspace::initialRevisionsMapTable() const {
  return _revisionTableWithRevison(QRBSourceControlRevision::sharedInitialRevision());
}
