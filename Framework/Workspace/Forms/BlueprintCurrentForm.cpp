#include <algorithm>
#include <utility>
#include <vector>

#include "BlueprintFormsPrivate.h"
#include "BlueprintIdentityPrivate.h"
#include "QRBSourceControlBranch.h"
#include "QRBSourceControlBranchAndTagLocations.h"
#include "QRBSourceControlIdentifiers.h"
#include "QRBSourceControlLockedRevisionLocation.h"
#include "QRBSourceControlPathLocation.h"
#include "QRBSourceControlSSHKeysAuthenticationStrategy.h"
#include "QRBSourceControlSystem.h"
#include "QRBSourceControlTag.h"
#include "QRBSourceControlWorkingCopy.h"

using Blueprint = QRBSourceControlWorkspaceBlueprint;
using RemotePtr = QRBSourceControlRemoteRepositoryPtr;

namespace qrb::detail {

namespace {

constexpr int kWrittenVersion = 204;

constexpr const char* kRepositoriesKey = QRBSourceControlWorkspaceBlueprintRemoteRepositoriesKey;
constexpr const char* kIdentifierKey = QRBSourceControlWorkspaceBlueprintRemoteRepositoryIdentifierKey;
constexpr const char* kEnforceKey = QRBSourceControlWorkspaceBlueprintRemoteRepositoryEnforceTrustCertFingerprintKey;
constexpr const char* kFingerprintKey = QRBSourceControlWorkspaceBlueprintRemoteRepositoryTrustedCertFingerprintKey;
constexpr const char* kSelfSignedKey = QRBSourceControlWorkspaceBlueprintRemoteRepositoryTrustSelfSignedCertKey;
constexpr const char* kStrategiesKey = QRBSourceControlWorkspaceBlueprintRemoteRepositoryAuthenticationStrategiesKey;

bool has(std::uint64_t options, std::uint64_t bits) {
  return (options & bits) != 0;
}

bool writesAuthentication(std::uint64_t options) {
  return has(options, QRBSourceControlWorkspaceBlueprintAuthentication | QRBSourceControlWorkspaceBlueprintCredentials);
}

// Writing

void writeTrust(const QRBSourceControlRemoteRepository& repository, std::uint64_t options, Dictionary& entry) {
  String fingerprint = repository.trustedServerFingerprint();
  if (repository.enforceTrustedServerFingerprint() && !has(options, QRBSourceControlWorkspaceBlueprintTrustOnly)) {
    entry[kEnforceKey] = true;
    if (!fingerprint.empty()) setText(entry, kFingerprintKey, fingerprint);
  } else if (!fingerprint.empty() &&
             !QRBSourceControlSSHKeysAuthenticationStrategy::strategyIsValidForURL(repository.URL())) {
    entry[kSelfSignedKey] = true;
    entry[kFingerprintKey] = fingerprint.str();
  }
}

Dictionary repositoryEntry(const QRBSourceControlRemoteRepository& repository, const String& identifier,
                           std::uint64_t options) {
  Dictionary entry = Dictionary::object();
  entry[kIdentifierKey] = identifier.str();
  setText(entry, QRBSourceControlWorkspaceBlueprintRemoteRepositoryURLKey, writtenURL(repository, options));
  if (auto system = repository.sourceControlSystem()) {
    setText(entry, QRBSourceControlWorkspaceBlueprintRemoteRepositorySystemKey, system->plugInIdentifier());
  }
  if (writesAuthentication(options)) writeTrust(repository, options, entry);
  return entry;
}

// Null for one that the options leave out.
Dictionary locationEntry(const QRBSourceControlRevisionLocation& location, std::uint64_t options) {
  bool isBare = &location.classInfo() == &QRBSourceControlRevisionLocation::staticClass();
  if (isBare && !has(options, QRBSourceControlWorkspaceBlueprintRevisions)) return nullptr;
  Dictionary entry = location.dictionaryRepresentationWithOptions(options);
  entry[QRBSourceControlWorkspaceBlueprintLocationTypeKey] = std::string(location.className());
  return entry;
}

class Writer {
 public:
  Writer(const Blueprint& blueprint, std::uint64_t options) : _blueprint(blueprint), _options(options) {}

  Dictionary write() {
    // They are sorted by their identifiers, so that a file does not change with the user's language.
    std::vector<std::pair<std::string, RemotePtr>> repositories;
    for (const RemotePtr& repository : _blueprint.remoteRepositories()) {
      if (!isLeftOut(_blueprint, repository, _options)) repositories.emplace_back(keyOf(repository), repository);
    }
    std::stable_sort(repositories.begin(), repositories.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    for (const auto& [key, repository] : repositories) add(key, repository);
    addFields();
    addSections();
    return std::move(_file);
  }

 private:
  std::string keyOf(const RemotePtr& repository) const {
    return serializedIdentifier(*repository, _blueprint._needsToUseSecondaryIdentifiers()).str();
  }

  void add(const std::string& key, const RemotePtr& repository) {
    _repositories.append(repositoryEntry(*repository, key, _options));
    if (String path = _blueprint.workingCopyPathForRemoteRepository(repository)) _paths[key] = path.str();
    if (const auto* state = _blueprint.workingCopyStates()->find(repository)) _states[key] = *state;
    if (auto layout = _blueprint.branchAndTagLocationsForRemoteRepository(repository)) {
      _repositoryLocations[key] = layout->dictionaryRepresentationWithOptions(_options);
    }
    if (auto location = _blueprint.locationForRemoteRepository(repository)) {
      Dictionary entry = locationEntry(*location, _options);
      if (!entry.isNull()) _locations[key] = std::move(entry);
    }
    if (writesAuthentication(_options))
      _strategies[key] = writeStrategy(repository->authenticationStrategy(), _options);
  }

  void addFields() {
    const RemotePtr& primary = _blueprint.primaryRemoteRepository();
    if (primary != nullptr && !isLeftOut(_blueprint, primary, _options)) {
      _file[QRBSourceControlWorkspaceBlueprintPrimaryRemoteRepositoryKey] = keyOf(primary);
    }
    // An empty text would say no more than its absence, and is not valid in a file.
    if (!_blueprint.relativePathToProject().empty()) {
      setText(_file, QRBSourceControlWorkspaceBlueprintRelativePathToProjectKey, _blueprint.relativePathToProject());
    }
    if (!_blueprint.name().empty()) setText(_file, QRBSourceControlWorkspaceBlueprintNameKey, _blueprint.name());
    setText(_file, QRBSourceControlWorkspaceBlueprintIdentifierKey, _blueprint._id());
    if (has(_options, QRBSourceControlWorkspaceBlueprintFavoriteStatus)) {
      _file[QRBSourceControlWorkspaceBlueprintFavoriteStatusKey] = _blueprint.favorite();
    }
    _file[QRBSourceControlWorkspaceBlueprintVersion] = kWrittenVersion;
  }

  void addSections() {
    _file[kRepositoriesKey] = std::move(_repositories);
    _file[QRBSourceControlWorkspaceBlueprintWorkingCopyPathsKey] = std::move(_paths);
    auto addSection = [this](std::uint64_t bits, const char* key, Dictionary& section) {
      if (has(_options, bits)) _file[key] = std::move(section);
    };
    addSection(QRBSourceControlWorkspaceBlueprintWorkingCopyStates,
               QRBSourceControlWorkspaceBlueprintWorkingCopyStatesKey, _states);
    addSection(QRBSourceControlWorkspaceBlueprintBranchAndTagLocations,
               QRBSourceControlWorkspaceBlueprintWorkingCopyRepositoryLocationsKey, _repositoryLocations);
    addSection(QRBSourceControlWorkspaceBlueprintLocations, QRBSourceControlWorkspaceBlueprintLocationsKey, _locations);
    if (writesAuthentication(_options)) _file[kStrategiesKey] = std::move(_strategies);
  }

  const Blueprint& _blueprint;
  const std::uint64_t _options;
  Dictionary _file = Dictionary::object();
  Dictionary _repositories = Dictionary::array();
  Dictionary _paths = Dictionary::object();
  Dictionary _states = Dictionary::object();
  Dictionary _repositoryLocations = Dictionary::object();
  Dictionary _locations = Dictionary::object();
  Dictionary _strategies = Dictionary::object();
};

// Reading

QRBSourceControlRevisionLocationPtr readLocation(const Dictionary& entry) {
  String type = textForKey(entry, QRBSourceControlWorkspaceBlueprintLocationTypeKey);
  auto is = [&](const ClassInfo& info) { return type.view() == info.name(); };
  if (is(QRBSourceControlBranch::staticClass())) return QRBSourceControlBranch::initWithDictionary(entry);
  if (is(QRBSourceControlTag::staticClass())) return QRBSourceControlTag::initWithDictionary(entry);
  if (is(QRBSourceControlPathLocation::staticClass())) return QRBSourceControlPathLocation::initWithDictionary(entry);
  if (is(QRBSourceControlLockedRevisionLocation::staticClass())) {
    return QRBSourceControlLockedRevisionLocation::initWithDictionary(entry);
  }
  if (is(QRBSourceControlRevisionLocation::staticClass())) {
    return QRBSourceControlRevisionLocation::initWithDictionary(entry);
  }
  return nullptr;
}

class Reader {
 public:
  Reader(const Dictionary& file, const URL& sshKeyDirectory)
      : _strategies(file[kStrategiesKey]),
        _paths(file[QRBSourceControlWorkspaceBlueprintWorkingCopyPathsKey]),
        _states(file[QRBSourceControlWorkspaceBlueprintWorkingCopyStatesKey]),
        _repositoryLocations(file[QRBSourceControlWorkspaceBlueprintWorkingCopyRepositoryLocationsKey]),
        _locations(file[QRBSourceControlWorkspaceBlueprintLocationsKey]),
        _saysWhatIsTrusted(file.find(kStrategiesKey) != nullptr),
        _sshKeyDirectory(sshKeyDirectory) {}

  BlueprintContents read(const Dictionary& file) {
    _contents.identifier = textForKey(file, QRBSourceControlWorkspaceBlueprintIdentifierKey);
    _contents.name = textForKey(file, QRBSourceControlWorkspaceBlueprintNameKey);
    _contents.favorite = isTrue(file.find(QRBSourceControlWorkspaceBlueprintFavoriteStatusKey));
    _contents.relativePathToProject = textForKey(file, QRBSourceControlWorkspaceBlueprintRelativePathToProjectKey);
    String primary = textForKey(file, QRBSourceControlWorkspaceBlueprintPrimaryRemoteRepositoryKey);
    for (const Dictionary& entry : file[kRepositoriesKey].elements()) {
      String identifier = textForKey(entry, kIdentifierKey);
      RemotePtr repository = readRepository(entry, identifier);
      if (repository == nullptr) continue;
      readSections(repository, identifier);
      if (primary && identifier == primary) _contents.primary = repository;
      _contents.repositories.push_back(std::move(repository));
    }
    return std::move(_contents);
  }

 private:
  RemotePtr readRepository(const Dictionary& entry, const String& identifier) {
    URL url = usableURL(textForKey(entry, QRBSourceControlWorkspaceBlueprintRemoteRepositoryURLKey));
    String systemIdentifier = textForKey(entry, QRBSourceControlWorkspaceBlueprintRemoteRepositorySystemKey);
    auto system = url ? _systems.systemWithIdentifier(systemIdentifier) : nullptr;
    if (system == nullptr) {
      const char* reason = url ? ": no installed plug-in serves its system" : ": its URL cannot be used";
      _contents.leftOut.emplace_back(identifier.valueOr("?").str() + reason);
      return nullptr;
    }
    const Dictionary* authentication = identifier ? _strategies.find(identifier.view()) : nullptr;
    auto strategy = readStrategy(authentication == nullptr ? _noEntry : *authentication, url, _sshKeyDirectory);
    auto repository = QRBSourceControlRemoteRepository::initWithURLUnsavedAuthenticationStrategy(
        url, primaryIdentifier(identifier), secondaryIdentifier(identifier), system, strategy);
    readTrust(entry, *repository);
    return repository;
  }

  void readTrust(const Dictionary& entry, QRBSourceControlRemoteRepository& repository) const {
    if (String fingerprint = textForKey(entry, kFingerprintKey)) repository.setTrustedServerFingerprint(fingerprint);
    // Where the file says nothing of trust at all, the repository stays as strict as any new one.
    bool isEnforced = isTrue(entry.find(kEnforceKey));
    bool isOnlyTrusted = isTrue(entry.find(kSelfSignedKey));
    if (_saysWhatIsTrusted || isEnforced || isOnlyTrusted) repository.setEnforceTrustedServerFingerprint(isEnforced);
  }

  void readSections(const RemotePtr& repository, const String& identifier) {
    if (!identifier) return;
    if (String path = textForKey(_paths, identifier.view())) _contents.paths->set(repository, path);
    const Dictionary* state = _states.find(identifier.view());
    if (state != nullptr && state->isNumber()) _contents.states->set(repository, qrbscm_statusValue(*state));
    if (const Dictionary* entry = _locations.find(identifier.view())) {
      if (auto location = readLocation(*entry)) _contents.locations->set(repository, location);
    }
    if (const Dictionary* entry = _repositoryLocations.find(identifier.view())) {
      auto layout = QRBSourceControlBranchAndTagLocations::initWithDictionary(*entry);
      if (layout != nullptr) _contents.repositoryLocations->set(repository, layout);
    }
  }

  const Dictionary& _strategies;
  const Dictionary& _paths;
  const Dictionary& _states;
  const Dictionary& _repositoryLocations;
  const Dictionary& _locations;
  const bool _saysWhatIsTrusted;
  const URL& _sshKeyDirectory;
  const Dictionary _noEntry = Dictionary::object();
  SystemLookup _systems;
  BlueprintContents _contents;
};

}  // namespace

Dictionary writeCurrentForm(const Blueprint& blueprint, std::uint64_t options) {
  return Writer(blueprint, options).write();
}

BlueprintContents readCurrentForm(const Dictionary& dictionary, const URL& sshKeyDirectory) {
  return Reader(dictionary, sshKeyDirectory).read(dictionary);
}

}  // namespace qrb::detail
