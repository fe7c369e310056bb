#pragma once

#include <cstdint>

/// @name File extensions
/// The current form is JSON, the legacy form a property list.
/// @{
inline constexpr const char* QRBSourceControlWorkspaceBlueprintExtension = "oxscmblueprint";
inline constexpr const char* QRBSourceControlLegacyWorkspaceBlueprintExtension = "oxcheckout";
/// @}

/// What a written blueprint holds: option bits of `dictionaryRepresentationWithOptions` and of those that call it.
enum QRBSourceControlWorkspaceBlueprintOptions : std::uint64_t {
  /// The legacy property-list form. Only the bits for anonymous URLs and ignored working copies count beside it.
  QRBSourceControlWorkspaceBlueprintLegacyForm = 0x1,
  /// URLs without user information.
  QRBSourceControlWorkspaceBlueprintAnonymousURLs = 0x2,
  /// How to authenticate and what is trusted of the servers, without user names and secrets.
  QRBSourceControlWorkspaceBlueprintAuthentication = 0x4,
  /// Authentication with user names, passwords and the texts of key files: the file is itself a secret then.
  QRBSourceControlWorkspaceBlueprintCredentials = 0x8,
  /// Branches, tags, paths and locked revisions.
  QRBSourceControlWorkspaceBlueprintLocations = 0x10,
  /// The revisions that pin them too, and locations that are nothing but a revision.
  QRBSourceControlWorkspaceBlueprintRevisions = 0x20,
  /// Where the repositories keep trunk, branches and tags.
  QRBSourceControlWorkspaceBlueprintBranchAndTagLocations = 0x40,
  QRBSourceControlWorkspaceBlueprintWorkingCopyStates = 0x80,
  QRBSourceControlWorkspaceBlueprintFavoriteStatus = 0x100,
  /// Leaves out the repositories whose working copy has `QRBSourceControlWorkspaceBlueprintIgnoredState`.
  QRBSourceControlWorkspaceBlueprintWithoutIgnored = 0x200,
  /// No fingerprint is enforced, and the private key is stored where readers of early files look for it.
  QRBSourceControlWorkspaceBlueprintTrustOnly = 0x400,
};

/// The working-copy state of repositories that `QRBSourceControlWorkspaceBlueprintWithoutIgnored` leaves out.
inline constexpr std::uint64_t QRBSourceControlWorkspaceBlueprintIgnoredState = 3;

// Keys are stored in files: neither their texts nor the one that lacks the suffix of the others may change.
#define QRB_BLUEPRINT_KEY(name) inline constexpr const char* name = #name

/// @name Keys of the current form
/// Each is its own name.
/// @{
QRB_BLUEPRINT_KEY(QRBSourceControlWorkspaceBlueprintVersion);
QRB_BLUEPRINT_KEY(QRBSourceControlWorkspaceBlueprintIdentifierKey);
QRB_BLUEPRINT_KEY(QRBSourceControlWorkspaceBlueprintNameKey);
QRB_BLUEPRINT_KEY(QRBSourceControlWorkspaceBlueprintRelativePathToProjectKey);
QRB_BLUEPRINT_KEY(QRBSourceControlWorkspaceBlueprintFavoriteStatusKey);
QRB_BLUEPRINT_KEY(QRBSourceControlWorkspaceBlueprintPrimaryRemoteRepositoryKey);
QRB_BLUEPRINT_KEY(QRBSourceControlWorkspaceBlueprintRemoteRepositoriesKey);
QRB_BLUEPRINT_KEY(QRBSourceControlWorkspaceBlueprintWorkingCopyPathsKey);
QRB_BLUEPRINT_KEY(QRBSourceControlWorkspaceBlueprintWorkingCopyStatesKey);
QRB_BLUEPRINT_KEY(QRBSourceControlWorkspaceBlueprintWorkingCopyRepositoryLocationsKey);
QRB_BLUEPRINT_KEY(QRBSourceControlWorkspaceBlueprintLocationsKey);
QRB_BLUEPRINT_KEY(QRBSourceControlWorkspaceBlueprintLocationTypeKey);
QRB_BLUEPRINT_KEY(QRBSourceControlWorkspaceBlueprintRemoteRepositoryIdentifierKey);
QRB_BLUEPRINT_KEY(QRBSourceControlWorkspaceBlueprintRemoteRepositoryURLKey);
QRB_BLUEPRINT_KEY(QRBSourceControlWorkspaceBlueprintRemoteRepositorySystemKey);
QRB_BLUEPRINT_KEY(QRBSourceControlWorkspaceBlueprintRemoteRepositoryEnforceTrustCertFingerprintKey);
QRB_BLUEPRINT_KEY(QRBSourceControlWorkspaceBlueprintRemoteRepositoryTrustedCertFingerprintKey);
QRB_BLUEPRINT_KEY(QRBSourceControlWorkspaceBlueprintRemoteRepositoryTrustSelfSignedCertKey);
QRB_BLUEPRINT_KEY(QRBSourceControlWorkspaceBlueprintRemoteRepositoryAuthenticationStrategiesKey);
QRB_BLUEPRINT_KEY(QRBSourceControlWorkspaceBlueprintRemoteRepositoryAuthenticationTypeKey);
QRB_BLUEPRINT_KEY(QRBSourceControlWorkspaceBlueprintRemoteRepositoryUsernameKey);
QRB_BLUEPRINT_KEY(QRBSourceControlWorkspaceBlueprintRemoteRepositoryPasswordKey);
QRB_BLUEPRINT_KEY(QRBSourceControlWorkspaceBlueprintRemoteRepositoryPublicKeyDataKey);
QRB_BLUEPRINT_KEY(QRBSourceControlWorkspaceBlueprintRemoteRepositoryPrivateKeyDataKey);
/// @}

#undef QRB_BLUEPRINT_KEY

/// @name Keys of the legacy form
/// @{
inline constexpr const char* QRBSourceControlLegacyWorkspaceBlueprintVersionKey = "IDESourceControlProjectVersion";
inline constexpr const char* QRBSourceControlLegacyWorkspaceBlueprintIdentifierKey =
    "IDESourceControlProjectIdentifier";
inline constexpr const char* QRBSourceControlLegacyWorkspaceBlueprintNameKey = "IDESourceControlProjectName";
inline constexpr const char* QRBSourceControlLegacyWorkspaceBlueprintPathKey = "IDESourceControlProjectPath";
inline constexpr const char* QRBSourceControlLegacyWorkspaceBlueprintFavoriteKey =
    "IDESourceControlProjectFavoriteDictionaryKey";
inline constexpr const char* QRBSourceControlLegacyWorkspaceBlueprintWCCIdentifierKey =
    "IDESourceControlProjectWCCIdentifier";
inline constexpr const char* QRBSourceControlLegacyWorkspaceBlueprintWCConfigurationsKey =
    "IDESourceControlProjectWCConfigurations";
inline constexpr const char* QRBSourceControlLegacyWorkspaceBlueprintRepositoryRootsKey =
    "IDESourceControlProjectRepositoryRootDictionary";
inline constexpr const char* QRBSourceControlLegacyWorkspaceBlueprintOriginsKey =
    "IDESourceControlProjectOriginsDictionary";
inline constexpr const char* QRBSourceControlLegacyWorkspaceBlueprintInstallPathsKey =
    "IDESourceControlProjectRelativeInstallPathDictionary";
inline constexpr const char* QRBSourceControlLegacyWorkspaceBlueprintRequiredConfigurationsKey =
    "IDESourceControlProjectRequiredConfigurationsDictionary";
inline constexpr const char* QRBSourceControlLegacyWorkspaceWCCIdentifierKey = "IDESourceControlWCCIdentifierKey";
inline constexpr const char* QRBSourceControlLegacyWorkspaceWCCNameKey = "IDESourceControlWCCName";
inline constexpr const char* QRBSourceControlLegacyWorkspaceSystemIdentifierKey =
    "IDESourceControlRepositoryExtensionIdentifierKey";
inline constexpr const char* QRBSourceControlLegacyWorkspaceTrunkLocationKey =
    "IDESourceControlRepositoryTrunkRelativeLocationKey";
inline constexpr const char* QRBSourceControlLegacyWorkspaceBranchesLocationKey =
    "IDESourceControlRepositoryBranchesRelativeLocationKey";
inline constexpr const char* QRBSourceControlLegacyWorkspaceTagsLocationKey =
    "IDESourceControlRepositoryTagsRelativeLocationKey";
/// @}
