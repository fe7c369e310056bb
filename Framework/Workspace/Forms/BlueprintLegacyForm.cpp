#include <algorithm>

#include "BlueprintFormsPrivate.h"
#include "BlueprintIdentityPrivate.h"
#include "PathString.h"
#include "QRBSourceControlBranch.h"
#include "QRBSourceControlBranchAndTagLocations.h"
#include "QRBSourceControlIdentifiers.h"
#include "QRBSourceControlPathLocation.h"
#include "QRBSourceControlString.h"
#include "QRBSourceControlSystem.h"
#include "QRBSourceControlTag.h"

using Blueprint = QRBSourceControlWorkspaceBlueprint;
using Layout = QRBSourceControlBranchAndTagLocations;
using RemotePtr = QRBSourceControlRemoteRepositoryPtr;

namespace qrb::detail {

namespace {

constexpr int kLegacyVersion = 111;
constexpr std::uint64_t kRequiredState = 1;

constexpr const char* kVersionKey = QRBSourceControlLegacyWorkspaceBlueprintVersionKey;
constexpr const char* kBlueprintIdentifierKey = QRBSourceControlLegacyWorkspaceBlueprintIdentifierKey;
constexpr const char* kBlueprintNameKey = QRBSourceControlLegacyWorkspaceBlueprintNameKey;
constexpr const char* kProjectPathKey = QRBSourceControlLegacyWorkspaceBlueprintPathKey;
constexpr const char* kFavoriteKey = QRBSourceControlLegacyWorkspaceBlueprintFavoriteKey;
constexpr const char* kPrimaryKey = QRBSourceControlLegacyWorkspaceBlueprintWCCIdentifierKey;
constexpr const char* kConfigurationsKey = QRBSourceControlLegacyWorkspaceBlueprintWCConfigurationsKey;
constexpr const char* kRootsKey = QRBSourceControlLegacyWorkspaceBlueprintRepositoryRootsKey;
constexpr const char* kOriginsKey = QRBSourceControlLegacyWorkspaceBlueprintOriginsKey;
constexpr const char* kInstallPathsKey = QRBSourceControlLegacyWorkspaceBlueprintInstallPathsKey;
constexpr const char* kRequiredKey = QRBSourceControlLegacyWorkspaceBlueprintRequiredConfigurationsKey;
constexpr const char* kWorkingCopyKey = QRBSourceControlLegacyWorkspaceWCCIdentifierKey;
constexpr const char* kNameKey = QRBSourceControlLegacyWorkspaceWCCNameKey;
constexpr const char* kSystemKey = QRBSourceControlLegacyWorkspaceSystemIdentifierKey;
constexpr const char* kTrunkKey = QRBSourceControlLegacyWorkspaceTrunkLocationKey;
constexpr const char* kBranchesKey = QRBSourceControlLegacyWorkspaceBranchesLocationKey;
constexpr const char* kTagsKey = QRBSourceControlLegacyWorkspaceTagsLocationKey;

class LegacyReader {
 public:
  explicit LegacyReader(const Dictionary& file)
      : _roots(file[kRootsKey]),
        _origins(file[kOriginsKey]),
        _installPaths(file[kInstallPathsKey]),
        _required(file[kRequiredKey]),
        _primary(textForKey(file, kPrimaryKey)) {}

  BlueprintContents read(const Dictionary& file) {
    _contents.identifier = textForKey(file, kBlueprintIdentifierKey);
    _contents.favorite = isTrue(file.find(kFavoriteKey));
    _contents.name = textForKey(file, kBlueprintNameKey);
    _contents.relativePathToProject = textForKey(file, kProjectPathKey);
    const Dictionary::Array& configurations = file[kConfigurationsKey].elements();
    _primaryInstallPath = textUnder(_primary, _installPaths);
    for (const Dictionary& configuration : configurations) {
      if (isPrimary(configuration)) _primaryName = textForKey(configuration, kNameKey);
    }
    for (const Dictionary& configuration : configurations) readConfiguration(configuration);
    return std::move(_contents);
  }

 private:
  // An absent identifier is not the empty one.
  static String textUnder(const String& identifier, const Dictionary& section) {
    return identifier ? textForKey(section, identifier.view()) : String();
  }

  bool isPrimary(const Dictionary& configuration) const {
    return arePresentAndEqual(textForKey(configuration, kWorkingCopyKey), _primary);
  }

  void readConfiguration(const Dictionary& configuration) {
    String identifier = textForKey(configuration, kWorkingCopyKey);
    auto system = _systems.systemWithIdentifier(textForKey(configuration, kSystemKey));
    String origin = textUnder(identifier, _origins);
    URL url = usableURL(textUnder(identifier, _roots));
    if (!url) url = usableURL(origin);
    if (system == nullptr || !url) {
      const char* reason = url ? ": no installed plug-in serves its system" : ": it has no URL that can be used";
      _contents.leftOut.emplace_back(identifier.valueOr("?").str() + reason);
      return;
    }
    RemotePtr repository = QRBSourceControlRemoteRepository::initUnsavedWithURL(
        url, primaryIdentifier(identifier), secondaryIdentifier(identifier), system);
    if (isPrimary(configuration)) _contents.primary = repository;
    if (String path = workingCopyPath(configuration, identifier)) _contents.paths->set(repository, path);
    bool isRequired = identifier && isTrue(_required.find(identifier.view()));
    _contents.states->set(repository, isRequired ? kRequiredState : 0);
    if (auto layout = layoutOf(configuration)) _contents.repositoryLocations->set(repository, layout);
    std::string_view subpath = origin.view();
    if (subpath.starts_with(url.absoluteString().view())) subpath.remove_prefix(url.absoluteString().size());
    if (auto location = QRBSourceControlPathLocation::initWithRelativePath(subpath)) {
      _contents.locations->set(repository, location);
    }
    _contents.repositories.push_back(std::move(repository));
  }

  // The primary one lies in a folder of its own name; the paths of the others may begin where it was installed.
  String workingCopyPath(const Dictionary& configuration, const String& identifier) const {
    if (isPrimary(configuration)) return textForKey(configuration, kNameKey);
    String path = textUnder(identifier, _installPaths);
    if (!path || _primaryInstallPath.empty() || !path.view().starts_with(_primaryInstallPath.view())) return path;
    std::string moved = _primaryName.str() + std::string(path.view().substr(_primaryInstallPath.size()));
    return String(qrbscm_stringByStandardizingRelativePath(moved));
  }

  static QRBSourceControlBranchAndTagLocationsPtr layoutOf(const Dictionary& configuration) {
    String trunk = textForKey(configuration, kTrunkKey);
    String branches = textForKey(configuration, kBranchesKey);
    String tags = textForKey(configuration, kTagsKey);
    return trunk || branches || tags ? Layout::locationsWithPrimaryBranchPath(trunk, branches, tags) : nullptr;
  }

  const Dictionary& _roots;
  const Dictionary& _origins;
  const Dictionary& _installPaths;
  const Dictionary& _required;
  const String _primary;
  String _primaryInstallPath;
  String _primaryName;
  SystemLookup _systems;
  BlueprintContents _contents;
};

// Where in the repository a working copy is, as far as a path can say it: branches and tags by the layout.
QRBSourceControlPathLocationPtr pathOf(const QRBSourceControlRevisionLocationPtr& location,
                                       const QRBSourceControlBranchAndTagLocationsPtr& layout) {
  if (location == nullptr) return nullptr;
  const ClassInfo& kind = location->classInfo();
  if (kind.isKindOf(QRBSourceControlPathLocation::staticClass())) {
    return std::static_pointer_cast<const QRBSourceControlPathLocation>(location);
  }
  if (kind.isKindOf(QRBSourceControlBranch::staticClass())) {
    return static_cast<const QRBSourceControlBranch&>(*location).pathLocationForBranchAndTagLocations(layout);
  }
  if (kind.isKindOf(QRBSourceControlTag::staticClass())) {
    return static_cast<const QRBSourceControlTag&>(*location).pathLocationForBranchAndTagLocations(layout);
  }
  return nullptr;
}

// The URL and the path as one text: a reader takes the URL off again to find the path. Where the two joined would make
// another URL, the path stands alone, and readers take it whole.
std::string originOf(const String& url, const QRBSourceControlPathLocationPtr& location) {
  if (location == nullptr) return url.str();
  std::string path = location->isRootPath() ? "/" : location->relativePath().str();
  bool joins = path.starts_with('/') || url.view().ends_with('/');
  return joins ? url.str() + path : path;
}

class LegacyWriter {
 public:
  LegacyWriter(const Blueprint& blueprint, std::uint64_t options) : _blueprint(blueprint), _options(options) {}

  Dictionary write() {
    for (const RemotePtr& repository : _blueprint.remoteRepositories()) {
      if (!isLeftOut(_blueprint, repository, _options)) add(repository);
    }
    std::stable_sort(_configurations.begin(), _configurations.end(), [](const Dictionary& a, const Dictionary& b) {
      return textForKey(a, kNameKey) < textForKey(b, kNameKey);
    });
    Dictionary file = Dictionary::object();
    file[kVersionKey] = kLegacyVersion;
    setText(file, kBlueprintIdentifierKey, _blueprint._id());
    if (!_blueprint.name().empty()) setText(file, kBlueprintNameKey, _blueprint.name());
    if (!_blueprint.relativePathToProject().empty()) {
      setText(file, kProjectPathKey, _blueprint.relativePathToProject());
    }
    file[kFavoriteKey] = _blueprint.favorite();
    addPrimary(file);
    file[kConfigurationsKey] = Dictionary::array(std::move(_configurations));
    file[kRootsKey] = std::move(_roots);
    file[kOriginsKey] = std::move(_origins);
    file[kInstallPathsKey] = std::move(_installPaths);
    file[kRequiredKey] = std::move(_required);
    return file;
  }

 private:
  static std::string keyOf(const RemotePtr& repository) { return serializedIdentifier(*repository, true).str(); }

  void add(const RemotePtr& repository) {
    std::string key = keyOf(repository);
    String path = _blueprint.workingCopyPathForRemoteRepository(repository);
    bool isPrimary = repository == _blueprint.primaryRemoteRepository();
    Dictionary configuration = Dictionary::object();
    configuration[kWorkingCopyKey] = key;
    setText(configuration, kNameKey, isPrimary || path.empty() ? path : String(lastPathComponent(path.view())));
    if (auto system = repository->sourceControlSystem()) {
      setText(configuration, kSystemKey, ideLegacyIdentiferFromIdentifier(system->plugInIdentifier()));
    }
    auto layout = _blueprint.branchAndTagLocationsForRemoteRepository(repository);
    if (layout != nullptr) addLayout(*layout, configuration);
    _configurations.push_back(std::move(configuration));
    if (String url = writtenURL(*repository, _options)) {
      _roots[key] = url.str();
      auto location = _blueprint.locationForRemoteRepository(repository);
      _origins[key] = originOf(url, pathOf(location, layout));
    }
    if (!isPrimary && path) _installPaths[key] = path.str();
    _required[key] = _blueprint.workingCopyStateForRemoteRepository(repository) == kRequiredState;
  }

  static void addLayout(const Layout& layout, Dictionary& configuration) {
    auto addPath = [&](const char* key, const QRBSourceControlPathLocationPtr& location) {
      if (location != nullptr) setText(configuration, key, location->relativePath());
    };
    addPath(kTrunkKey, layout.relativePrimaryBranchLocation());
    addPath(kBranchesKey, layout.relativeBranchesLocation());
    addPath(kTagsKey, layout.relativeTagsLocation());
  }

  // All paths are written as they are, from the root folder on, so the primary one is installed in the folder of its
  // name. That is left unsaid where readers, who clean every path that begins with it, would change one.
  void addPrimary(Dictionary& file) {
    const RemotePtr& primary = _blueprint.primaryRemoteRepository();
    if (primary == nullptr || isLeftOut(_blueprint, primary, _options)) return;
    file[kPrimaryKey] = keyOf(primary);
    String folder = _blueprint.workingCopyPathForRemoteRepository(primary);
    if (folder.empty()) return;
    for (const auto& [key, path] : _installPaths.entries()) {
      const std::string& text = path.string();
      if (text.starts_with(folder.view()) && qrbscm_stringByStandardizingRelativePath(text) != text) return;
    }
    _installPaths[keyOf(primary)] = folder.str();
  }

  const Blueprint& _blueprint;
  const std::uint64_t _options;
  Dictionary::Array _configurations;
  Dictionary _roots = Dictionary::object();
  Dictionary _origins = Dictionary::object();
  Dictionary _installPaths = Dictionary::object();
  Dictionary _required = Dictionary::object();
};

}  // namespace

Dictionary writeLegacyForm(const Blueprint& blueprint, std::uint64_t options) {
  return LegacyWriter(blueprint, options).write();
}

BlueprintContents readLegacyForm(const Dictionary& dictionary) {
  return LegacyReader(dictionary).read(dictionary);
}

}  // namespace qrb::detail
