#include "QRBSourceControlSystem.h"

#include "Assertion.h"
#include "KeyedArchiver.h"
#include "KeyedUnarchiver.h"
#include "Localization.h"
#include "QRBSourceControlConstants.h"
#include "QRBSourceControlURL.h"

QRB_DEFINE_OBJECT(QRBSourceControlSystem, qrb::Object, "QRBSourceControlSystem",
                  &QRBSourceControlSystem::initWithCoder);

namespace {

void assertPlugInIdentifierMissing(int line) {
  qrb::assertionFailure("Framework/QRBSourceControlSystem", line,
                        "SourceControl Systems cannot be initialized without a PlugIn identifier");
}

}  // namespace

QRBSourceControlSystemPtr QRBSourceControlSystem::init() {
  assertPlugInIdentifierMissing(__LINE__);
  return nullptr;
}

QRBSourceControlSystemPtr QRBSourceControlSystem::initWithName(
    qrb::String name, qrb::String plugInIdentifier, qrb::String version, qrb::String workingCopyFolderIdentifier,
    std::set<qrb::String> URLHintStrings, bool hasLocalRepository, bool supportsMultipleRemoteRepositories,
    bool supportsPathLocation, bool repositoryURLIncludesSubpath, bool requiresLocationsForBranchesAndTags,
    QRBSourceControlAuthenticationTypes supportedAuthenticationTypes) {
  return initWithNameLegacyPlugInForIdentifier(
      std::move(name), std::move(plugInIdentifier), std::move(version), nullptr, std::move(workingCopyFolderIdentifier),
      std::move(URLHintStrings), hasLocalRepository, supportsMultipleRemoteRepositories, supportsPathLocation,
      repositoryURLIncludesSubpath, requiresLocationsForBranchesAndTags, supportedAuthenticationTypes);
}

QRBSourceControlSystemPtr QRBSourceControlSystem::initWithNameLegacyPlugInForIdentifier(
    qrb::String name, qrb::String plugInIdentifier, qrb::String version, qrb::String legacyPlugInForIdentifier,
    qrb::String workingCopyFolderIdentifier, std::set<qrb::String> URLHintStrings, bool hasLocalRepository,
    bool supportsMultipleRemoteRepositories, bool supportsPathLocation, bool repositoryURLIncludesSubpath,
    bool requiresLocationsForBranchesAndTags, QRBSourceControlAuthenticationTypes supportedAuthenticationTypes) {
  if (!plugInIdentifier) assertPlugInIdentifierMissing(__LINE__);
  auto system = std::make_shared<QRBSourceControlSystem>(Key());
  system->_name = std::move(name);
  system->_plugInIdentifier = std::move(plugInIdentifier);
  system->_version = std::move(version);
  system->_nonLegacyIdentifier = std::move(legacyPlugInForIdentifier);
  system->_workingCopyFolderIdentifier = std::move(workingCopyFolderIdentifier);
  system->_URLHintStrings = std::move(URLHintStrings);
  system->_hasLocalRepository = hasLocalRepository;
  system->_supportsMultipleRemoteRepositories = supportsMultipleRemoteRepositories;
  system->_supportsPathLocation = supportsPathLocation;
  system->_repositoryURLIncludesSubpath = repositoryURLIncludesSubpath;
  system->_requiresLocationsForBranchesAndTags = requiresLocationsForBranchesAndTags;
  system->_supportedAuthenticationTypes = supportedAuthenticationTypes;
  return system;
}

QRBSourceControlSystemPtr QRBSourceControlSystem::systemWithAdditionalRequests(std::set<qrb::String> methods) const {
  auto system = std::make_shared<QRBSourceControlSystem>(*this);
  system->_additionalRequests = std::move(methods);
  return system;
}

QRBSourceControlSystemPtr QRBSourceControlSystem::bestGuessSystemForURLAmongSystems(const qrb::URL& url,
                                                                                    const Systems& systems) {
  qrb::String scheme = qrbscm_scheme(url);
  qrb::String path = qrbscm_path(url);
  qrb::String anonymous = qrbscm_anonymousURL(url).absoluteString();
  auto contains = [](const qrb::String& text, std::string_view hint) {
    return text && text.view().find(hint) != std::string_view::npos;
  };
  QRBSourceControlSystemPtr guess;
  for (const QRBSourceControlSystemPtr& system : systems) {
    int score = 0;
    for (const qrb::String& hintString : system->URLHintStrings()) {
      std::string_view hint = hintString.view();
      // An empty hint would be found in every URL.
      if (hint.empty()) continue;
      if (contains(scheme, hint)) score += 10;
      if (path.view().ends_with(hint)) score += 10;
      if (contains(anonymous, hint)) score += 1;
    }
    // Scores are not compared: a later system that matches at all goes before an earlier one.
    if (score != 0) guess = system;
  }
  return guess;
}

std::string QRBSourceControlSystem::description() const {
  return qrb::format("%@ (%@ %@)", {_name, _plugInIdentifier, _version});
}

std::size_t QRBSourceControlSystem::hash() const {
  return _plugInIdentifier.hash() ^ _version.hash();
}

bool QRBSourceControlSystem::isEqualToSameClass(const qrb::Object& other) const {
  const auto& system = static_cast<const QRBSourceControlSystem&>(other);
  return _plugInIdentifier == system._plugInIdentifier && _version == system._version;
}

std::shared_ptr<qrb::Object> QRBSourceControlSystem::initWithCoder(qrb::KeyedUnarchiver& coder) {
  auto system = std::make_shared<QRBSourceControlSystem>(Key());
  system->_name = coder.decode<qrb::String>("name");
  system->_version = coder.decode<qrb::String>("version");
  system->_workingCopyFolderIdentifier = coder.decode<qrb::String>("workingCopyFolderIdentifier");
  system->_URLHintStrings = coder.decode<std::set<qrb::String>>("URLHintStrings");
  system->_nonLegacyIdentifier = coder.decode<qrb::String>("nonLegacyIdentifier");
  system->_plugInIdentifier = coder.decode<qrb::String>("plugInIdentifier");
  system->_hasLocalRepository = coder.decode<bool>("hasLocalRepository");
  system->_supportsMultipleRemoteRepositories = coder.decode<bool>("supportsMultipleRemoteRepositories");
  system->_supportsPathLocation = coder.decode<bool>("supportsPathLocation");
  system->_repositoryURLIncludesSubpath = coder.decode<bool>("repositoryURLIncludesSubpath");
  system->_requiresLocationsForBranchesAndTags = coder.decode<bool>("requiresLocationsForBranchesAndTags");
  system->_supportedAuthenticationTypes =
      coder.decode<QRBSourceControlAuthenticationTypes>("supportedAuthenticationTypes");
  system->_additionalRequests = coder.decode<std::set<qrb::String>>("additionalRequests");
  return system;
}

void QRBSourceControlSystem::encodeWithCoder(qrb::KeyedArchiver& coder) const {
  coder.encode("name", _name);
  coder.encode("version", _version);
  coder.encode("workingCopyFolderIdentifier", _workingCopyFolderIdentifier);
  coder.encode("URLHintStrings", _URLHintStrings);
  coder.encode("nonLegacyIdentifier", _nonLegacyIdentifier);
  coder.encode("plugInIdentifier", _plugInIdentifier);
  coder.encode("hasLocalRepository", _hasLocalRepository);
  coder.encode("supportsMultipleRemoteRepositories", _supportsMultipleRemoteRepositories);
  coder.encode("supportsPathLocation", _supportsPathLocation);
  coder.encode("repositoryURLIncludesSubpath", _repositoryURLIncludesSubpath);
  coder.encode("requiresLocationsForBranchesAndTags", _requiresLocationsForBranchesAndTags);
  coder.encode("supportedAuthenticationTypes", _supportedAuthenticationTypes);
  // It is left out where it is empty, so that readers that know nothing of it see what they always saw.
  if (!_additionalRequests.empty()) coder.encode("additionalRequests", _additionalRequests);
}

qrb::String ideLegacyIdentiferFromIdentifier(const qrb::String& identifier) {
  std::string_view text = identifier.view();
  if (text == QRBSourceControlGitPlugInIdentifier) return QRBSourceControlLegacyGitIdentifier;
  if (text == QRBSourceControlSubversionPlugInIdentifier || text == QRBSourceControlLegacySubversionPlugInIdentifier) {
    return QRBSourceControlLegacySubversionIdentifier;
  }
  return identifier;
}

qrb::String identiferFromLegacyIdentifier(const qrb::String& identifier) {
  std::string_view text = identifier.view();
  if (text == QRBSourceControlLegacyGitIdentifier) return QRBSourceControlGitPlugInIdentifier;
  if (text == QRBSourceControlLegacySubversionIdentifier) return QRBSourceControlSubversionPlugInIdentifier;
  return identifier;
}
