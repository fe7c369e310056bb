#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <vector>

#include <qrb/AtomicProperty.h>
#include <qrb/Dictionary.h>
#include <qrb/Export.h>
#include <qrb/Image.h>
#include <qrb/Object.h>
#include <qrb/SerialQueue.h>
#include <qrb/URL.h>

#include "QRBSourceControlCallbacks.h"
#include "QRBSourceControlForward.h"
#include "QRBSourceControlHistoryTypes.h"

/// One checked-out tree on disk, the repository that it belongs to, and the status last reported of its paths.
///
/// Equal to another of the same folder and system. Safe from any thread: each field is read and written indivisibly,
/// and a status report replaces the one before as a whole. Paths are relative to the root of the working copy and are
/// bytes.
///
/// Every request returns the manager's request token, refuses nothing by itself, and calls its completion once, on the
/// thread of the reply. Failed requests give the system's error and absent values; cancelling the token gives the
/// cancellation error. What the tools had changed by then stays changed.
class QRB_EXPORT QRBSourceControlWorkingCopy final : public qrb::Object,
                                                     public std::enable_shared_from_this<QRBSourceControlWorkingCopy> {
  QRB_OBJECT;

  struct Key {
    explicit Key() = default;
  };

 public:
  using Files = std::vector<qrb::String>;
  using LogItems = std::vector<QRBSourceControlLogItemPtr>;
  using BlameItems = std::vector<QRBSourceControlBlameItemPtr>;
  template <class... Values>
  using Completion = QRBSourceControlCompletionBlock<Values...>;

  /// Null without a repository, for a URL that is not a file URL, and for a repository without identifier.
  static QRBSourceControlWorkingCopyPtr initWithFileURL(qrb::URL fileURL, QRBSourceControlRepositoryPtr repository);
  /// As above, for a repository that need not have an identifier.
  static QRBSourceControlWorkingCopyPtr initWithFileURLUnidentifiableRepository(
      qrb::URL fileURL, QRBSourceControlRepositoryPtr unidentifiableRepository);
  /// One in a format that the tools must upgrade before they work with it; the repository need not have an identifier.
  static QRBSourceControlWorkingCopyPtr initWithUpgradableFileURL(qrb::URL upgradableFileURL,
                                                                  QRBSourceControlRepositoryPtr repository);
  /// As the first, and null where that is; the location, which may be null, is cached as the current one.
  static QRBSourceControlWorkingCopyPtr initWithFileURL(qrb::URL fileURL, QRBSourceControlRepositoryPtr repository,
                                                        QRBSourceControlRevisionLocationPtr locationInRepository);
  /// As the one before, with a layout that replaces the empty one; null leaves none.
  static QRBSourceControlWorkingCopyPtr initWithFileURL(qrb::URL fileURL, QRBSourceControlRepositoryPtr repository,
                                                        QRBSourceControlRevisionLocationPtr locationInRepository,
                                                        QRBSourceControlBranchAndTagLocationsPtr branchAndTagLocations);
  explicit QRBSourceControlWorkingCopy(Key);

  /// What this one object is known by; a UUID unless it was replaced.
  qrb::String _id() const { return _idProperty.get(); }
  /// Empty and absent strings are ignored.
  void set_id(const qrb::String& identifier);
  /// The root of the tree, on this machine; absent only where an archive had none.
  qrb::URL fileURL() const { return _fileURL.get(); }
  /// Replaces the folder, and with it what the working copy is equal to.
  void setFileURL(qrb::URL fileURL) { _fileURL.set(std::move(fileURL)); }
  /// Shared with whoever else holds it. Null only after it was set so or where an archive had none.
  QRBSourceControlRepositoryPtr repository() const { return _repository.get(); }
  /// Replaces the repository, and with its system what the working copy is equal to; null is taken.
  void setRepository(QRBSourceControlRepositoryPtr repository) { _repository.set(std::move(repository)); }
  /// Present only for systems that need a layout.
  QRBSourceControlBranchAndTagLocationsPtr branchAndTagLocations() const { return _branchAndTagLocations.get(); }
  void setBranchAndTagLocations(QRBSourceControlBranchAndTagLocationsPtr branchAndTagLocations) {
    _branchAndTagLocations.set(std::move(branchAndTagLocations));
  }
  /// How far a checkout has got with it. Archived, but 0 again after decoding.
  std::uint64_t state() const { return _state.get(); }
  void setState(std::uint64_t state) { _state.set(state); }
  /// Whether the tools must upgrade its format first. An upgrade request leaves it as it is: the host clears it.
  bool needsUpgrade() const { return _needsUpgrade.get(); }
  void setNeedsUpgrade(bool needsUpgrade) { _needsUpgrade.set(needsUpgrade); }
  /// The host's own.
  QRBSourceControlRevisionPtr cachedBaseRevision() const { return _cachedBaseRevision.get(); }
  void setCachedBaseRevision(QRBSourceControlRevisionPtr revision) { _cachedBaseRevision.set(std::move(revision)); }
  /// The branch, tag or path that it is on, as last learnt.
  QRBSourceControlRevisionLocationPtr cachedCurrentLocation() const { return _cachedCurrentLocation.get(); }
  void setCachedCurrentLocation(QRBSourceControlRevisionLocationPtr location) {
    _cachedCurrentLocation.set(std::move(location));
  }
  /// Kept for hosts that ask; always empty and null.
  std::set<QRBSourceControlRemoteRepositoryPtr> cachedRemoteRepositories() const { return {}; }
  QRBSourceControlRemoteRepositoryPtr primaryRemoteRepository() const { return nullptr; }
  /// The last path component of the file URL.
  qrb::String displayName() const { return fileURL().lastPathComponent(); }
  /// Never null: the one shared picture of all working copies, which the host draws by its name.
  static qrb::ImagePtr defaultImage();

  /// The status last reported; 0 for a path that the report did not name.
  std::uint64_t cachedSourceControlLocalStatusForFile(const qrb::String& file) const;
  /// The remote status last reported: what the repository has and this working copy has not. 0 too before any report of
  /// it.
  std::uint64_t cachedSourceControlRemoteStatusForFile(const qrb::String& file) const;
  /// Every path that the last reports named, whatever its status.
  std::set<qrb::String> cachedPathsWithStatus() const;
  /// Those of the last local report, below those of the last remote one; empty before the first.
  std::set<qrb::String> cachedPathsWithLocalStatus() const;
  std::set<qrb::String> cachedPathsWithRemoteStatus() const;

  /// The file URL and the repository, for logs.
  std::string description() const override;
  std::size_t hash() const override;
  /// For archives. A key that is missing leaves its field absent, false or 0; a value of another type throws
  /// ArchiveError. Cached revision, location and statuses are not archived.
  static std::shared_ptr<qrb::Object> initWithCoder(qrb::KeyedUnarchiver& coder);
  void encodeWithCoder(qrb::KeyedArchiver& coder) const override;

  /// Reports the status of every path that has one, from this working copy and, when asked, from the repository. What
  /// arrives is cached before the completion is called, and a report that does not arrive leaves its cache alone.
  QRBSourceControlCancellablePtr filesAndStatusWithRemoteStatus(
      bool remoteStatus, Completion<QRBSourceControlPathStatusesPtr, QRBSourceControlPathStatusesPtr> completionBlock);
  /// Takes over the reports that are present, as `filesAndStatusWithRemoteStatus` does.
  void updateCachedStatus(QRBSourceControlPathStatusesPtr localStatus, QRBSourceControlPathStatusesPtr remoteStatus);

  /// Puts the files under source control with the next commit.
  QRBSourceControlCancellablePtr addFiles(Files files, Completion<> completionBlock);
  /// Takes the files out of source control with the next commit.
  QRBSourceControlCancellablePtr removeFiles(Files files, Completion<> completionBlock);
  /// Copies each file to the path at the same place of `toFilePaths`, with its history where the system keeps one.
  QRBSourceControlCancellablePtr copyFiles(Files files, Files toFilePaths, Completion<> completionBlock);
  /// Moves each file to the path at the same place of `toFilePaths`.
  QRBSourceControlCancellablePtr moveFiles(Files files, Files toFilePaths, Completion<> completionBlock);
  /// Makes a directory; those above it that are missing are made only when asked. The attributes are the system's own.
  QRBSourceControlCancellablePtr createDirectory(qrb::String directory, bool withIntermediateDirectories,
                                                 const qrb::Dictionary& attributes, Completion<> completionBlock);
  /// Brings the files back to what the base revision has; what was changed in them is lost.
  QRBSourceControlCancellablePtr discardChangesInFiles(Files files, Completion<> completionBlock);
  /// Brings every file of the working copy back so.
  QRBSourceControlCancellablePtr discardAllChangesWithCompletionBlock(Completion<> completionBlock);
  /// Ends the conflict of each file, whose content stays as it is.
  QRBSourceControlCancellablePtr markAsResolvedFiles(Files files, Completion<> completionBlock);
  /// Commits the files as they are; the completion gets the new revision.
  QRBSourceControlCancellablePtr commitFiles(Files files, qrb::String message,
                                             Completion<QRBSourceControlRevisionPtr> completionBlock);

  /// Writes a file as it was to a new file, whose URL the completion gets. Those that take a revision pin
  /// `fromLocation` to it, or stand for the bare revision where no location is given; so do blame and history.
  QRBSourceControlCancellablePtr exportFile(qrb::String file, QRBSourceControlRevisionPtr forParentOfRevision,
                                            Completion<qrb::URL> completionBlock);
  /// As it is at the location; the new file is made in the directory.
  QRBSourceControlCancellablePtr exportFile(qrb::String file, QRBSourceControlRevisionLocationPtr fromRevisionLocation,
                                            qrb::URL toDirectory, Completion<qrb::URL> completionBlock);
  /// As it was at the revision, on the location's line of history; the new file is made in the directory.
  QRBSourceControlCancellablePtr exportFile(qrb::String file, QRBSourceControlRevisionPtr revision,
                                            QRBSourceControlRevisionLocationPtr fromLocation, qrb::URL toDirectory,
                                            Completion<qrb::URL> completionBlock);
  /// As it was at the revision alone.
  QRBSourceControlCancellablePtr exportFile(qrb::String file, QRBSourceControlRevisionPtr revision,
                                            qrb::URL toDirectory, Completion<qrb::URL> completionBlock);

  /// Blames each line of the file. Items of one revision share one log item; those of uncommitted lines keep their own.
  QRBSourceControlCancellablePtr blameFile(qrb::String file, QRBSourceControlRevisionLocationPtr fromRevisionLocation,
                                           Completion<BlameItems> completionBlock);
  /// Blames the file at the revision; the location, which may be null, is pinned to it first.
  QRBSourceControlCancellablePtr blameFile(qrb::String file, QRBSourceControlRevisionPtr revision,
                                           QRBSourceControlRevisionLocationPtr fromLocation,
                                           Completion<BlameItems> completionBlock);
  /// Blames the file at the bare revision.
  QRBSourceControlCancellablePtr blameFile(qrb::String file, QRBSourceControlRevisionPtr revision,
                                           Completion<BlameItems> completionBlock);

  /// Ranges, inclusion types and search types are described in QRBSourceControlHistoryTypes.h. The completion gets all
  /// items, those that the incremental block has had included.
  QRBSourceControlCancellablePtr historyOfFile(qrb::String file,
                                               QRBSourceControlRevisionLocationPtr fromRevisionLocation,
                                               QRBSourceControlRevisionPtr toRevision,
                                               QRBSourceControlHistoryInclusionType inclusionType,
                                               std::int64_t maximumLogItems,
                                               QRBSourceControlIncrementalLogBlock incrementalLogBlock,
                                               Completion<LogItems> completionBlock);
  /// Begins at a revision, to which the location, which may be null, is pinned first.
  QRBSourceControlCancellablePtr historyOfFile(qrb::String file, QRBSourceControlRevisionPtr fromRevision,
                                               QRBSourceControlRevisionLocationPtr location,
                                               QRBSourceControlRevisionPtr toRevision,
                                               QRBSourceControlHistoryInclusionType inclusionType,
                                               std::int64_t maximumLogItems,
                                               QRBSourceControlIncrementalLogBlock incrementalLogBlock,
                                               Completion<LogItems> completionBlock);
  /// Begins at the bare revision.
  QRBSourceControlCancellablePtr historyOfFile(qrb::String file, QRBSourceControlRevisionPtr revision,
                                               QRBSourceControlRevisionPtr toRevision,
                                               QRBSourceControlHistoryInclusionType inclusionType,
                                               std::int64_t maximumLogItems,
                                               QRBSourceControlIncrementalLogBlock incrementalLogBlock,
                                               Completion<LogItems> completionBlock);
  /// The history of the whole working copy: the items that the search finds, or all without a search string.
  QRBSourceControlCancellablePtr historyFromRevision(QRBSourceControlRevisionPtr fromRevision,
                                                     QRBSourceControlRevisionPtr toRevision,
                                                     QRBSourceControlHistoryInclusionType inclusionType,
                                                     std::int64_t maximumLogItems, qrb::String searchString,
                                                     QRBSourceControlHistorySearchType searchType,
                                                     QRBSourceControlIncrementalLogBlock incrementalLogBlock,
                                                     Completion<LogItems> completionBlock);

  /// Merges a branch into the working copy; conflicts show in the status afterwards.
  QRBSourceControlCancellablePtr mergeBranch(QRBSourceControlBranchPtr branch, Completion<> completionBlock);
  /// The progress block is never called.
  QRBSourceControlCancellablePtr forceUpdateWorkingCopyFromRepository(QRBSourceControlRemoteRepositoryPtr repository,
                                                                      QRBSourceControlProgressBlock progressBlock,
                                                                      Completion<> completionBlock);
  /// Does nothing, as the next: both return null and never call the completion.
  QRBSourceControlCancellablePtr fastUpdateWorkingCopyFromRepository(QRBSourceControlRemoteRepositoryPtr repository,
                                                                     QRBSourceControlRevisionLocationPtr location,
                                                                     QRBSourceControlProgressBlock progressBlock,
                                                                     Completion<> completionBlock);
  QRBSourceControlCancellablePtr updateWorkingCopyFromRepository(QRBSourceControlRemoteRepositoryPtr repository,
                                                                 QRBSourceControlRevisionLocationPtr location,
                                                                 Files pathsToUpdate,
                                                                 QRBSourceControlProgressBlock progressBlock,
                                                                 Completion<> completionBlock);
  /// The location is cached before the completion is called.
  QRBSourceControlCancellablePtr currentLocationWithCompletionBlock(
      Completion<QRBSourceControlRevisionLocationPtr> completionBlock);
  /// Caches the location that the system reports; the completion gets the one that was asked for, with or without
  /// error.
  QRBSourceControlCancellablePtr switchLocation(QRBSourceControlRevisionLocationPtr location,
                                                Completion<QRBSourceControlRevisionLocationPtr> completionBlock);
  /// The revision that the working copy is based on. It is not cached.
  QRBSourceControlCancellablePtr baseRevisionWithCompletionBlock(
      Completion<QRBSourceControlRevisionPtr> completionBlock);
  /// The progress block is never called.
  QRBSourceControlCancellablePtr upgradeWithProgressBlock(QRBSourceControlProgressBlock progressBlock,
                                                          Completion<> completionBlock);
  /// Asks the system what the repository is known by, and gives it that identifier unless it is empty.
  QRBSourceControlCancellablePtr updateRepositoryIdentifierWithCompletionBlock(Completion<> completionBlock);

  /// Looks for working copies of the systems below the folders and, when asked, above them. It cannot fail: what could
  /// not be read is left out, and a cancelled scan has found nothing.
  static QRBSourceControlCancellablePtr scanForWorkingCopiesInFolderPaths(
      std::vector<qrb::String> folderPaths, bool traversingUp,
      std::vector<QRBSourceControlSystemPtr> usingSourceControlSystems,
      std::function<void(std::vector<QRBSourceControlWorkingCopyPtr>)> completionBlock);

 protected:
  /// Equal file URLs and systems; the repositories' identifiers are not compared.
  bool isEqualToSameClass(const qrb::Object& other) const override;

 private:
  static QRBSourceControlWorkingCopyPtr _initWithFileURL(qrb::URL fileURL, QRBSourceControlRepositoryPtr repository,
                                                         bool enforceRepositoryIdentifier);

  // A report is taken over as it came and never changed, so that it costs no copy.
  QRBSourceControlPathStatusesPtr _cachedLocalStatus;
  QRBSourceControlPathStatusesPtr _cachedRemoteStatus;
  mutable qrb::SerialQueue _cachedStatusChangeQueue;
  qrb::Atomic<bool> _needsUpgrade;
  qrb::Atomic<qrb::String> _idProperty;
  qrb::Atomic<qrb::URL> _fileURL;
  qrb::Atomic<QRBSourceControlRepositoryPtr> _repository;
  qrb::Atomic<QRBSourceControlBranchAndTagLocationsPtr> _branchAndTagLocations;
  qrb::Atomic<std::uint64_t> _state;
  qrb::Atomic<QRBSourceControlRevisionPtr> _cachedBaseRevision;
  qrb::Atomic<QRBSourceControlRevisionLocationPtr> _cachedCurrentLocation;
};

/// A number of a status report as the status that it stands for: its unsigned 64-bit value, to which a negative integer
/// wraps and from which a fraction is cut off. 0, which is the status of what is not known, for anything else.
QRB_EXPORT std::uint64_t qrbscm_statusValue(const qrb::Dictionary& number);

/// Replaces the whole table by the report, whose paths alone it has from then on; null empties it. Nothing is copied.
/// Returns the table as it was, for the caller to let go of where that takes no time of others. The table is the
/// caller's to guard.
QRB_EXPORT QRBSourceControlPathStatusesPtr
updateStatusMapTableFromDictionary(QRBSourceControlPathStatusesPtr& table, QRBSourceControlPathStatusesPtr dictionary);
