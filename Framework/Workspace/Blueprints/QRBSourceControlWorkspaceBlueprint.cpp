#include "QRBSourceControlWorkspaceBlueprint.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

#include "BlueprintIdentityPrivate.h"
#include "Localization.h"
#include "NameOrderPrivate.h"
#include "PathString.h"
#include "PercentCoding.h"
#include "QRBSourceControlAuthenticationStrategy.h"
#include "QRBSourceControlIdentifiers.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlRevisionLocation.h"
#include "QRBSourceControlSingleRepositoryAccount.h"
#include "QRBSourceControlURL.h"
#include "UUIDString.h"

QRB_DEFINE_OBJECT(QRBSourceControlWorkspaceBlueprint, qrb::Object, "QRBSourceControlWorkspaceBlueprint", nullptr);

using Blueprint = QRBSourceControlWorkspaceBlueprint;
using BlueprintPtr = QRBSourceControlWorkspaceBlueprintPtr;
using RemotePtr = QRBSourceControlRemoteRepositoryPtr;

namespace {

template <class Table>
std::shared_ptr<Table> orEmpty(std::shared_ptr<Table> table) {
  return table != nullptr ? std::move(table) : std::make_shared<Table>();
}

template <class Table>
void moveEntry(Table& table, const RemotePtr& from, const RemotePtr& to) {
  if (const auto* value = table.find(from)) table.set(to, typename Table::mapped_type(*value));
  table.remove(from);
}

bool leadsAboveStart(std::string_view path) {
  // A path that is joined to a root is below it whatever it begins with: only ".." leads out.
  path.remove_prefix(std::min(path.find_first_not_of('/'), path.size()));
  std::string cleaned = qrb::standardizedPath(path);
  return cleaned == ".." || cleaned.starts_with("../");
}

// The copy gets an account of its own: one that the account manager has for the URL would bring its credentials back.
RemotePtr anonymousCopyOf(const QRBSourceControlRemoteRepository& repository) {
  auto copy = QRBSourceControlRemoteRepository::initWithURLUnsavedAccount(
      repository.URL().withoutPassword(), repository.identifier(), repository.sourceControlSystem(), nullptr);
  copy->setSecondaryIdentifier(repository.secondaryIdentifier());
  auto account = QRBSourceControlSingleRepositoryAccount::initWithRepository(
      copy, QRBSourceControlAuthenticationStrategy::sharedAnonymousStrategy());
  account->setSavingDisabled(true);
  copy->setAccount(account);
  copy->setEnforceTrustedServerFingerprint(repository.enforceTrustedServerFingerprint());
  copy->setTrustedServerFingerprint(repository.trustedServerFingerprint());
  return copy;
}

RemotePtr copyOf(const QRBSourceControlRemoteRepository& repository) {
  return std::static_pointer_cast<QRBSourceControlRemoteRepository>(repository.copy());
}

}  // namespace

// Making one

Blueprint::QRBSourceControlWorkspaceBlueprint(Key)
    : _operationQueue("Source Control Workspace Blueprint Operation Queue"), _idProperty(qrb::makeUUIDString()) {}

BlueprintPtr Blueprint::init() {
  return std::make_shared<Blueprint>(Key());
}

BlueprintPtr Blueprint::initWithPrimaryRemoteRepository(
    RemotePtr primaryRemoteRepository, qrb::String relativePathToProject, RemoteRepositories remoteRepositories,
    std::shared_ptr<States> workingCopyStates, std::shared_ptr<Paths> workingCopyPaths,
    std::shared_ptr<RepositoryLocations> workingCopyRepositoryLocations, std::shared_ptr<Locations> locations,
    qrb::String name, bool favorite) {
  BlueprintPtr blueprint = init();
  blueprint->_relativePathToProject = std::move(relativePathToProject);
  blueprint->_name = std::move(name);
  blueprint->_favorite = favorite;
  blueprint->_tables = {orEmpty(std::move(workingCopyStates)), orEmpty(std::move(workingCopyPaths)),
                        orEmpty(std::move(workingCopyRepositoryLocations)), orEmpty(std::move(locations))};
  blueprint->_primary = std::move(primaryRemoteRepository);
  if (blueprint->_primary != nullptr) remoteRepositories.push_back(blueprint->_primary);
  blueprint->takeRepositories(std::move(remoteRepositories));
  return blueprint;
}

BlueprintPtr Blueprint::initWithSingleRemoteRepository(const RemotePtr& remoteRepository) {
  if (remoteRepository == nullptr) return nullptr;
  qrb::String name = remoteRepository->displayName();
  auto paths = std::make_shared<Paths>();
  if (name) paths->set(remoteRepository, name);
  return initWithPrimaryRemoteRepository(remoteRepository, {}, {remoteRepository}, nullptr, std::move(paths), nullptr,
                                         nullptr, name, false);
}

void Blueprint::set_id(const qrb::String& identifier) {
  if (!identifier.empty()) _idProperty = identifier;
}

void Blueprint::setPrimaryRemoteRepository(RemotePtr remoteRepository) {
  _primary = std::move(remoteRepository);
  RemoteRepositories repositories = _remoteRepositories;
  if (_primary != nullptr) repositories.push_back(_primary);
  takeRepositories(std::move(repositories));
}

bool Blueprint::contains(const RemotePtr& remoteRepository) const {
  return std::find(_remoteRepositories.begin(), _remoteRepositories.end(), remoteRepository) !=
         _remoteRepositories.end();
}

void Blueprint::takeRepositories(RemoteRepositories repositories) {
  std::unordered_set<RemotePtr> taken;
  std::erase_if(repositories,
                [&](const RemotePtr& repository) { return repository == nullptr || !taken.insert(repository).second; });
  _remoteRepositories = _sortedRepositoriesFromSet(std::move(repositories));
  _updateNeedsToUseSecondaryIdentifiers();
}

Blueprint::RemoteRepositories Blueprint::_sortedRepositoriesFromSet(RemoteRepositories repositories) const {
  qrb::detail::sortByName(repositories, _primary,
                          [](const RemotePtr& repository) { return qrbscm_lastPathComponent(repository->URL()); });
  return repositories;
}

// What is known of one repository

qrb::String Blueprint::displayNameForRemoteRepository(const RemotePtr& remoteRepository) const {
  if (remoteRepository == nullptr) return {};
  qrb::String path = workingCopyPathForRemoteRepository(remoteRepository);
  return path.empty() ? remoteRepository->displayName() : qrb::String(qrb::lastPathComponent(path.view()));
}

QRBSourceControlRevisionLocationPtr Blueprint::locationForRemoteRepository(const RemotePtr& remoteRepository) const {
  return _tables.locations->valueFor(remoteRepository);
}

QRBSourceControlBranchAndTagLocationsPtr Blueprint::branchAndTagLocationsForRemoteRepository(
    const RemotePtr& remoteRepository) const {
  return _tables.repositoryLocations->valueFor(remoteRepository);
}

qrb::String Blueprint::workingCopyPathForRemoteRepository(const RemotePtr& remoteRepository) const {
  return _tables.paths->valueFor(remoteRepository);
}

std::uint64_t Blueprint::workingCopyStateForRemoteRepository(const RemotePtr& remoteRepository) const {
  return _tables.states->valueFor(remoteRepository);
}

QRBSourceControlRevisionPtr Blueprint::revisionForRemoteRepository(const RemotePtr& remoteRepository) const {
  QRBSourceControlRevisionLocationPtr location = locationForRemoteRepository(remoteRepository);
  bool isPinned = location != nullptr && location->revision() != nullptr;
  return isPinned ? location->revision() : QRBSourceControlRevision::sharedInitialRevision();
}

Blueprint::Revisions Blueprint::revisions() const {
  Revisions revisions;
  for (const RemotePtr& repository : _remoteRepositories) {
    revisions.set(repository, revisionForRemoteRepository(repository));
  }
  return revisions;
}

qrb::String Blueprint::projectPath() const {
  if (!_relativePathToProject) return {};
  qrb::String folder = workingCopyPathForRemoteRepository(_primary);
  return qrb::String(qrb::appendingPathComponent(folder.view(), _relativePathToProject.view()));
}

RemotePtr Blueprint::repository() const {
  return representsSingleRepository() ? _remoteRepositories.front() : nullptr;
}

QRBSourceControlRevisionLocationPtr Blueprint::location() const {
  return locationForRemoteRepository(repository());
}

QRBSourceControlBranchAndTagLocationsPtr Blueprint::branchAndTagLocations() const {
  return branchAndTagLocationsForRemoteRepository(repository());
}

// Changing it

bool Blueprint::addRemoteRepository(const RemotePtr& remoteRepository, qrb::String workingCopyPath,
                                    std::optional<std::uint64_t> workingCopyState,
                                    QRBSourceControlBranchAndTagLocationsPtr branchAndTagLocations,
                                    QRBSourceControlRevisionLocationPtr location) {
  if (remoteRepository == nullptr || contains(remoteRepository)) return false;
  if (workingCopyPath) _tables.paths->set(remoteRepository, std::move(workingCopyPath));
  if (workingCopyState) _tables.states->set(remoteRepository, *workingCopyState);
  if (branchAndTagLocations) _tables.repositoryLocations->set(remoteRepository, std::move(branchAndTagLocations));
  if (location) _tables.locations->set(remoteRepository, std::move(location));
  RemoteRepositories repositories = _remoteRepositories;
  repositories.push_back(remoteRepository);
  takeRepositories(std::move(repositories));
  return true;
}

bool Blueprint::removeRemoteRepository(const RemotePtr& remoteRepository) {
  // A copy, since the reference may be to an element of what is erased from.
  RemotePtr removed = remoteRepository;
  if (std::erase(_remoteRepositories, removed) == 0) return false;
  _tables.states->remove(removed);
  _tables.paths->remove(removed);
  _tables.repositoryLocations->remove(removed);
  _tables.locations->remove(removed);
  if (_primary == removed) _primary = nullptr;
  _updateNeedsToUseSecondaryIdentifiers();
  return true;
}

bool Blueprint::replaceRemoteRepository(const RemotePtr& remoteRepository, const RemotePtr& withRepository) {
  if (withRepository == nullptr || contains(withRepository)) return false;
  RemotePtr replaced = remoteRepository;
  auto place = std::find(_remoteRepositories.begin(), _remoteRepositories.end(), replaced);
  if (place == _remoteRepositories.end()) return false;
  *place = withRepository;
  moveEntry(*_tables.states, replaced, withRepository);
  moveEntry(*_tables.paths, replaced, withRepository);
  moveEntry(*_tables.repositoryLocations, replaced, withRepository);
  moveEntry(*_tables.locations, replaced, withRepository);
  if (_primary == replaced) _primary = withRepository;
  takeRepositories(std::move(_remoteRepositories));
  return true;
}

BlueprintPtr Blueprint::blueprintForRemoteRepository(const RemotePtr& remoteRepository) const {
  if (!contains(remoteRepository)) return nullptr;
  BlueprintPtr blueprint = init();
  blueprint->_name = displayNameForRemoteRepository(remoteRepository);
  blueprint->_primary = remoteRepository;
  if (remoteRepository == _primary) blueprint->_relativePathToProject = _relativePathToProject;
  const std::uint64_t* state = _tables.states->find(remoteRepository);
  blueprint->addRemoteRepository(remoteRepository, workingCopyPathForRemoteRepository(remoteRepository),
                                 state == nullptr ? std::nullopt : std::optional(*state),
                                 branchAndTagLocationsForRemoteRepository(remoteRepository),
                                 locationForRemoteRepository(remoteRepository));
  return blueprint;
}

Blueprint::RemoteRepositories Blueprint::repositoriesWithWorkingCopyPathsAboveRootFolder() const {
  RemoteRepositories above;
  for (const RemotePtr& repository : _remoteRepositories) {
    qrb::String path = workingCopyPathForRemoteRepository(repository);
    if (leadsAboveStart(path.view()) || leadsAboveStart(qrb::percentDecoded(path.view()))) above.push_back(repository);
  }
  return above;
}

void Blueprint::removeRepositoriesWithWorkingCopyPathsAboveRootFolder() {
  for (const RemotePtr& repository : repositoriesWithWorkingCopyPathsAboveRootFolder()) {
    removeRemoteRepository(repository);
  }
}

BlueprintPtr Blueprint::copyWithRepositories(
    RemotePtr (*copyRepository)(const QRBSourceControlRemoteRepository&)) const {
  BlueprintPtr copy = init();
  copy->_idProperty = _idProperty;
  copy->_name = _name;
  copy->_favorite = _favorite;
  copy->_relativePathToProject = _relativePathToProject;
  copy->_leftOut = _leftOut;
  auto copyEntry = [](const auto& from, const RemotePtr& original, auto& to, const RemotePtr& copied) {
    if (const auto* value = from.find(original)) to.set(copied, *value);
  };
  RemoteRepositories repositories;
  repositories.reserve(_remoteRepositories.size());
  for (const RemotePtr& original : _remoteRepositories) {
    RemotePtr copied = copyRepository(*original);
    copied->setState(original->state());
    copyEntry(*_tables.states, original, *copy->_tables.states, copied);
    copyEntry(*_tables.paths, original, *copy->_tables.paths, copied);
    copyEntry(*_tables.repositoryLocations, original, *copy->_tables.repositoryLocations, copied);
    copyEntry(*_tables.locations, original, *copy->_tables.locations, copied);
    if (original == _primary) copy->_primary = copied;
    repositories.push_back(std::move(copied));
  }
  copy->takeRepositories(std::move(repositories));
  return copy;
}

std::shared_ptr<qrb::Object> Blueprint::copy() const {
  return copyWithRepositories(copyOf);
}

BlueprintPtr Blueprint::copyWithoutAuthentication() const {
  return copyWithRepositories(anonymousCopyOf);
}

std::string Blueprint::description() const {
  return qrb::format("Blueprint: %@ (%@ repositories)", {_name, std::to_string(_remoteRepositories.size())});
}

// Identifiers

void Blueprint::_updateNeedsToUseSecondaryIdentifiersWithRepository(const RemotePtr& repository) {
  std::unordered_set<qrb::String> seen;
  if (repository != nullptr && repository->identifier()) seen.insert(repository->identifier());
  _usesSecondaryIdentifiers =
      std::any_of(_remoteRepositories.begin(), _remoteRepositories.end(), [&](const RemotePtr& member) {
        qrb::String identifier = member->identifier();
        return identifier && !seen.insert(identifier).second;
      });
}

qrb::String Blueprint::serializedIdentifierForRepository(const QRBSourceControlRepositoryPtr& repository) const {
  if (repository == nullptr) return {};
  auto own = std::find(_remoteRepositories.begin(), _remoteRepositories.end(), repository);
  if (own == _remoteRepositories.end()) {
    own = std::find_if(_remoteRepositories.begin(), _remoteRepositories.end(), [&](const RemotePtr& candidate) {
      return qrb::detail::isIdentityMatch(*candidate, *repository, _usesSecondaryIdentifiers);
    });
  }
  return own == _remoteRepositories.end() ? qrb::String()
                                          : qrb::detail::serializedIdentifier(**own, _usesSecondaryIdentifiers);
}

RemotePtr Blueprint::remoteRepositoryForSerializedIdentifier(const qrb::String& identifier) const {
  qrb::String primary;
  qrb::String secondary;
  splitIdentifier(identifier, &primary, &secondary);
  auto found = std::find_if(_remoteRepositories.begin(), _remoteRepositories.end(), [&](const RemotePtr& candidate) {
    return qrb::detail::arePresentAndEqual(candidate->identifier(), primary) &&
           (!_usesSecondaryIdentifiers || candidate->secondaryIdentifier() == secondary);
  });
  return found == _remoteRepositories.end() ? nullptr : *found;
}
