#include <algorithm>
#include <limits>

#include "BlueprintIdentityPrivate.h"
#include "BlueprintMatchingPrivate.h"
#include "QRBSourceControlString.h"
#include "QRBSourceControlURL.h"
#include "QRBSourceControlWorkingCopy.h"
#include "QRBSourceControlWorkspace.h"
#include "UnicodeText.h"

using Blueprint = QRBSourceControlWorkspaceBlueprint;
using BlueprintPtr = QRBSourceControlWorkspaceBlueprintPtr;
using RemotePtr = QRBSourceControlRemoteRepositoryPtr;
using qrb::detail::BlueprintIndex;

namespace qrb::detail {

namespace {

constexpr std::size_t kNowhere = std::numeric_limits<std::size_t>::max();

}  // namespace

std::string comparablePath(const String& path) {
  return caseFolded(qrbscm_stringByDeletingTrailingSlash(path.view()));
}

BlueprintIndex::BlueprintIndex(const Blueprint& blueprint)
    : _repositories(blueprint.remoteRepositories()),
      _usesSecondaryIdentifiers(blueprint._needsToUseSecondaryIdentifiers()) {
  for (std::size_t place = 0; place < _repositories.size(); ++place) {
    const RemotePtr& repository = _repositories[place];
    _places.emplace(repository.get(), place);
    if (std::string identity = identityOf(*repository); !identity.empty()) _byIdentity[identity].insert(place);
    addPath(repository, blueprint.workingCopyPathForRemoteRepository(repository));
  }
}

// The text is empty for what is identical to nothing. A byte that no identifier has stands between the two identifiers.
std::string BlueprintIndex::identityOf(const QRBSourceControlRepository& repository) const {
  String identifier = repository.identifier();
  String secondary = repository.secondaryIdentifier();
  if (!identifier || (_usesSecondaryIdentifiers && !secondary)) return {};
  std::string identity = identifier.str() + '\0';
  return _usesSecondaryIdentifiers ? identity + secondary.str() : identity;
}

std::size_t BlueprintIndex::firstPlace(const Places& places, const std::string& key) {
  auto found = places.find(key);
  return found == places.end() || found->second.empty() ? kNowhere : *found->second.begin();
}

RemotePtr BlueprintIndex::at(std::size_t place) const {
  return place == kNowhere ? nullptr : _repositories[place];
}

bool BlueprintIndex::contains(const RemotePtr& repository) const {
  return _places.count(repository.get()) != 0;
}

RemotePtr BlueprintIndex::firstIdentical(const QRBSourceControlRepository& repository) const {
  return at(firstPlace(_byIdentity, identityOf(repository)));
}

RemotePtr BlueprintIndex::firstLike(const QRBSourceControlRepository& repository, const String& workingCopyPath) const {
  std::size_t byIdentity = firstPlace(_byIdentity, identityOf(repository));
  std::size_t byPath = workingCopyPath ? firstPlace(_byPath, comparablePath(workingCopyPath)) : kNowhere;
  return at(std::min(byIdentity, byPath));
}

void BlueprintIndex::setIdentifier(const RemotePtr& repository, const String& identifier) {
  std::size_t place = _places.at(repository.get());
  if (auto previous = _byIdentity.find(identityOf(*repository)); previous != _byIdentity.end()) {
    previous->second.erase(place);
  }
  repository->setIdentifier(identifier);
  if (std::string identity = identityOf(*repository); !identity.empty()) _byIdentity[identity].insert(place);
}

void BlueprintIndex::addPath(const RemotePtr& repository, const String& workingCopyPath) {
  if (workingCopyPath) _byPath[comparablePath(workingCopyPath)].insert(_places.at(repository.get()));
}

}  // namespace qrb::detail

namespace {

// What this side leaves open equals anything.
bool equalIgnoringCase(const qrb::String& own, const qrb::String& other) {
  return !own || (other && qrb::caseFolded(own.view()) == qrb::caseFolded(other.view()));
}

qrb::String identifierOf(const RemotePtr& repository) {
  return repository == nullptr ? qrb::String() : repository->identifier();
}

RemotePtr likeOrItself(const BlueprintIndex& index, const RemotePtr& repository) {
  return index.contains(repository) ? repository : index.firstIdentical(*repository);
}

}  // namespace

RemotePtr Blueprint::_repositoryLikeRemoteRepository(const RemotePtr& remoteRepository) const {
  if (remoteRepository == nullptr) return nullptr;
  return likeOrItself(BlueprintIndex(*this), remoteRepository);
}

RemotePtr Blueprint::remoteRepositoryLikeRepository(const QRBSourceControlRepositoryPtr& repository) const {
  if (repository == nullptr) return nullptr;
  if (&repository->classInfo() == &QRBSourceControlRemoteRepository::staticClass()) {
    return _repositoryLikeRemoteRepository(std::static_pointer_cast<QRBSourceControlRemoteRepository>(repository));
  }
  std::string place = qrbscm_stringByDeletingTrailingSlash(qrbscm_path(repository->URL()).view());
  for (const RemotePtr& candidate : _remoteRepositories) {
    if (!qrb::detail::arePresentAndEqual(candidate->identifier(), repository->identifier())) continue;
    if (qrb::detail::isIdentityMatch(*candidate, *repository, _usesSecondaryIdentifiers)) return candidate;
    std::string path = qrbscm_stringByDeletingTrailingSlash(workingCopyPathForRemoteRepository(candidate).view());
    if (!path.empty() && place.ends_with(path)) return candidate;
  }
  return nullptr;
}

RemotePtr Blueprint::_repositoryLikeRepository(const RemotePtr& repository, const BlueprintPtr& inBlueprint) const {
  if (repository == nullptr || inBlueprint == nullptr) return nullptr;
  return BlueprintIndex(*this).firstLike(*repository, inBlueprint->workingCopyPathForRemoteRepository(repository));
}

RemotePtr Blueprint::remoteRepositoryLikeRepository(const RemotePtr& repository,
                                                    const BlueprintPtr& inBlueprint) const {
  return inBlueprint == nullptr ? _repositoryLikeRemoteRepository(repository)
                                : _repositoryLikeRepository(repository, inBlueprint);
}

RemotePtr Blueprint::repositoryForOrigin(const qrb::URL& origin) const {
  auto found = std::find_if(_remoteRepositories.begin(), _remoteRepositories.end(), [&](const RemotePtr& candidate) {
    return qrb::detail::isSameOrigin(candidate->URL(), origin);
  });
  return found == _remoteRepositories.end() ? nullptr : *found;
}

bool Blueprint::isFuzzyEqualToBlueprint(const BlueprintPtr& blueprint) const {
  // Null has no primary repository, so the two would differ in any case.
  if (blueprint == nullptr || !equalIgnoringCase(_name, blueprint->_name) ||
      !equalIgnoringCase(_relativePathToProject, blueprint->_relativePathToProject) ||
      !qrb::detail::arePresentAndEqual(identifierOf(_primary), identifierOf(blueprint->_primary))) {
    return false;
  }
  BlueprintIndex theirs(*blueprint);
  BlueprintIndex own(*this);
  auto hasLikeOne = [&](const RemotePtr& repository) {
    RemotePtr like = likeOrItself(theirs, repository);
    return like != nullptr && equalIgnoringCase(repository->URL().absoluteString(), like->URL().absoluteString()) &&
           equalIgnoringCase(workingCopyPathForRemoteRepository(repository),
                             blueprint->workingCopyPathForRemoteRepository(like));
  };
  auto isLikeOne = [&](const RemotePtr& repository) { return likeOrItself(own, repository) != nullptr; };
  const RemoteRepositories& others = blueprint->_remoteRepositories;
  return std::all_of(_remoteRepositories.begin(), _remoteRepositories.end(), hasLikeOne) &&
         std::all_of(others.begin(), others.end(), isLikeOne);
}

Blueprint::RemoteRepositories Blueprint::repositoriesWithoutIdentifierAmong(
    const std::unordered_set<qrb::String>& identifiers) const {
  RemoteRepositories missing;
  for (const RemotePtr& repository : _remoteRepositories) {
    qrb::String identifier = repository->identifier();
    bool isPresent = identifier && identifiers.count(identifier) != 0;
    if (!isPresent && !workingCopyPathForRemoteRepository(repository).empty()) missing.push_back(repository);
  }
  return missing;
}

Blueprint::RemoteRepositories Blueprint::remoteRepositoriesMissingFromBlueprint(const BlueprintPtr& blueprint) const {
  std::unordered_set<qrb::String> identifiers;
  if (blueprint != nullptr) {
    for (const RemotePtr& repository : blueprint->_remoteRepositories) identifiers.insert(repository->identifier());
  }
  return repositoriesWithoutIdentifierAmong(identifiers);
}

Blueprint::RemoteRepositories Blueprint::remoteRepositoriesMissingFromWorkspace(
    const QRBSourceControlWorkspacePtr& workspace) const {
  std::unordered_set<qrb::String> identifiers;
  if (workspace != nullptr) {
    for (const QRBSourceControlWorkingCopyPtr& workingCopy : workspace->workingCopies()) {
      QRBSourceControlRepositoryPtr repository = workingCopy->repository();
      if (repository != nullptr) identifiers.insert(repository->identifier());
    }
  }
  return repositoriesWithoutIdentifierAmong(identifiers);
}
