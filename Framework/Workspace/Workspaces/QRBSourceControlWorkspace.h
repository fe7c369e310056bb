#pragma once

#include <cstdint>
#include <memory>
#include <variant>
#include <vector>

#include <qrb/AtomicProperty.h>
#include <qrb/Export.h>
#include <qrb/Object.h>
#include <qrb/OperationQueue.h>
#include <qrb/SharedString.h>
#include <qrb/URL.h>

#include "QRBSourceControlCallbacks.h"
#include "QRBSourceControlForward.h"
#include "QRBSourceControlHistoryTypes.h"
#include "QRBSourceControlWorkspaceForward.h"

/// What `compareToBlueprint` answers. Repositories are told by their identifiers.
inline constexpr std::uint64_t QRBSourceControlWorkspaceUnrelatedToBlueprint = 0;
/// The same repositories, each on the blueprint's location.
inline constexpr std::uint64_t QRBSourceControlWorkspaceSameAsBlueprint = 1;
/// Some in common, and others on both sides.
inline constexpr std::uint64_t QRBSourceControlWorkspaceAndBlueprintDiffer = 2;
/// All of the blueprint's, and more.
inline constexpr std::uint64_t QRBSourceControlWorkspaceHasMoreThanBlueprint = 3;
/// Some of the blueprint's and no others.
inline constexpr std::uint64_t QRBSourceControlWorkspaceHasLessThanBlueprint = 4;
/// The same repositories, but some on another branch, tag or path.
inline constexpr std::uint64_t QRBSourceControlWorkspaceOnOtherLocations = 5;

/// The working copies that make up one project on disk. One of them, the primary one, holds the project; the folder
/// around it is the workspace's root.
///
/// Not guarded: one thread at a time changes a workspace, and none while one of its actions runs.
///
/// The actions ask one working copy after another, each on the one process of its request, and return a handle at once.
/// Their completion, which may be empty, is called exactly once, on a worker thread; it holds up that action alone.
/// Cancelling the handle cancels the request under way, whose working copy then has the cancellation error, and no
/// further one is made. The action keeps the workspace alive while it runs.
class QRB_EXPORT QRBSourceControlWorkspace : public qrb::Object,
                                             public std::enable_shared_from_this<QRBSourceControlWorkspace> {
  QRB_OBJECT;

 protected:
  struct Key {
    explicit Key() = default;
  };

 public:
  using WorkingCopies = std::vector<QRBSourceControlWorkingCopyPtr>;
  template <class... Values>
  using Completion = QRBSourceControlCompletionBlock<Values...>;
  using Remotes = QRBSourceControlWorkingCopyRemotes;
  using RemotesPtr = QRBSourceControlWorkingCopyRemotesPtr;
  using ErrorsPtr = QRBSourceControlWorkingCopyErrorsPtr;
  using Statuses = QRBSourceControlWorkingCopyTable<QRBSourceControlPathStatusesPtr>;
  using StatusesPtr = std::shared_ptr<const Statuses>;
  using LogItems = std::vector<QRBSourceControlLogItemPtr>;
  using RevisionTable = QRBSourceControlWorkingCopyTable<QRBSourceControlRevisionPtr>;
  /// Keeps neither the working copies nor the revisions alive.
  using WeakRevisionTable = qrb::WeakMapTable<QRBSourceControlWorkingCopy, const QRBSourceControlRevision>;
  /// Either kind; a working copy that is not in it has no revision.
  using Revisions = std::variant<RevisionTable, WeakRevisionTable>;

  /// @name Making one
  /// Null and equal working copies (of one folder and system) count once. Never null.
  /// @{

  /// Without working copies, under a fresh `_id`.
  static QRBSourceControlWorkspacePtr init();
  /// In the order given; see `sortWorkingCopies`.
  static QRBSourceControlWorkspacePtr initWithWorkingCopies(const WorkingCopies& workingCopies);
  /// The primary one is one of the working copies, or null.
  static QRBSourceControlWorkspacePtr initWithPrimaryWorkingCopy(QRBSourceControlWorkingCopyPtr primaryWorkingCopy,
                                                                 qrb::String relativePathToProject,
                                                                 const WorkingCopies& workingCopies);
  explicit QRBSourceControlWorkspace(Key);
  /// @}

  /// @name Fields
  /// @{

  /// What this one object is known by; a UUID unless it was replaced. Safe from any thread.
  qrb::String _id() const { return _idProperty.get(); }
  /// Empty and absent strings are ignored.
  void set_id(const qrb::String& identifier);
  /// In workspace order; a copy, which does not follow what is sorted later.
  WorkingCopies workingCopies() const { return _workingCopies; }
  /// The one that holds the project; null where none does.
  const QRBSourceControlWorkingCopyPtr& primaryWorkingCopy() const noexcept { return _primaryWorkingCopy; }
  void setPrimaryWorkingCopy(QRBSourceControlWorkingCopyPtr workingCopy) {
    _primaryWorkingCopy = std::move(workingCopy);
  }
  /// Where the project lies in the primary working copy. May be absent.
  const qrb::String& relativePathToProject() const noexcept { return _relativePathToProject; }
  void setRelativePathToProject(qrb::String path) { _relativePathToProject = std::move(path); }
  /// The folder around the primary working copy or, without one, around the first; absent without either.
  qrb::URL workspaceRootFolder() const;
  /// Where the actions of this workspace run.
  qrb::OperationQueue& workspaceOperationQueue() noexcept { return _operationQueue; }
  /// Whether the actions may begin; a hook for subclasses.
  virtual bool _isValid() const { return true; }
  /// Identifier and number of working copies, for logs.
  std::string description() const override;
  /// @}

  /// @name Finding working copies
  /// @{

  /// Brings the primary working copy to the front and the others behind it by the names of their folders, as the user's
  /// language sorts.
  void sortWorkingCopies();
  /// The innermost working copy that a file URL lies in, or is the root of; null where none is, and for other URLs.
  QRBSourceControlWorkingCopyPtr workingCopyForURL(const qrb::URL& URL) const;
  /// The only working copy of the repository of that identifier; null where there is none or more than one.
  QRBSourceControlWorkingCopyPtr workingCopyForRepositoryID(const qrb::String& identifier) const;
  /// The working copy of one of a blueprint's repositories: by its identifier, or by its place from the folder on that
  /// the blueprint's paths begin in, in any letter case. Null where there is none, or the place of the blueprint's
  /// primary repository tells of no such folder.
  QRBSourceControlWorkingCopyPtr workingCopyForRemoteRepository(
      const QRBSourceControlRemoteRepositoryPtr& remoteRepository,
      const QRBSourceControlWorkspaceBlueprintPtr& inBlueprint) const;
  /// @}

  /// @name Blueprints
  /// @{

  /// Whether the primary working copy is of the blueprint's primary repository and both have the same project path.
  bool representsBlueprint(const QRBSourceControlWorkspaceBlueprintPtr& blueprint) const;
  /// One of the codes above. Goes by what is cached: identifiers, and the location that each working copy was last
  /// known to be on. A local branch is not the remote branch that it follows: ask about working copies that
  /// `workspaceForWorkingCopiesCreatedAtURL` of the same blueprint has found, which know which of the two is meant.
  std::uint64_t compareToBlueprint(const QRBSourceControlWorkspaceBlueprintPtr& blueprint) const;
  /// Those of which the blueprint has neither the repository's identifier nor the place from the root folder on; all
  /// for null.
  WorkingCopies workingCopiesMissingFromBlueprint(const QRBSourceControlWorkspaceBlueprintPtr& blueprint) const;

  /// Makes a blueprint of what the working copies are and are on now, and the table of the remote that stands for each
  /// of them. `remoteRepositories`, which may be null, chooses the remotes of some; the others are asked for theirs:
  /// the one that the branch follows, else the primary one, else any. A local branch that follows a remote one is
  /// recorded as that. What no other machine could fetch is left out: working copies without remote, with a remote at a
  /// file URL, or one without identifier.
  ///
  /// The first request that fails ends it. Nothing to record, or no primary working copy (the answer then comes at
  /// once and there is no handle), is the remote-repository-not-found error. Where it is cancelled between two
  /// requests, what is left is recorded by the remotes chosen alone and without locations.
  QRBSourceControlMultiCancellablePtr blueprintWithRemoteRepositories(
      RemotesPtr remoteRepositories, Completion<QRBSourceControlWorkspaceBlueprintPtr, RemotesPtr> completionBlock);
  /// Asks every working copy for its remotes.
  QRBSourceControlMultiCancellablePtr blueprintWithCompletionBlock(
      Completion<QRBSourceControlWorkspaceBlueprintPtr, RemotesPtr> completionBlock);
  /// @}

  /// @name Actions on all working copies
  /// Those that answer tables leave the errors of single working copies to the error table: their own error, of code
  /// -400 and with all else absent, is only for a workspace that is not valid and for an action that was cancelled
  /// before its last request.
  /// @{

  /// Brings each working copy to what its remote repository has, as
  /// `QRBSourceControlWorkingCopy::forceUpdateWorkingCopyFromRepository` does. One that the table has no remote for
  /// gets the remote-repository-not-found error. Progress is of the whole, from 0 to 1; a negative fraction, of a
  /// working copy that cannot tell, is passed on as it is.
  QRBSourceControlMultiCancellablePtr forceUpdateWorkingCopiesFromRepositories(
      RemotesPtr repositories, QRBSourceControlProgressBlock progressBlock, Completion<ErrorsPtr> completionBlock);
  /// Updates from the blueprint's repositories, each of them the working copy of `workingCopyForRemoteRepository`.
  QRBSourceControlMultiCancellablePtr forceUpdateWorkingCopiesFromBlueprint(
      const QRBSourceControlWorkspaceBlueprintPtr& blueprint, QRBSourceControlProgressBlock progressBlock,
      Completion<ErrorsPtr> completionBlock);

  /// The histories of all working copies in one, newest first; `maximumLogItems` holds for each of them. The other
  /// arguments are those of `QRBSourceControlWorkingCopy::historyFromRevision`. The incremental block gets the items of
  /// one working copy after the other and the part done of the whole, in percent.
  ///
  /// The first request that fails, or is cancelled, ends it with that error. Where it is cancelled between two
  /// requests, the completion gets the items so far.
  QRBSourceControlMultiCancellablePtr historyFromRevisions(Revisions fromRevisions, Revisions toRevisions,
                                                           QRBSourceControlHistoryInclusionType inclusionType,
                                                           std::int64_t maximumLogItems, qrb::String searchString,
                                                           QRBSourceControlHistorySearchType searchType,
                                                           QRBSourceControlIncrementalLogBlock incrementalLogBlock,
                                                           Completion<LogItems> completionBlock);
  /// What came since the revisions that the blueprint has, of the working copies that are in it; of the others, and
  /// where the blueprint has no revision, the whole history.
  QRBSourceControlMultiCancellablePtr historySinceRevisionedBlueprint(
      const QRBSourceControlWorkspaceBlueprintPtr& blueprint, std::int64_t maximumLogItems,
      Completion<LogItems> completionBlock);

  /// The status reports of all working copies, which keep them too: local, remote when asked for (else null), and the
  /// errors of those that failed.
  QRBSourceControlMultiCancellablePtr filesAndStatusWithRemoteStatus(
      bool remoteStatus, Completion<StatusesPtr, StatusesPtr, ErrorsPtr> completionBlock);
  /// @}

  /// @name Revisions for histories
  /// The same one for every working copy: a given one, the newest, the one checked out, and the one before all others.
  /// @{
  WeakRevisionTable _revisionTableWithRevison(const QRBSourceControlRevisionPtr& revision) const;
  WeakRevisionTable headRevisionsMapTable() const;
  WeakRevisionTable baseRevisionsMapTable() const;
  WeakRevisionTable initialRevisionsMapTable() const;
  /// @}

 private:
  qrb::OperationQueue _operationQueue;
  WorkingCopies _workingCopies;
  qrb::Atomic<qrb::String> _idProperty;
  QRBSourceControlWorkingCopyPtr _primaryWorkingCopy;
  qrb::String _relativePathToProject;
};
