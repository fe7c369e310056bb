#pragma once

#include <memory>
#include <optional>
#include <vector>

#include <qrb/AtomicProperty.h>
#include <qrb/Dictionary.h>
#include <qrb/Export.h>
#include <qrb/Image.h>
#include <qrb/Object.h>
#include <qrb/URL.h>

#include "QRBSourceControlCallbacks.h"
#include "QRBSourceControlForward.h"

/// One repository of one source-control system: where it is, which system holds it and what it is known by.
///
/// Equal only to itself; compare identifiers or URLs. Each field is read and written indivisibly from any thread, and
/// nothing is promised across fields.
///
/// The requests check what the system can do. One that it cannot do calls the completion at once, on the calling
/// thread, with empty results and the error named with the request, and returns null; all others return the manager's
/// request. Cancelling it gives the completion the cancellation error.
class QRB_EXPORT QRBSourceControlRepository : public qrb::Object,
                                              public std::enable_shared_from_this<QRBSourceControlRepository> {
  QRB_OBJECT;

 protected:
  struct Key {
    explicit Key() = default;
  };

 public:
  using Layout = QRBSourceControlBranchAndTagLocationsPtr;
  template <class... Values>
  using Completion = QRBSourceControlCompletionBlock<Values...>;

  /// A repository under a fresh `_id`, with a secondary identifier made from both and no identifier.
  static QRBSourceControlRepositoryPtr initWithURL(qrb::URL URL, QRBSourceControlSystemPtr sourceControlSystem);
  /// A repository with an identifier, which may be absent. Neither is ever null.
  static QRBSourceControlRepositoryPtr initWithURL(qrb::URL URL, qrb::String identifier,
                                                   QRBSourceControlSystemPtr sourceControlSystem);
  explicit QRBSourceControlRepository(Key) {}

  /// What this one object is known by; a UUID unless it was replaced.
  qrb::String _id() const { return _idProperty.get(); }
  /// Empty and absent strings are ignored.
  void set_id(const qrb::String& identifier);
  /// As it was given, user information included; absent only where that was.
  qrb::URL URL() const { return _URL.get(); }
  /// Replaces the address alone: both identifiers stay.
  void setURL(qrb::URL URL) { _URL.set(std::move(URL)); }
  /// What the repository is known by in workspaces and blueprints; may be absent.
  qrb::String identifier() const { return _identifier.get(); }
  void setIdentifier(qrb::String identifier) { _identifier.set(std::move(identifier)); }
  /// Tells repositories of one identifier apart; derived from the URL unless it was replaced.
  qrb::String secondaryIdentifier() const { return _secondaryIdentifier.get(); }
  void setSecondaryIdentifier(qrb::String identifier) { _secondaryIdentifier.set(std::move(identifier)); }
  /// Null when none was given; the requests that need a capability are refused then.
  QRBSourceControlSystemPtr sourceControlSystem() const { return _sourceControlSystem.get(); }
  void setSourceControlSystem(QRBSourceControlSystemPtr system) { _sourceControlSystem.set(std::move(system)); }
  /// The remotes by name, and the primary one, as `listRemoteRepositoriesWithCompletionBlock` last listed them;
  /// null before.
  QRBSourceControlRemoteRepositoriesPtr cachedRemoteRepositories() const { return _cachedRemoteRepositories.get(); }
  void setCachedRemoteRepositories(QRBSourceControlRemoteRepositoriesPtr remoteRepositories) {
    _cachedRemoteRepositories.set(std::move(remoteRepositories));
  }
  QRBSourceControlRemoteRepositoryPtr primaryRemoteRepository() const { return _primaryRemoteRepository.get(); }
  void setPrimaryRemoteRepository(QRBSourceControlRemoteRepositoryPtr remoteRepository) {
    _primaryRemoteRepository.set(std::move(remoteRepository));
  }
  /// Kept for hosts that ask; always absent.
  QRBSourceControlRevisionPtr cachedHeadRevision() const { return nullptr; }
  std::optional<std::vector<QRBSourceControlBranchPtr>> cahcedBranches() const { return std::nullopt; }
  std::optional<std::vector<QRBSourceControlTagPtr>> cachedTags() const { return std::nullopt; }
  /// The last component of the URL, decoded and without extension.
  qrb::String displayName() const;
  /// Never null: the one shared picture of all repositories, which the host draws by its name.
  static qrb::ImagePtr defaultImage();

  /// Class, URL, system and both identifiers, for logs. A password is left out of the URL, and the user name with it.
  std::string description() const override;
  /// A plain repository with the same URL, identifier and system, a new `_id`, a secondary identifier made anew and no
  /// cached remotes.
  std::shared_ptr<qrb::Object> copy() const override;
  /// For archives. A key that is missing leaves its field absent, false or 0; a value of another type throws
  /// ArchiveError. The cached remotes are not archived.
  static std::shared_ptr<qrb::Object> initWithCoder(qrb::KeyedUnarchiver& coder);
  void encodeWithCoder(qrb::KeyedArchiver& coder) const override;

  /// The newest revision of the repository. It is not cached.
  QRBSourceControlCancellablePtr headRevisionWithCompletionBlock(
      Completion<QRBSourceControlRevisionPtr> completionBlock);
  /// The revision that the location stands for now. The layout matters only to systems that need one; it may be null.
  QRBSourceControlCancellablePtr revisionOfLocation(QRBSourceControlRevisionLocationPtr location,
                                                    Layout branchAndTagLocations,
                                                    Completion<QRBSourceControlRevisionPtr> completionBlock);
  /// The location that the path stands for and the layout found around it. For systems that need a layout; others
  /// refuse with QRBSourceControlError_SystemBranchAndTagLocationsUnsupported.
  QRBSourceControlCancellablePtr automaticallyDetectBranchAndTagLocationsFromPath(
      QRBSourceControlPathLocationPtr path, Completion<QRBSourceControlRevisionLocationPtr, Layout> completionBlock);
  /// What lies directly below the path. For systems that support path locations; others refuse with
  /// QRBSourceControlError_SystemBrowsingRepositoriesUnsupported.
  QRBSourceControlCancellablePtr listSubpathsAtPath(
      QRBSourceControlPathLocationPtr path, Completion<std::vector<QRBSourceControlPathLocationPtr>> completionBlock);
  /// As the next, without a layout.
  QRBSourceControlCancellablePtr listBranchesWithCompletionBlock(
      Completion<std::vector<QRBSourceControlBranchPtr>> completionBlock);
  /// The branches of the repository itself. The layout says where they are, in systems that need one; it may be null.
  QRBSourceControlCancellablePtr listBranchesForBranchAndTagLocations(
      Layout branchAndTagLocations, Completion<std::vector<QRBSourceControlBranchPtr>> completionBlock);
  /// All branches of all remotes, and the same by remote. Refused with
  /// QRBSourceControlError_SystemDistributedRepositoriesUnsupported.
  QRBSourceControlCancellablePtr listRemoteBranchesForBranchAndTagLocations(
      Layout branchAndTagLocations,
      Completion<std::vector<QRBSourceControlBranchPtr>, QRBSourceControlRemoteBranchesPtr> completionBlock);
  /// The branch that it most likely came from, and all candidates.
  QRBSourceControlCancellablePtr parentBranchesOfBranch(
      QRBSourceControlBranchPtr branch, Layout branchAndTagLocations,
      Completion<QRBSourceControlBranchPtr, std::vector<QRBSourceControlBranchPtr>> completionBlock);
  /// The last revision that both branches have in common.
  QRBSourceControlCancellablePtr ancestorRevisionOfBranch(QRBSourceControlBranchPtr branch,
                                                          QRBSourceControlBranchPtr otherBranch,
                                                          Layout branchAndTagLocations,
                                                          Completion<QRBSourceControlRevisionPtr> completionBlock);
  /// Makes a branch that begins where `fromBranch` is; the completion gets the branch as the system names it.
  QRBSourceControlCancellablePtr addBranch(QRBSourceControlBranchPtr branch, QRBSourceControlBranchPtr fromBranch,
                                           Layout forBranchAndTagLocations,
                                           Completion<QRBSourceControlBranchPtr> completionBlock);
  /// Removes a branch of the remote when one is given, else of this repository.
  QRBSourceControlCancellablePtr removeBranch(QRBSourceControlBranchPtr branch, Layout forBranchAndTagLocations,
                                              QRBSourceControlRemoteRepositoryPtr remoteRepository,
                                              Completion<> completionBlock);
  /// What differs between the two locations, in the form that the plug-in gives it; empty on an error.
  QRBSourceControlCancellablePtr diffLocation(QRBSourceControlRevisionLocationPtr location,
                                              QRBSourceControlRevisionLocationPtr againstLocation,
                                              Layout branchAndTagLocations,
                                              Completion<qrb::Dictionary> completionBlock);
  /// The primary remote and all by name. They are kept in the two caches before the completion is called; on an error
  /// the caches stay. Refused with QRBSourceControlError_SystemDistributedRepositoriesUnsupported.
  QRBSourceControlCancellablePtr listRemoteRepositoriesWithCompletionBlock(
      Completion<QRBSourceControlRemoteRepositoryPtr, QRBSourceControlRemoteRepositoriesPtr> completionBlock);
  /// The branch of a remote that the branch follows. For systems with several remotes; others refuse with
  /// QRBSourceControlError_SystemDistributedRepositoriesUnsupported, here and in those that follow.
  QRBSourceControlCancellablePtr remoteBranchForBranch(QRBSourceControlBranchPtr branch,
                                                       Completion<QRBSourceControlBranchPtr> completionBlock);
  /// Makes the remote known to the repository under the name. For systems with several remotes.
  QRBSourceControlCancellablePtr addRemoteRepository(QRBSourceControlRemoteRepositoryPtr remoteRepository,
                                                     qrb::String withName, Completion<> completionBlock);
  /// Forgets the remote of that name; the remote itself is not touched. For systems with several remotes.
  QRBSourceControlCancellablePtr removeRemoteRepositoryNamed(qrb::String name, Completion<> completionBlock);
  /// Fetches what the remote has and this one has not; no working copy changes. For systems with local repositories.
  QRBSourceControlCancellablePtr downloadUpdatesFromRemoteRepository(
      QRBSourceControlRemoteRepositoryPtr remoteRepository, QRBSourceControlProgressBlock progressBlock,
      Completion<> completionBlock);
  /// Sends this repository's commits to a branch of the remote. For systems with local repositories.
  QRBSourceControlCancellablePtr uploadCommitsToRemoteRepository(QRBSourceControlRemoteRepositoryPtr remoteRepository,
                                                                 QRBSourceControlBranchPtr remoteBranch,
                                                                 QRBSourceControlProgressBlock progressBlock,
                                                                 Completion<> completionBlock);
  /// Makes a new, empty repository in the folder. For systems with local repositories.
  static QRBSourceControlCancellablePtr createRepositoryAtFileURL(
      qrb::URL fileURL, QRBSourceControlSystemPtr withSystem,
      Completion<QRBSourceControlRepositoryPtr> completionBlock);

 protected:
  /// What every initialiser does first.
  void setUpWithURL(qrb::URL URL, QRBSourceControlSystemPtr sourceControlSystem);
  void decodeFromCoder(qrb::KeyedUnarchiver& coder);

 private:
  qrb::Atomic<qrb::String> _idProperty;
  qrb::Atomic<qrb::URL> _URL;
  qrb::Atomic<qrb::String> _identifier;
  qrb::Atomic<qrb::String> _secondaryIdentifier;
  qrb::Atomic<QRBSourceControlSystemPtr> _sourceControlSystem;
  qrb::Atomic<QRBSourceControlRemoteRepositoriesPtr> _cachedRemoteRepositories;
  qrb::Atomic<QRBSourceControlRemoteRepositoryPtr> _primaryRemoteRepository;
};
