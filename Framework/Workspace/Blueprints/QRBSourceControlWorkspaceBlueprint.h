#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include <qrb/Dictionary.h>
#include <qrb/Error.h>
#include <qrb/Export.h>
#include <qrb/Object.h>
#include <qrb/OperationQueue.h>
#include <qrb/SharedString.h>
#include <qrb/URL.h>

#include "QRBSourceControlCallbacks.h"
#include "QRBSourceControlForward.h"
#include "QRBSourceControlWorkspaceBlueprintKeys.h"
#include "QRBSourceControlWorkspaceForward.h"

/// What a workspace of several repositories is made of, so that it can be made again elsewhere: the remote
/// repositories, where each working copy lies, what it is on and how to authenticate.
///
/// Made from and written to files of two forms, which blueprints.md describes. What comes from a file is data of a
/// stranger: nothing here throws, fetches, or writes anything but key files, and those only into the folder given.
/// Passwords and keys are in no description and no error.
///
/// Four tables hold what is known of each repository, by the repository object itself; the mutators keep them to the
/// objects in `remoteRepositories`. Not guarded: one thread at a time changes a blueprint, and none while one of its
/// actions runs.
///
/// Where a function takes an `error` slot, which may be null, a failure is told there: domain
/// QRBSourceControlErrorDomain, code -400, a text that names the key or the file, and the system's error as its cause.
class QRB_EXPORT QRBSourceControlWorkspaceBlueprint
    : public qrb::Object,
      public std::enable_shared_from_this<QRBSourceControlWorkspaceBlueprint> {
  QRB_OBJECT;

 protected:
  struct Key {
    explicit Key() = default;
  };

 public:
  using RemoteRepositories = std::vector<QRBSourceControlRemoteRepositoryPtr>;
  template <class Value>
  using Table = QRBSourceControlRemoteRepositoryTable<Value>;
  using States = Table<std::uint64_t>;
  using Paths = Table<qrb::String>;
  using RepositoryLocations = Table<QRBSourceControlBranchAndTagLocationsPtr>;
  using Locations = Table<QRBSourceControlRevisionLocationPtr>;
  using Revisions = qrb::WeakMapTable<QRBSourceControlRemoteRepository, const QRBSourceControlRevision>;

  /// @name Making one
  /// @{

  /// Without repositories, under a fresh `_id`. Never null.
  static QRBSourceControlWorkspaceBlueprintPtr init();
  /// Field by field. The repositories come in any order and each once; a primary one that is not among them is added.
  /// The tables are taken over, not copied; null stands for an empty one. Never null.
  static QRBSourceControlWorkspaceBlueprintPtr initWithPrimaryRemoteRepository(
      QRBSourceControlRemoteRepositoryPtr primaryRemoteRepository, qrb::String relativePathToProject,
      RemoteRepositories remoteRepositories, std::shared_ptr<States> workingCopyStates,
      std::shared_ptr<Paths> workingCopyPaths, std::shared_ptr<RepositoryLocations> workingCopyRepositoryLocations,
      std::shared_ptr<Locations> locations, qrb::String name, bool favorite);
  /// Holds one repository, which is the primary one; named after it, as is its working copy's folder. Null without one.
  static QRBSourceControlWorkspaceBlueprintPtr initWithSingleRemoteRepository(
      const QRBSourceControlRemoteRepositoryPtr& remoteRepository);
  /// From the dictionary of a file of either form. Null for versions that are not read (below 202, legacy below 110)
  /// and for what is no dictionary. Entries without a usable URL or of a system that no installed plug-in serves are
  /// left out (see `leftOutOnReading`); so is everything of a wrong kind. Use `validateDictionary` first to be told.
  /// The first look-up of a system waits until the installed plug-ins have answered.
  ///
  /// Key pairs are written, for the user's eyes only, into new folders below `sshKeyDirectory`; without one, or where
  /// that fails, strategies come without key files and nothing is left behind.
  static QRBSourceControlWorkspaceBlueprintPtr initWithDictionary(const qrb::Dictionary& dictionary,
                                                                  const qrb::URL& sshKeyDirectory = {},
                                                                  qrb::Error* error = nullptr);
  /// From JSON text, with at most 64 MiB, 32 levels and four million values.
  static QRBSourceControlWorkspaceBlueprintPtr initWithJSONData(std::string_view data,
                                                                const qrb::URL& sshKeyDirectory = {},
                                                                qrb::Error* error = nullptr);
  /// From a file: as a property list, XML or binary, when the URL's extension contains "oxcheckout" in any case, else
  /// as JSON. The limits of JSON text hold for both.
  static QRBSourceControlWorkspaceBlueprintPtr initWithBlueprintFile(const qrb::URL& file,
                                                                     const qrb::URL& sshKeyDirectory = {},
                                                                     qrb::Error* error = nullptr);
  /// The dictionary of a file or of its bytes, as the initialisers read it; absent when it is none. For those who
  /// validate before they load.
  static std::optional<qrb::Dictionary> dictionaryFromBlueprintFile(const qrb::URL& file, qrb::Error* error = nullptr);
  static std::optional<qrb::Dictionary> dictionaryFromJSONData(std::string_view data, qrb::Error* error = nullptr);
  static std::optional<qrb::Dictionary> dictionaryFromPropertyListData(std::string_view data,
                                                                       qrb::Error* error = nullptr);
  /// Whether every key of a dictionary, of either form, holds what it should. Keys that are not known are not looked
  /// at.
  static bool validateDictionary(const qrb::Dictionary& dictionary, qrb::Error* error = nullptr);

  explicit QRBSourceControlWorkspaceBlueprint(Key);
  /// @}

  /// @name Fields
  /// @{

  /// What this blueprint is known by, also in its copies and its files.
  const qrb::String& _id() const noexcept { return _idProperty; }
  /// Empty and absent strings are ignored.
  void set_id(const qrb::String& identifier);
  /// For users; files are named after it. May be absent.
  const qrb::String& name() const noexcept { return _name; }
  void setName(qrb::String name) { _name = std::move(name); }
  /// The user's own mark.
  bool favorite() const noexcept { return _favorite; }
  void setFavorite(bool favorite) noexcept { _favorite = favorite; }
  /// The repository that holds the project; null where there is none.
  const QRBSourceControlRemoteRepositoryPtr& primaryRemoteRepository() const noexcept { return _primary; }
  /// One that is not in the blueprint is added; null leaves none. The order follows.
  void setPrimaryRemoteRepository(QRBSourceControlRemoteRepositoryPtr remoteRepository);
  /// Where the project lies in the primary repository's working copy. May be absent.
  const qrb::String& relativePathToProject() const noexcept { return _relativePathToProject; }
  void setRelativePathToProject(qrb::String path) { _relativePathToProject = std::move(path); }
  /// The primary one first, the others by the last component of their URL as the user's language sorts.
  const RemoteRepositories& remoteRepositories() const noexcept { return _remoteRepositories; }

  /// The tables themselves; never null. Two blueprints share them after a merge that replaced everything.
  const std::shared_ptr<States>& workingCopyStates() const noexcept { return _tables.states; }
  /// Where each working copy lies, from the root folder of the workspace on.
  const std::shared_ptr<Paths>& workingCopyPaths() const noexcept { return _tables.paths; }
  /// Where each repository keeps trunk, branches and tags.
  const std::shared_ptr<RepositoryLocations>& workingCopyRepositoryLocations() const noexcept {
    return _tables.repositoryLocations;
  }
  /// What each working copy is on.
  const std::shared_ptr<Locations>& locations() const noexcept { return _tables.locations; }

  /// Where the actions of this blueprint run.
  qrb::OperationQueue& _blueprintOperationQueue() noexcept { return _operationQueue; }
  /// Whether repositories are told apart by both their identifiers, since two share one.
  bool _needsToUseSecondaryIdentifiers() const noexcept { return _usesSecondaryIdentifiers; }
  /// The repositories that were left out in reading: each one's identifier in the file, and why.
  const std::vector<qrb::String>& leftOutOnReading() const noexcept { return _leftOut; }
  /// Whether the actions may begin; a hook for subclasses.
  virtual bool _isValid() const { return true; }
  /// @}

  /// @name What is known of one repository
  /// Null, 0 or absent where nothing is, and for a repository that is not the blueprint's.
  /// @{

  /// The folder of its working copy, or the repository's own name without one.
  qrb::String displayNameForRemoteRepository(const QRBSourceControlRemoteRepositoryPtr& remoteRepository) const;
  QRBSourceControlRevisionLocationPtr locationForRemoteRepository(
      const QRBSourceControlRemoteRepositoryPtr& remoteRepository) const;
  QRBSourceControlBranchAndTagLocationsPtr branchAndTagLocationsForRemoteRepository(
      const QRBSourceControlRemoteRepositoryPtr& remoteRepository) const;
  qrb::String workingCopyPathForRemoteRepository(const QRBSourceControlRemoteRepositoryPtr& remoteRepository) const;
  std::uint64_t workingCopyStateForRemoteRepository(const QRBSourceControlRemoteRepositoryPtr& remoteRepository) const;
  /// That of its location; the shared initial revision where the location has none.
  QRBSourceControlRevisionPtr revisionForRemoteRepository(
      const QRBSourceControlRemoteRepositoryPtr& remoteRepository) const;
  /// The revision of every repository. Entries last as long as the blueprint's own.
  Revisions revisions() const;

  /// The project's place from the root folder on: the primary working copy's path and the path within it. Absent
  /// without a path to the project.
  qrb::String projectPath() const;
  /// Whether there is exactly one repository; then the three that follow are of it, and null otherwise.
  bool representsSingleRepository() const noexcept { return _remoteRepositories.size() == 1; }
  QRBSourceControlRemoteRepositoryPtr repository() const;
  QRBSourceControlRevisionLocationPtr location() const;
  QRBSourceControlBranchAndTagLocationsPtr branchAndTagLocations() const;
  /// @}

  /// @name Changing it
  /// @{

  /// Adds a repository, with what is known of it; null and absent values leave no entry, as does no state. False for
  /// null and for one that is there already, whose entries stay.
  bool addRemoteRepository(const QRBSourceControlRemoteRepositoryPtr& remoteRepository,
                           qrb::String workingCopyPath = {}, std::optional<std::uint64_t> workingCopyState = {},
                           QRBSourceControlBranchAndTagLocationsPtr branchAndTagLocations = nullptr,
                           QRBSourceControlRevisionLocationPtr location = nullptr);
  /// With all that is known of it; the primary one leaves the blueprint without any. False where it was not there.
  bool removeRemoteRepository(const QRBSourceControlRemoteRepositoryPtr& remoteRepository);
  /// Puts another repository in the place of one, which hands on all that is known of it. False, with nothing changed,
  /// where the first is not the blueprint's or the other is already, or null.
  bool replaceRemoteRepository(const QRBSourceControlRemoteRepositoryPtr& remoteRepository,
                               const QRBSourceControlRemoteRepositoryPtr& withRepository);
  /// A blueprint of this one repository with all that is known of it; it has the path to the project if that is in it.
  /// Null for a repository that is not the blueprint's.
  QRBSourceControlWorkspaceBlueprintPtr blueprintForRemoteRepository(
      const QRBSourceControlRemoteRepositoryPtr& remoteRepository) const;
  /// Those whose working copy would lie outside the root folder: whose path climbs above it, read as it is or with
  /// percent-encoding removed.
  RemoteRepositories repositoriesWithWorkingCopyPathsAboveRootFolder() const;
  void removeRepositoriesWithWorkingCopyPathsAboveRootFolder();

  /// Under the same `_id`, with a copy of each repository and tables of its own.
  std::shared_ptr<qrb::Object> copy() const override;
  /// A copy in which no repository has credentials: anonymous strategies in unsaved accounts, no password in a URL.
  /// What is trusted of servers stays.
  QRBSourceControlWorkspaceBlueprintPtr copyWithoutAuthentication() const;
  /// Name and number of repositories, for logs.
  std::string description() const override;
  /// @}

  /// @name Identifiers
  /// @{

  /// The key of a repository in files: of the one itself, or of the first that is known by the same. Absent when none
  /// is, and for a repository without identifier.
  qrb::String serializedIdentifierForRepository(const QRBSourceControlRepositoryPtr& repository) const;
  /// The first repository of that key, or null.
  QRBSourceControlRemoteRepositoryPtr remoteRepositoryForSerializedIdentifier(const qrb::String& identifier) const;
  /// Looks anew, after identifiers of repositories were changed, whether two share one; the second as if the given
  /// repository, which may be null, were among them too.
  void _updateNeedsToUseSecondaryIdentifiers() { _updateNeedsToUseSecondaryIdentifiersWithRepository(nullptr); }
  void _updateNeedsToUseSecondaryIdentifiersWithRepository(const QRBSourceControlRemoteRepositoryPtr& repository);
  /// The repositories in the order of `remoteRepositories`.
  RemoteRepositories _sortedRepositoriesFromSet(RemoteRepositories repositories) const;
  /// @}

  /// @name Writing
  /// @{

  /// What a file holds, by the option bits of QRBSourceControlWorkspaceBlueprintKeys.h. Reads key files when it is to
  /// hold credentials.
  qrb::Dictionary dictionaryRepresentationWithOptions(std::uint64_t options) const;
  /// The dictionary as JSON text; absent where a text is not UTF-8, as JSON has no way to hold it.
  std::optional<std::string> jsonDataRepresentationWithOptions(std::uint64_t options,
                                                               qrb::Error* error = nullptr) const;
  /// The legacy form as an XML property list; absent where a text is not UTF-8 or has characters that XML cannot hold.
  std::optional<std::string> propertyListDataRepresentationWithOptions(std::uint64_t options,
                                                                       qrb::Error* error = nullptr) const;
  /// The text of a key file as it is stored in a file: absent for bytes that are not UTF-8. And back.
  static qrb::String _stringFromData(std::string_view data);
  static std::optional<std::string> _dataFromString(const qrb::String& string);
  /// Writes a file named after the blueprint, a "/" in the name made a "-", in the form that the options ask for. A
  /// file of that name is overwritten in place. With credentials, or where a URL has a password, only the user can
  /// read it. Answers its URL, or an absent one where it could not be written or there is no name.
  qrb::URL saveBlueprintInFolder(const qrb::URL& folder, std::uint64_t options, qrb::Error* error = nullptr) const;
  /// @}

  /// @name Likeness
  /// A repository held elsewhere is like one of the blueprint's when identifiers are equal, and secondary ones too
  /// where they are needed. Each answers the first in the order of `remoteRepositories`, or null. Absent identifiers
  /// are equal to none.
  /// @{

  /// The repository itself when it is the blueprint's.
  QRBSourceControlRemoteRepositoryPtr _repositoryLikeRemoteRepository(
      const QRBSourceControlRemoteRepositoryPtr& remoteRepository) const;
  /// Also for a local repository, which may be like one by the end of its path too.
  QRBSourceControlRemoteRepositoryPtr remoteRepositoryLikeRepository(
      const QRBSourceControlRepositoryPtr& repository) const;
  /// By identifiers, or by the place that the other blueprint has for it.
  QRBSourceControlRemoteRepositoryPtr _repositoryLikeRepository(
      const QRBSourceControlRemoteRepositoryPtr& repository,
      const QRBSourceControlWorkspaceBlueprintPtr& inBlueprint) const;
  /// One of the others, by whether a blueprint is given.
  QRBSourceControlRemoteRepositoryPtr remoteRepositoryLikeRepository(
      const QRBSourceControlRemoteRepositoryPtr& repository,
      const QRBSourceControlWorkspaceBlueprintPtr& inBlueprint) const;
  /// The one at that host and path.
  QRBSourceControlRemoteRepositoryPtr repositoryForOrigin(const qrb::URL& origin) const;
  /// Whether the other describes the same workspace: names, places and URLs equal in any letter case, and like
  /// repositories on both sides. What this blueprint leaves open equals anything.
  bool isFuzzyEqualToBlueprint(const QRBSourceControlWorkspaceBlueprintPtr& blueprint) const;
  /// Those with a working-copy path whose identifier no repository of the other has; all of these for null.
  RemoteRepositories remoteRepositoriesMissingFromBlueprint(
      const QRBSourceControlWorkspaceBlueprintPtr& blueprint) const;
  /// Those with a working-copy path whose identifier no working copy's repository has; all of these for null.
  RemoteRepositories remoteRepositoriesMissingFromWorkspace(const QRBSourceControlWorkspacePtr& workspace) const;
  /// @}

  /// @name Taking over
  /// Null changes nothing.
  /// @{

  /// Takes over what this blueprint lacks: repositories, entries, credentials and identifiers. A blueprint of another
  /// project (with another path to it) replaces everything, tables included, which both share from then on.
  void mergeWithBlueprint(const QRBSourceControlWorkspaceBlueprintPtr& blueprint);
  /// For each repository, what it needs to authenticate from the like one of the other.
  void getMissingCredentialsFromBlueprint(const QRBSourceControlWorkspaceBlueprintPtr& blueprint);
  /// @}

  /// @name Actions
  /// Each asks one repository after another, on `_blueprintOperationQueue`, and returns a handle at once; repositories
  /// are those that the blueprint has when it begins. The completion, which may be empty, is called exactly once, on a
  /// worker thread, and holds up that action alone. What fails for one repository is in the error table under it and
  /// stops nothing; a system that no plug-in serves is such a failure. The completion's own error, of code -400 and
  /// with all else absent, is for a blueprint that is not valid and for an action cancelled before its last request.
  /// Cancelling the handle cancels the request under way. The action keeps the blueprint alive while it runs.
  /// @{

  /// Text, the fraction done of all repositories, and the fraction at which the current one began; both fractions
  /// negative where the current one cannot tell.
  using CheckoutProgressBlock = std::function<void(const qrb::String& text, double fraction, double startOfCurrent)>;
  /// A workspace of the working copies that there are, and the repository of each; what failed.
  using CheckoutCompletion =
      QRBSourceControlCompletionBlock<QRBSourceControlWorkspacePtr, QRBSourceControlWorkingCopyRemotesPtr,
                                      QRBSourceControlRemoteRepositoryErrorsPtr>;
  using WorkspaceCompletion =
      QRBSourceControlCompletionBlock<QRBSourceControlWorkspacePtr, QRBSourceControlWorkingCopyRemotesPtr>;
  using Errors = QRBSourceControlRemoteRepositoryErrors;
  using ErrorsPtr = QRBSourceControlRemoteRepositoryErrorsPtr;
  using RepositoriesCompletion = QRBSourceControlCompletionBlock<ErrorsPtr>;
  using Branches = Table<std::vector<QRBSourceControlBranchPtr>>;
  using BranchesCompletion = QRBSourceControlCompletionBlock<std::shared_ptr<const Branches>, ErrorsPtr>;
  using Updates = Table<QRBSourceControlRevisionPtr>;
  using UpdatesCompletion = QRBSourceControlCompletionBlock<std::shared_ptr<const Updates>, ErrorsPtr>;

  /// Checks every repository out below a root folder: at its working-copy path, on its location, enclosing working
  /// copies before those within them. Each working copy gets the state that the blueprint has for it, and knows its
  /// location. One without a path fails with code -11. Nothing that is there is overwritten: a folder in the way is an
  /// error of its repository, so a second checkout after a cancelled one makes what is missing.
  ///
  /// Paths that climb above the root are followed; see `repositoriesWithWorkingCopyPathsAboveRootFolder`.
  QRBSourceControlMultiCancellablePtr createWorkingCopiesAtURL(const qrb::URL& URL, CheckoutProgressBlock progressBlock,
                                                               CheckoutCompletion completionBlock);
  /// Where each repository's working copy goes below a root folder, "." and ".." resolved; no entry for one without a
  /// path, and none at all for a root that is no folder of this machine.
  Table<qrb::URL> _expandedWorkingCopyPathsFromURL(const qrb::URL& root) const;
  /// The order of a checkout: by the length of the expanded path, shortest first; else as in `remoteRepositories`.
  RemoteRepositories _sortedRemoteRepositoriesWithExpandedPaths(const Table<qrb::URL>& expandedPaths) const;

  /// The workspace of those working copies of the blueprint that are below a root folder already, and the repository
  /// of each: first those at their places, unless they are known to be of another repository (another identifier, and
  /// no remote at that host and path); then, for repositories whose place is empty, one found elsewhere below the root
  /// that alone has their identifier. They have the blueprint's states and know what they are on, so that they can be
  /// compared with it: one on the local branch of a remote branch that the blueprint has is on that, and so is one at
  /// the revision of a tag or fixed revision. None is no error.
  QRBSourceControlMultiCancellablePtr workspaceForWorkingCopiesCreatedAtURL(const qrb::URL& URL,
                                                                            WorkspaceCompletion completionBlock);

  /// Moves each repository whose URL may point below its root to the root. Where the blueprint has no location for it,
  /// or a path, the location becomes the path from the root on, so that the same folder is meant. Repositories of
  /// other systems are left alone. A root that the account manager has a repository for already brings that one in.
  QRBSourceControlMultiCancellablePtr updateRepositoryURLRootsWithCompletionBlock(
      RepositoriesCompletion completionBlock);
  /// Finds the layout of each repository that needs one and has none that names its branches, from its location where
  /// that is a path, else from the root; the location becomes the branch or tag found there. Others are left alone.
  QRBSourceControlMultiCancellablePtr automaticallyDetectBranchAndTagLocationsWithCompletionBlock(
      RepositoriesCompletion completionBlock);
  /// The branches of each repository, on its server. A layout that is needed and missing is detected first and kept.
  QRBSourceControlMultiCancellablePtr listBranchesWithCompletionBlock(BranchesCompletion completionBlock);
  /// Whether the server of each repository lets its account in, to the location where there is one. Never asks the
  /// user: the errors tell.
  QRBSourceControlMultiCancellablePtr validateAuthenticationWithCompletionBlock(RepositoriesCompletion completionBlock);
  /// Asks each server for the newest revision of the location, and answers those that are not the revision recorded;
  /// where none is recorded, that is every one. A location that is itself a revision has no updates.
  QRBSourceControlMultiCancellablePtr checkForUpdatesWithCompletionBlock(UpdatesCompletion completionBlock);
  /// @}

 private:
  struct Tables {
    std::shared_ptr<States> states = std::make_shared<States>();
    std::shared_ptr<Paths> paths = std::make_shared<Paths>();
    std::shared_ptr<RepositoryLocations> repositoryLocations = std::make_shared<RepositoryLocations>();
    std::shared_ptr<Locations> locations = std::make_shared<Locations>();
  };

  bool contains(const QRBSourceControlRemoteRepositoryPtr& remoteRepository) const;
  void takeRepositories(RemoteRepositories repositories);
  void takeEverythingOf(const QRBSourceControlWorkspaceBlueprint& blueprint);
  void mergeWithLikeBlueprint(const QRBSourceControlWorkspaceBlueprint& blueprint);
  void takeNewRepository(const QRBSourceControlRemoteRepositoryPtr& repository,
                         const QRBSourceControlWorkspaceBlueprint& blueprint);
  RemoteRepositories repositoriesWithoutIdentifierAmong(const std::unordered_set<qrb::String>& identifiers) const;
  QRBSourceControlWorkspaceBlueprintPtr copyWithRepositories(
      QRBSourceControlRemoteRepositoryPtr (*copyOf)(const QRBSourceControlRemoteRepository&)) const;

  qrb::OperationQueue _operationQueue;
  bool _usesSecondaryIdentifiers = false;
  bool _favorite = false;
  qrb::String _idProperty;
  QRBSourceControlRemoteRepositoryPtr _primary;
  qrb::String _relativePathToProject;
  RemoteRepositories _remoteRepositories;
  qrb::String _name;
  Tables _tables;
  std::vector<qrb::String> _leftOut;
};
