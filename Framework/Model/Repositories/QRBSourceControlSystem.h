#pragma once

#include <cstdint>
#include <functional>
#include <set>
#include <vector>

#include <qrb/Export.h>
#include <qrb/Object.h>
#include <qrb/SharedString.h>
#include <qrb/URL.h>

#include "QRBSourceControlAuthenticationTypes.h"
#include "QRBSourceControlCallbacks.h"
#include "QRBSourceControlForward.h"

/// A source control system as its plug-in describes it: what it is called, which plug-in serves it, what it can do.
/// Two are equal when plug-in and version are.
///
/// Immutable; shared freely between threads.
class QRB_EXPORT QRBSourceControlSystem : public qrb::Object,
                                          public std::enable_shared_from_this<QRBSourceControlSystem> {
  QRB_OBJECT;

 protected:
  struct Key {
    explicit Key() = default;
  };

 public:
  using Systems = std::vector<QRBSourceControlSystemPtr>;
  /// Null systems after a cancellation.
  using SystemsCompletion = std::function<void(const std::shared_ptr<const Systems>& systems)>;

  /// The system that a plug-in identifier, current or legacy, stands for; a placeholder where no plug-in is known for
  /// it.
  static QRBSourceControlSystemPtr systemWithIdentifier(const qrb::String& identifier);
  /// The systems that the last listing found; does not wait for one.
  static Systems cachedSourceControlSystems();
  /// Asks all installed plug-ins; the completion comes once, on any thread.
  static QRBSourceControlCancellablePtr sourceControlSystemsWithCompletionBlock(SystemsCompletion completionBlock);
  /// Answers, once the systems are listed, the one that a repository's URL suggests; Git when it suggests none,
  /// null when the listing was cancelled.
  static QRBSourceControlCancellablePtr bestGuessSystemForURL(
      const qrb::URL& url, std::function<void(const QRBSourceControlSystemPtr&)> completionBlock);
  /// The last of the systems any of whose hints the URL matches, or null. Hints are looked for in the scheme, at the
  /// end of the path, and anywhere in the URL without user and password. How much matches makes no difference.
  static QRBSourceControlSystemPtr bestGuessSystemForURLAmongSystems(const qrb::URL& url, const Systems& systems);

  /// A programming error, since a system needs a plug-in: asserts and answers null.
  static QRBSourceControlSystemPtr init();
  /// An absent plug-in identifier is a programming error; where assertions return, the system is made without one.
  static QRBSourceControlSystemPtr initWithName(qrb::String name, qrb::String plugInIdentifier, qrb::String version,
                                                qrb::String workingCopyFolderIdentifier,
                                                std::set<qrb::String> URLHintStrings, bool hasLocalRepository,
                                                bool supportsMultipleRemoteRepositories, bool supportsPathLocation,
                                                bool repositoryURLIncludesSubpath,
                                                bool requiresLocationsForBranchesAndTags,
                                                QRBSourceControlAuthenticationTypes supportedAuthenticationTypes);
  /// The system of a plug-in that stands in for the current one named by `legacyPlugInForIdentifier`.
  static QRBSourceControlSystemPtr initWithNameLegacyPlugInForIdentifier(
      qrb::String name, qrb::String plugInIdentifier, qrb::String version, qrb::String legacyPlugInForIdentifier,
      qrb::String workingCopyFolderIdentifier, std::set<qrb::String> URLHintStrings, bool hasLocalRepository,
      bool supportsMultipleRemoteRepositories, bool supportsPathLocation, bool repositoryURLIncludesSubpath,
      bool requiresLocationsForBranchesAndTags, QRBSourceControlAuthenticationTypes supportedAuthenticationTypes);
  /// The same system, whose plug-in also serves these requests, which not every plug-in does: the methods of messages.
  QRBSourceControlSystemPtr systemWithAdditionalRequests(std::set<qrb::String> methods) const;
  explicit QRBSourceControlSystem(Key) noexcept {}

  /// For users, as the plug-in names it; absent in a placeholder.
  const qrb::String& name() const noexcept { return _name; }
  /// What its plug-in is launched by; under both spellings the same text. Absent only after a programming error.
  const qrb::String& plugInIdentifier() const noexcept { return _plugInIdentifier; }
  const qrb::String& pluginIdentifier() const noexcept { return plugInIdentifier(); }
  /// The plug-in's own and not its tools'; absent in a placeholder.
  const qrb::String& version() const noexcept { return _version; }
  /// Name of the folder whose presence marks a working copy of this system.
  const qrb::String& workingCopyFolderIdentifier() const noexcept { return _workingCopyFolderIdentifier; }
  /// Fragments of URLs that suggest this system.
  const std::set<qrb::String>& URLHintStrings() const noexcept { return _URLHintStrings; }
  /// Commits are local; there are updates to download and commits to upload.
  bool hasLocalRepository() const noexcept { return _hasLocalRepository; }
  /// A repository may have several named remotes.
  bool supportsMultipleRemoteRepositories() const noexcept { return _supportsMultipleRemoteRepositories; }
  /// Any path of the repository can be listed and checked out by itself.
  bool supportsPathLocation() const noexcept { return _supportsPathLocation; }
  /// A repository's URL may point below its root, which has to be asked for.
  bool repositoryURLIncludesSubpath() const noexcept { return _repositoryURLIncludesSubpath; }
  /// Branches and tags are folders that a layout has to name.
  bool requiresLocationsForBranchesAndTags() const noexcept { return _requiresLocationsForBranchesAndTags; }
  /// A union of bits; 0, in a placeholder, is none.
  QRBSourceControlAuthenticationTypes supportedAuthenticationTypes() const noexcept {
    return _supportedAuthenticationTypes;
  }
  /// What its plug-in serves beyond the requests that belong to every plug-in; it is asked for nothing else beyond
  /// them.
  const std::set<qrb::String>& additionalRequests() const noexcept { return _additionalRequests; }
  /// The current plug-in that a legacy one stands in for; absent for all others.
  const qrb::String& nonLegacyIdentifier() const noexcept { return _nonLegacyIdentifier; }
  /// A stored flag that nothing sets; `isIsLegacyPlugIn` is the test.
  bool isLegacyPlugIn() const noexcept { return _legacyPlugIn; }
  /// Whether its plug-in stands in for a current one.
  bool isIsLegacyPlugIn() const noexcept { return _nonLegacyIdentifier.has_value(); }
  /// Whether requests can be made of it at all.
  virtual bool isUsable() const noexcept { return true; }

  /// Asks the plug-in under which name the credentials for a URL are kept: name, type, account.
  virtual QRBSourceControlCancellablePtr keychainNameFromURL(
      const qrb::URL& url,
      QRBSourceControlCompletionBlock<qrb::String, std::uint64_t, qrb::String> completionBlock) const;

  /// Name, plug-in identifier and version, for logs.
  std::string description() const override;
  std::size_t hash() const override;

  /// For archives. A key that is missing leaves its field absent, false or 0; a value of another type throws
  /// ArchiveError. The stored legacy flag is not archived.
  static std::shared_ptr<qrb::Object> initWithCoder(qrb::KeyedUnarchiver& coder);
  void encodeWithCoder(qrb::KeyedArchiver& coder) const override;

 protected:
  QRBSourceControlSystem(Key, qrb::String plugInIdentifier) noexcept : _plugInIdentifier(std::move(plugInIdentifier)) {}
  /// Equal plug-in identifiers and versions; nothing else is compared.
  bool isEqualToSameClass(const qrb::Object& other) const override;

 private:
  qrb::String _name;
  qrb::String _plugInIdentifier;
  qrb::String _version;
  qrb::String _workingCopyFolderIdentifier;
  std::set<qrb::String> _URLHintStrings;
  std::set<qrb::String> _additionalRequests;
  qrb::String _nonLegacyIdentifier;
  QRBSourceControlAuthenticationTypes _supportedAuthenticationTypes = 0;
  bool _hasLocalRepository = false;
  bool _supportsMultipleRemoteRepositories = false;
  bool _supportsPathLocation = false;
  bool _repositoryURLIncludesSubpath = false;
  bool _requiresLocationsForBranchesAndTags = false;
  bool _legacyPlugIn = false;
};

/// The identifier that files of the legacy format have for a plug-in's system; any other identifier comes back
/// unchanged.
QRB_EXPORT qrb::String ideLegacyIdentiferFromIdentifier(const qrb::String& identifier);
/// The current plug-in's identifier for a legacy one; any other identifier comes back unchanged. The legacy Subversion
/// plug-in shares its legacy identifier with the current one, so it does not come back from there.
QRB_EXPORT qrb::String identiferFromLegacyIdentifier(const qrb::String& identifier);
