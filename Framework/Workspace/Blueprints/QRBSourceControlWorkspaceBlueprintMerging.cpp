#include "BlueprintIdentityPrivate.h"
#include "BlueprintMatchingPrivate.h"
#include "QRBSourceControlBasicAuthenticationStrategy.h"
#include "QRBSourceControlBranchAndTagLocations.h"
#include "QRBSourceControlRevisionLocation.h"

using Blueprint = QRBSourceControlWorkspaceBlueprint;
using BlueprintPtr = QRBSourceControlWorkspaceBlueprintPtr;
using RemotePtr = QRBSourceControlRemoteRepositoryPtr;
using Anonymous = QRBSourceControlAuthenticationStrategy;
using Basic = QRBSourceControlBasicAuthenticationStrategy;
using StrategyPtr = QRBSourceControlAuthenticationStrategyPtr;
using qrb::detail::BlueprintIndex;

namespace {

// What the own strategy becomes where both are of user name and password.
StrategyPtr completedStrategy(const Basic& own, const Basic& other) {
  bool keepsUsername = own.usernameDefinedFromURL() || !own.username().empty();
  qrb::String username = keepsUsername ? own.username() : other.username();
  // A password goes with the user name it was given for. Only a name that was taken over is certainly that one: an
  // equal one may be another person's choice.
  bool isOthersUsername = username.isIdenticalTo(other.username());
  bool keepsPassword = !isOthersUsername || own.passwordDefinedFromURL() || !own.password().empty();
  if (keepsUsername && keepsPassword) return nullptr;
  return own.strategyWithUsername(username, keepsPassword ? own.password() : other.password());
}

void takeOverStrategy(QRBSourceControlRemoteRepository& repository, const StrategyPtr& other) {
  StrategyPtr own = repository.authenticationStrategy();
  if (own == nullptr || other == nullptr) return;
  if (&own->classInfo() == &Anonymous::staticClass()) {
    if (other->isValidForURL(repository.URL())) repository.setAuthenticationStrategy(other);
    return;
  }
  if (!own->classInfo().isKindOf(Basic::staticClass()) || !other->classInfo().isKindOf(Basic::staticClass())) return;
  StrategyPtr completed = completedStrategy(static_cast<const Basic&>(*own), static_cast<const Basic&>(*other));
  if (completed != nullptr) repository.setAuthenticationStrategy(completed);
}

void takeOverCredentials(const RemotePtr& repository, const RemotePtr& from) {
  takeOverStrategy(*repository, from->authenticationStrategy());
  if (!repository->trustedServerFingerprint()) {
    repository->setTrustedServerFingerprint(from->trustedServerFingerprint());
  }
  repository->setEnforceTrustedServerFingerprint(
      repository->trustedServerFingerprint() ? true : from->enforceTrustedServerFingerprint());
}

// The entry of one repository in another blueprint's table, for a repository that has none in this one's.
template <class Table>
bool takeOverEntry(Table& table, const RemotePtr& repository, const Table& others, const RemotePtr& from) {
  const auto* value = others.find(from);
  if (value == nullptr || table.contains(repository)) return false;
  // The value is copied first, since both may be one table.
  table.set(repository, typename Table::mapped_type(*value));
  return true;
}

template <class Table>
void storeEntry(Table& table, const Table& others, const RemotePtr& repository) {
  if (const auto* value = others.find(repository)) table.set(repository, typename Table::mapped_type(*value));
}

}  // namespace

void Blueprint::getMissingCredentialsFromBlueprint(const BlueprintPtr& blueprint) {
  if (blueprint == nullptr) return;
  BlueprintIndex theirs(*blueprint);
  for (const RemotePtr& repository : _remoteRepositories) {
    RemotePtr like = theirs.firstLike(*repository, workingCopyPathForRemoteRepository(repository));
    if (like != nullptr) takeOverCredentials(repository, like);
  }
}

void Blueprint::mergeWithBlueprint(const BlueprintPtr& blueprint) {
  if (blueprint == nullptr) return;
  if (qrb::detail::arePresentAndEqual(_relativePathToProject, blueprint->_relativePathToProject)) {
    mergeWithLikeBlueprint(*blueprint);
  } else {
    takeEverythingOf(*blueprint);
  }
}

void Blueprint::takeEverythingOf(const Blueprint& blueprint) {
  _tables = blueprint._tables;
  _primary = blueprint._primary;
  _name = blueprint._name;
  _relativePathToProject = blueprint._relativePathToProject;
  _remoteRepositories = RemoteRepositories(blueprint._remoteRepositories);
  _updateNeedsToUseSecondaryIdentifiers();
}

void Blueprint::mergeWithLikeBlueprint(const Blueprint& blueprint) {
  RemoteRepositories merged = _remoteRepositories;
  BlueprintIndex own(*this);
  for (const RemotePtr& other : blueprint._remoteRepositories) {
    qrb::String path = blueprint.workingCopyPathForRemoteRepository(other);
    RemotePtr like = own.firstLike(*other, path);
    if (like == nullptr) {
      merged.push_back(other);
      takeNewRepository(other, blueprint);
      continue;
    }
    takeOverCredentials(like, other);
    takeOverEntry(*_tables.states, like, *blueprint._tables.states, other);
    if (takeOverEntry(*_tables.paths, like, *blueprint._tables.paths, other)) own.addPath(like, path);
    takeOverEntry(*_tables.repositoryLocations, like, *blueprint._tables.repositoryLocations, other);
    takeOverEntry(*_tables.locations, like, *blueprint._tables.locations, other);
    if (other->identifier()) own.setIdentifier(like, other->identifier());
  }
  takeRepositories(std::move(merged));
}

void Blueprint::takeNewRepository(const RemotePtr& repository, const Blueprint& blueprint) {
  storeEntry(*_tables.states, *blueprint._tables.states, repository);
  storeEntry(*_tables.paths, *blueprint._tables.paths, repository);
  storeEntry(*_tables.repositoryLocations, *blueprint._tables.repositoryLocations, repository);
  storeEntry(*_tables.locations, *blueprint._tables.locations, repository);
  if (repository != blueprint._primary) return;
  _primary = repository;
  _name = blueprint._name;
  _relativePathToProject = blueprint._relativePathToProject;
}
