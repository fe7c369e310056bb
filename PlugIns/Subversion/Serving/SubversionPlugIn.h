#pragma once

#include <functional>

#include "QRBSourceControlPlugInPrimary.h"
#include "SubversionSession.h"

struct SubversionHistoryRequest;

/// Serves a host's requests on working copies and repositories of Subversion, by the library that svn itself is made
/// of.
class SubversionPlugIn : public QRBSourceControlPlugInPrimary {
 public:
  void sourceControlSystem(Answer<QRBSourceControlSystemPtr> completionBlock) override;
  /// The server, the port and the user. All are absent for addresses of this machine.
  void keychainNameFromURL(const qrb::URL& url,
                           Completion<qrb::String, std::uint64_t, qrb::String> completionBlock) override;
  void scanForWorkingCopiesInFolderPaths(const Files& folderPaths, bool traversingUp,
                                         Answer<WorkingCopies> completionBlock) override;
  /// A candidate is the root of a working copy or its ".svn". One of an older form is told as such. Their repositories
  /// are remote ones, since what they need to be reached belongs to a server's account.
  void scanForWorkingCopiesInPotentialWorkingCopies(const std::vector<qrb::URL>& potentialWorkingCopies,
                                                    Answer<WorkingCopies> completionBlock) override;

  // Of the root itself, ".", properties may be told.
  void filesAndStatusOfWorkingCopy(
      const QRBSourceControlWorkingCopyPtr& workingCopy, bool withRemoteStatus,
      Completion<QRBSourceControlPathStatusesPtr, QRBSourceControlPathStatusesPtr> completionBlock) override;
  void addFiles(const Files& files, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                Completion<> completionBlock) override;
  void removeFiles(const Files& files, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                   Completion<> completionBlock) override;
  void copyFiles(const Files& files, const Files& toFilePaths, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                 Completion<> completionBlock) override;
  void moveFiles(const Files& files, const Files& toFilePaths, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                 Completion<> completionBlock) override;
  void createDirectory(const qrb::String& path, bool withIntermediateDirectories, const qrb::Dictionary& attributes,
                       const QRBSourceControlWorkingCopyPtr& inWorkingCopy, Completion<> completionBlock) override;
  void discardChangesInFiles(const Files& files, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                             Completion<> completionBlock) override;
  void discardAllChangesInWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy,
                                      Completion<> completionBlock) override;
  void markAsResolvedFiles(const Files& files, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                           Completion<> completionBlock) override;
  void commitFiles(const Files& files, const QRBSourceControlWorkingCopyPtr& inWorkingCopy, const qrb::String& message,
                   Completion<QRBSourceControlRevisionPtr> completionBlock) override;
  void exportFileFromRevisionLocation(const qrb::String& file, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                                      const QRBSourceControlRevisionLocationPtr& fromRevisionLocation,
                                      const qrb::URL& toDirectory, Completion<qrb::URL> completionBlock) override;
  void exportFileForParentOfRevision(const qrb::String& file, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                                     const QRBSourceControlRevisionPtr& forParentOfRevision,
                                     Completion<qrb::URL> completionBlock) override;
  void blameFile(const qrb::String& file, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                 const QRBSourceControlRevisionLocationPtr& fromRevisionLocation,
                 Completion<std::vector<QRBSourceControlBlameItemPtr>> completionBlock) override;
  void historyOfFile(const qrb::String& file, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                     const QRBSourceControlRevisionLocationPtr& fromRevisionLocation,
                     const QRBSourceControlRevisionPtr& toRevision, std::uint64_t inclusionType,
                     std::int64_t maximumLogItems, const qrb::String& searchString, std::uint64_t searchType,
                     const qrb::String& progressIdentifier, Completion<LogItems> completionBlock) override;
  void historyOfWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy,
                            const QRBSourceControlRevisionPtr& fromRevision,
                            const QRBSourceControlRevisionPtr& toRevision, std::uint64_t inclusionType,
                            std::int64_t maximumLogItems, const qrb::String& searchString, std::uint64_t searchType,
                            const qrb::String& progressIdentifier, Completion<LogItems> completionBlock) override;

  void mergeBranch(const QRBSourceControlBranchPtr& branch, const QRBSourceControlWorkingCopyPtr& intoWorkingCopy,
                   Completion<> completionBlock) override;
  void forceUpdateWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy,
                              const QRBSourceControlRemoteRepositoryPtr& fromRepository,
                              Completion<> completionBlock) override;
  void currentLocationOfWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy,
                                    Completion<QRBSourceControlRevisionLocationPtr> completionBlock) override;
  void switchLocation(const QRBSourceControlRevisionLocationPtr& location,
                      const QRBSourceControlWorkingCopyPtr& ofWorkingCopy,
                      Completion<QRBSourceControlRevisionLocationPtr> completionBlock) override;
  void baseRevisionOfWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy,
                                 Completion<QRBSourceControlRevisionPtr> completionBlock) override;
  void upgradeWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy, const qrb::String& progressIdentifier,
                          Completion<> completionBlock) override;
  /// The repository's UUID.
  void identifierOfRepositoryForWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy,
                                            Completion<qrb::String> completionBlock) override;

  // Of a repository. Where no layout is given, or one that says too little, the one found on the server counts.

  void headRevisionOfRepository(const QRBSourceControlRepositoryPtr& repository,
                                Completion<QRBSourceControlRevisionPtr> completionBlock) override;
  void revisionOfLocation(const QRBSourceControlRevisionLocationPtr& location,
                          const QRBSourceControlRepositoryPtr& inRepository,
                          const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
                          Completion<QRBSourceControlRevisionPtr> completionBlock) override;
  void listSubpathsOfRepository(const QRBSourceControlRepositoryPtr& repository,
                                const QRBSourceControlPathLocationPtr& atPath,
                                Completion<std::vector<QRBSourceControlPathLocationPtr>> completionBlock) override;
  void listBranchesOfRepository(const QRBSourceControlRepositoryPtr& repository,
                                const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
                                Completion<Branches> completionBlock) override;
  void listTagsOfRepository(const QRBSourceControlRepositoryPtr& repository,
                            const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
                            Completion<std::vector<QRBSourceControlTagPtr>> completionBlock) override;
  void listLocksOfWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy, bool withRemoteLocks,
                              Completion<qrb::Dictionary> completionBlock) override;
  void parentBranchesOfBranch(const QRBSourceControlBranchPtr& branch,
                              const QRBSourceControlRepositoryPtr& inRepository,
                              const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
                              Completion<QRBSourceControlBranchPtr, Branches> completionBlock) override;
  void ancestorRevisionInRepository(const QRBSourceControlRepositoryPtr& repository,
                                    const QRBSourceControlBranchPtr& ofBranch,
                                    const QRBSourceControlBranchPtr& otherBranch,
                                    const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
                                    Completion<QRBSourceControlRevisionPtr> completionBlock) override;
  /// On the server at once, with a message that says so. Where no branch to begin at is given, it begins where the
  /// repository is named by: a working copy, or an address below the root; else at the primary branch.
  void addBranch(const QRBSourceControlBranchPtr& branch, const QRBSourceControlBranchPtr& fromBranch,
                 const QRBSourceControlRepositoryPtr& toRepository,
                 const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
                 Completion<QRBSourceControlBranchPtr> completionBlock) override;
  void removeBranch(const QRBSourceControlBranchPtr& branch, const QRBSourceControlRepositoryPtr& fromRepository,
                    const QRBSourceControlRemoteRepositoryPtr& andRemoteRepository,
                    const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
                    Completion<> completionBlock) override;
  void diffRepository(const QRBSourceControlRepositoryPtr& repository,
                      const QRBSourceControlRevisionLocationPtr& fromLocation,
                      const QRBSourceControlRevisionLocationPtr& againstLocation,
                      const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
                      Completion<qrb::Dictionary> completionBlock) override;
  void automaticallyDetectBranchAndTagLocationsForRepository(
      const QRBSourceControlRepositoryPtr& repository, const QRBSourceControlPathLocationPtr& fromPath,
      Completion<QRBSourceControlRevisionLocationPtr, QRBSourceControlBranchAndTagLocationsPtr> completionBlock)
      override;
  void createRepositoryAtFileURL(const qrb::URL& fileURL,
                                 Completion<QRBSourceControlRepositoryPtr> completionBlock) override;
  void repositoryURLRootForRepository(const QRBSourceControlRemoteRepositoryPtr& repository,
                                      Completion<qrb::URL, QRBSourceControlPathLocationPtr> completionBlock) override;
  void validateAuthenticationOfRemoteRepository(const QRBSourceControlRemoteRepositoryPtr& repository,
                                                const QRBSourceControlRevisionLocationPtr& location,
                                                const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
                                                Completion<> completionBlock) override;
  void createWorkingCopyFromRepository(const QRBSourceControlRemoteRepositoryPtr& repository,
                                       const QRBSourceControlRevisionLocationPtr& location,
                                       const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
                                       const qrb::URL& localAddress, const qrb::String& progressIdentifier,
                                       Completion<QRBSourceControlWorkingCopyPtr> completionBlock) override;

  // What Subversion has no notion of.

  void listRemoteBranchesOfRepository(const QRBSourceControlRepositoryPtr& repository,
                                      const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
                                      Completion<Branches, QRBSourceControlRemoteBranchesPtr> completionBlock) override;
  void listRemoteRepositoriesForRepository(
      const QRBSourceControlRepositoryPtr& repository,
      Completion<QRBSourceControlRemoteRepositoryPtr, QRBSourceControlRemoteRepositoriesPtr> completionBlock) override;
  void remoteBranchFromRepository(const QRBSourceControlRepositoryPtr& repository,
                                  const QRBSourceControlBranchPtr& forBranch,
                                  Completion<QRBSourceControlBranchPtr> completionBlock) override;
  void addRemoteRepository(const QRBSourceControlRemoteRepositoryPtr& remoteRepository, const qrb::String& withName,
                           const QRBSourceControlRepositoryPtr& toRepository, Completion<> completionBlock) override;
  void removeRemoteRepositoryNamed(const qrb::String& name, const QRBSourceControlRepositoryPtr& fromRepository,
                                   Completion<> completionBlock) override;
  void downloadUpdatesFromRemoteRepository(const QRBSourceControlRemoteRepositoryPtr& remoteRepository,
                                           const QRBSourceControlRepositoryPtr& toRepository,
                                           Completion<> completionBlock) override;
  void uploadCommitsToRemoteRepository(const QRBSourceControlRemoteRepositoryPtr& remoteRepository,
                                       const QRBSourceControlRepositoryPtr& fromLocalRepository,
                                       const QRBSourceControlBranchPtr& remoteBranch,
                                       Completion<> completionBlock) override;

 private:
  using Work = std::function<qrb::Error(SubversionSession& session)>;
  /// Work that changes a working copy, which is locked meanwhile and cleaned up if this process is killed.
  qrb::Error change(const QRBSourceControlWorkingCopyPtr& workingCopy, const Work& work) const;
  /// The same for some files of it, which work gets as absolute paths.
  qrb::Error changeFiles(
      const Files& files, const QRBSourceControlWorkingCopyPtr& workingCopy,
      const std::function<qrb::Error(SubversionSession& session, const std::vector<std::string>& paths)>& work) const;
  qrb::Error transfer(const Files& files, const Files& toFilePaths, const QRBSourceControlWorkingCopyPtr& workingCopy,
                      bool moves) const;
  /// Files of a request as absolute paths of the working copy.
  static qrb::Error resolve(const std::string& folder, const Files& files, std::vector<std::string>& paths);
  qrb::Error exportFile(SubversionSession& session, const SubversionTarget& target, const qrb::String& file,
                        const qrb::URL& toDirectory, qrb::URL& place) const;
  qrb::Error history(SubversionSession& session, SubversionHistoryRequest request,
                     const QRBSourceControlWorkingCopyPtr& workingCopy, const SubversionTarget& target,
                     const QRBSourceControlRevisionPtr& toRevision, const qrb::String& progressIdentifier,
                     LogItems& items);
  void sendProgress(QRBSourceControlProgressStatus status, double fraction, const qrb::String& text,
                    const qrb::String& identifier);
  int hostConnection() const { return host().connectionDescriptor(); }
  const QRBSourceControlSystemPtr& system();

  QRBSourceControlSystemPtr _system;
};
