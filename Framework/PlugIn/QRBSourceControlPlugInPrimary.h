#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Dictionary.h"
#include "Export.h"
#include "FileHandle.h"
#include "QRBSourceControlCallbacks.h"
#include "QRBSourceControlForward.h"
#include "QRBSourceControlPlugInHost.h"
#include "URL.h"

/// The base of every plug-in: one virtual function per message that a host may send.
///
/// A subclass overrides the messages that its system can serve; each of the others is a programming error that ends the
/// process, and the host reports that it could not communicate. A process serves one request. Messages are delivered
/// one after another on the thread that runs the plug-in; the completion is called exactly once, before the function
/// returns or later, from any thread. With an error the values do not matter.
class QRB_EXPORT QRBSourceControlPlugInPrimary {
 public:
  template <class... Values>
  using Completion = QRBSourceControlCompletionBlock<Values...>;
  /// The completion of a message that cannot fail.
  template <class... Values>
  using Answer = std::function<void(const Values&...)>;
  using Files = std::vector<qrb::String>;
  using Branches = std::vector<QRBSourceControlBranchPtr>;
  using LogItems = std::vector<QRBSourceControlLogItemPtr>;
  using WorkingCopies = std::vector<QRBSourceControlWorkingCopyPtr>;

  QRBSourceControlPlugInPrimary() = default;
  virtual ~QRBSourceControlPlugInPrimary() = default;
  QRBSourceControlPlugInPrimary(const QRBSourceControlPlugInPrimary&) = delete;
  QRBSourceControlPlugInPrimary& operator=(const QRBSourceControlPlugInPrimary&) = delete;

  /// The request is over: ends the process at once with exit status 0.
  virtual void operationsFinished();
  /// What the plug-in is and can do.
  virtual void sourceControlSystem(Answer<QRBSourceControlSystemPtr> completionBlock);
  virtual void keychainNameFromURL(const qrb::URL& url,
                                   Completion<qrb::String, std::uint64_t, qrb::String> completionBlock);
  /// For systems whose working copies no folder name marks.
  virtual void scanForWorkingCopiesInFolderPaths(const Files& folderPaths, bool traversingUp,
                                                 Answer<WorkingCopies> completionBlock);
  /// The working copies of this system among the candidates.
  virtual void scanForWorkingCopiesInPotentialWorkingCopies(const std::vector<qrb::URL>& potentialWorkingCopies,
                                                            Answer<WorkingCopies> completionBlock);
  /// Local statuses by path, and remote ones when they are asked for.
  virtual void filesAndStatusOfWorkingCopy(
      const QRBSourceControlWorkingCopyPtr& workingCopy, bool withRemoteStatus,
      Completion<QRBSourceControlPathStatusesPtr, QRBSourceControlPathStatusesPtr> completionBlock);
  virtual void addFiles(const Files& files, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                        Completion<> completionBlock);
  virtual void removeFiles(const Files& files, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                           Completion<> completionBlock);
  virtual void copyFiles(const Files& files, const Files& toFilePaths,
                         const QRBSourceControlWorkingCopyPtr& inWorkingCopy, Completion<> completionBlock);
  virtual void moveFiles(const Files& files, const Files& toFilePaths,
                         const QRBSourceControlWorkingCopyPtr& inWorkingCopy, Completion<> completionBlock);
  virtual void createDirectory(const qrb::String& path, bool withIntermediateDirectories,
                               const qrb::Dictionary& attributes, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                               Completion<> completionBlock);
  virtual void discardChangesInFiles(const Files& files, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                                     Completion<> completionBlock);
  virtual void discardAllChangesInWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy,
                                              Completion<> completionBlock);
  virtual void markAsResolvedFiles(const Files& files, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                                   Completion<> completionBlock);
  virtual void commitFiles(const Files& files, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                           const qrb::String& message, Completion<QRBSourceControlRevisionPtr> completionBlock);
  virtual void exportFileFromRevisionLocation(const qrb::String& file,
                                              const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                                              const QRBSourceControlRevisionLocationPtr& fromRevisionLocation,
                                              const qrb::URL& toDirectory, Completion<qrb::URL> completionBlock);
  virtual void exportFileForParentOfRevision(const qrb::String& file,
                                             const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                                             const QRBSourceControlRevisionPtr& forParentOfRevision,
                                             Completion<qrb::URL> completionBlock);
  virtual void blameFile(const qrb::String& file, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                         const QRBSourceControlRevisionLocationPtr& fromRevisionLocation,
                         Completion<std::vector<QRBSourceControlBlameItemPtr>> completionBlock);
  /// Items may be sent ahead in batches; the reply holds all of them, newest first.
  virtual void historyOfFile(const qrb::String& file, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                             const QRBSourceControlRevisionLocationPtr& fromRevisionLocation,
                             const QRBSourceControlRevisionPtr& toRevision, std::uint64_t inclusionType,
                             std::int64_t maximumLogItems, const qrb::String& searchString, std::uint64_t searchType,
                             const qrb::String& progressIdentifier, Completion<LogItems> completionBlock);
  virtual void mergeBranch(const QRBSourceControlBranchPtr& branch,
                           const QRBSourceControlWorkingCopyPtr& intoWorkingCopy, Completion<> completionBlock);
  virtual void forceUpdateWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy,
                                      const QRBSourceControlRemoteRepositoryPtr& fromRepository,
                                      Completion<> completionBlock);
  /// As historyOfFile, of the whole working copy.
  virtual void historyOfWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy,
                                    const QRBSourceControlRevisionPtr& fromRevision,
                                    const QRBSourceControlRevisionPtr& toRevision, std::uint64_t inclusionType,
                                    std::int64_t maximumLogItems, const qrb::String& searchString,
                                    std::uint64_t searchType, const qrb::String& progressIdentifier,
                                    Completion<LogItems> completionBlock);
  virtual void currentLocationOfWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy,
                                            Completion<QRBSourceControlRevisionLocationPtr> completionBlock);
  virtual void switchLocation(const QRBSourceControlRevisionLocationPtr& location,
                              const QRBSourceControlWorkingCopyPtr& ofWorkingCopy,
                              Completion<QRBSourceControlRevisionLocationPtr> completionBlock);
  virtual void baseRevisionOfWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy,
                                         Completion<QRBSourceControlRevisionPtr> completionBlock);
  virtual void upgradeWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy,
                                  const qrb::String& progressIdentifier, Completion<> completionBlock);
  virtual void identifierOfRepositoryForWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy,
                                                    Completion<qrb::String> completionBlock);
  virtual void headRevisionOfRepository(const QRBSourceControlRepositoryPtr& repository,
                                        Completion<QRBSourceControlRevisionPtr> completionBlock);
  virtual void revisionOfLocation(const QRBSourceControlRevisionLocationPtr& location,
                                  const QRBSourceControlRepositoryPtr& inRepository,
                                  const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
                                  Completion<QRBSourceControlRevisionPtr> completionBlock);
  virtual void listSubpathsOfRepository(const QRBSourceControlRepositoryPtr& repository,
                                        const QRBSourceControlPathLocationPtr& atPath,
                                        Completion<std::vector<QRBSourceControlPathLocationPtr>> completionBlock);
  virtual void listBranchesOfRepository(const QRBSourceControlRepositoryPtr& repository,
                                        const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
                                        Completion<Branches> completionBlock);
  virtual void listRemoteBranchesOfRepository(const QRBSourceControlRepositoryPtr& repository,
                                              const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
                                              Completion<Branches, QRBSourceControlRemoteBranchesPtr> completionBlock);
  virtual void parentBranchesOfBranch(const QRBSourceControlBranchPtr& branch,
                                      const QRBSourceControlRepositoryPtr& inRepository,
                                      const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
                                      Completion<QRBSourceControlBranchPtr, Branches> completionBlock);
  virtual void ancestorRevisionInRepository(const QRBSourceControlRepositoryPtr& repository,
                                            const QRBSourceControlBranchPtr& ofBranch,
                                            const QRBSourceControlBranchPtr& otherBranch,
                                            const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
                                            Completion<QRBSourceControlRevisionPtr> completionBlock);
  virtual void addBranch(const QRBSourceControlBranchPtr& branch, const QRBSourceControlBranchPtr& fromBranch,
                         const QRBSourceControlRepositoryPtr& toRepository,
                         const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
                         Completion<QRBSourceControlBranchPtr> completionBlock);
  virtual void removeBranch(const QRBSourceControlBranchPtr& branch,
                            const QRBSourceControlRepositoryPtr& fromRepository,
                            const QRBSourceControlRemoteRepositoryPtr& andRemoteRepository,
                            const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
                            Completion<> completionBlock);
  virtual void diffRepository(const QRBSourceControlRepositoryPtr& repository,
                              const QRBSourceControlRevisionLocationPtr& fromLocation,
                              const QRBSourceControlRevisionLocationPtr& againstLocation,
                              const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
                              Completion<qrb::Dictionary> completionBlock);
  virtual void listRemoteRepositoriesForRepository(
      const QRBSourceControlRepositoryPtr& repository,
      Completion<QRBSourceControlRemoteRepositoryPtr, QRBSourceControlRemoteRepositoriesPtr> completionBlock);
  virtual void remoteBranchFromRepository(const QRBSourceControlRepositoryPtr& repository,
                                          const QRBSourceControlBranchPtr& forBranch,
                                          Completion<QRBSourceControlBranchPtr> completionBlock);
  virtual void addRemoteRepository(const QRBSourceControlRemoteRepositoryPtr& remoteRepository,
                                   const qrb::String& withName, const QRBSourceControlRepositoryPtr& toRepository,
                                   Completion<> completionBlock);
  virtual void removeRemoteRepositoryNamed(const qrb::String& name, const QRBSourceControlRepositoryPtr& fromRepository,
                                           Completion<> completionBlock);
  virtual void repositoryURLRootForRepository(const QRBSourceControlRemoteRepositoryPtr& repository,
                                              Completion<qrb::URL, QRBSourceControlPathLocationPtr> completionBlock);
  virtual void downloadUpdatesFromRemoteRepository(const QRBSourceControlRemoteRepositoryPtr& remoteRepository,
                                                   const QRBSourceControlRepositoryPtr& toRepository,
                                                   Completion<> completionBlock);
  virtual void uploadCommitsToRemoteRepository(const QRBSourceControlRemoteRepositoryPtr& remoteRepository,
                                               const QRBSourceControlRepositoryPtr& fromLocalRepository,
                                               const QRBSourceControlBranchPtr& remoteBranch,
                                               Completion<> completionBlock);
  virtual void automaticallyDetectBranchAndTagLocationsForRepository(
      const QRBSourceControlRepositoryPtr& repository, const QRBSourceControlPathLocationPtr& fromPath,
      Completion<QRBSourceControlRevisionLocationPtr, QRBSourceControlBranchAndTagLocationsPtr> completionBlock);
  virtual void createRepositoryAtFileURL(const qrb::URL& fileURL,
                                         Completion<QRBSourceControlRepositoryPtr> completionBlock);
  virtual void validateAuthenticationOfRemoteRepository(
      const QRBSourceControlRemoteRepositoryPtr& repository, const QRBSourceControlRevisionLocationPtr& location,
      const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations, Completion<> completionBlock);
  virtual void createWorkingCopyFromRepository(const QRBSourceControlRemoteRepositoryPtr& repository,
                                               const QRBSourceControlRevisionLocationPtr& location,
                                               const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
                                               const qrb::URL& localAddress, const qrb::String& progressIdentifier,
                                               Completion<QRBSourceControlWorkingCopyPtr> completionBlock);

  // Requests that hosts make only of plug-ins whose system lists them in its `additionalRequests`. Here they are
  // answered with the error that they are not supported.

  virtual void listTagsOfRepository(const QRBSourceControlRepositoryPtr& repository,
                                    const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
                                    Completion<std::vector<QRBSourceControlTagPtr>> completionBlock);

  /// The host that sent the request; set before the first message arrives.
  const QRBSourceControlPlugInHost& host() const { return *_host; }
  void setHost(std::shared_ptr<QRBSourceControlPlugInHost> host) { _host = std::move(host); }

 protected:
  /// A file URL with the last component of the name given, in a new folder that only the user can enter, below the
  /// process's temporary folder. Nothing stands there; file and folder are the caller's to make and to remove. Absent
  /// when no folder can be made, and for a name that names no file.
  static qrb::URL tempFilePathBasedOnFileName(const qrb::String& fileName);

  /// The path at which a tool is expected that came with the plug-in's installation, seen from the folder of the
  /// plug-in's program. Whether it is there is not looked at.
  static std::string _launchPathForTask(const qrb::String& tool);

  /// Reads a handle from this thread's run loop as its data comes: each piece is appended to the buffer and given to
  /// the parsing block, until the end. The counter, which several readers on one thread may share, is one higher for as
  /// long as the handle may still deliver: all output has come when it is back at 0. Destroying the token ends the
  /// reading; buffer and counter must live until then.
  [[nodiscard]] static qrb::ObserverToken _readDataFromFileHandle(
      const std::shared_ptr<qrb::FileHandle>& fileHandle, std::string& intoBuffer,
      std::int64_t& outstandingOperationCounter, std::function<void(std::string_view chunk)> dataParsingBlock);

  /// Programming errors: the way back to the host is `host()`.
  static void setProgressStatus(std::int64_t status, double progressValue, const qrb::String& userReadableString,
                                const qrb::String& progressIdentifier);
  static void setIncrementalLogStatus(const LogItems& items, const qrb::Dictionary& info,
                                      const qrb::String& progressIdentifier);

  /// The last progress fraction that the plug-in reported; for subclasses to keep.
  double _lastProgressValueSent = 0;

 private:
  std::shared_ptr<QRBSourceControlPlugInHost> _host;
};
