#pragma once

#include "GitErrors.h"
#include "GitTool.h"
#include "QRBSourceControlPlugInPrimary.h"

struct GitHistoryRequest;

/// Serves a host's requests on Git repositories by running git, once per request wherever that gives the answer.
class GitPlugIn : public QRBSourceControlPlugInPrimary {
 public:
  void sourceControlSystem(Answer<QRBSourceControlSystemPtr> completionBlock) override;
  /// A candidate is the root of a working copy or its ".git". None is opened with git: what it says of a working copy
  /// that it will not work with reaches the user with the first request.
  void scanForWorkingCopiesInPotentialWorkingCopies(const std::vector<qrb::URL>& potentialWorkingCopies,
                                                    Answer<WorkingCopies> completionBlock) override;
  /// Remote status compares with the upstream branch as last fetched, and is empty where there is none.
  void filesAndStatusOfWorkingCopy(
      const QRBSourceControlWorkingCopyPtr& workingCopy, bool withRemoteStatus,
      Completion<QRBSourceControlPathStatusesPtr, QRBSourceControlPathStatusesPtr> completionBlock) override;
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
  /// The branch checked out, pinned to its newest revision where it has one; of a detached HEAD the bare revision.
  void currentLocationOfWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy,
                                    Completion<QRBSourceControlRevisionLocationPtr> completionBlock) override;
  void baseRevisionOfWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy,
                                 Completion<QRBSourceControlRevisionPtr> completionBlock) override;
  /// Absent, without an error, where a shallow or empty history does not hold the commit that would tell.
  void identifierOfRepositoryForWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy,
                                            Completion<qrb::String> completionBlock) override;
  void headRevisionOfRepository(const QRBSourceControlRepositoryPtr& repository,
                                Completion<QRBSourceControlRevisionPtr> completionBlock) override;
  /// Each pinned to its newest revision, in the order of the names.
  void listBranchesOfRepository(const QRBSourceControlRepositoryPtr& repository,
                                const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
                                Completion<Branches> completionBlock) override;
  /// As last fetched: all, and the same by the name of their remote.
  void listRemoteBranchesOfRepository(const QRBSourceControlRepositoryPtr& repository,
                                      const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
                                      Completion<Branches, QRBSourceControlRemoteBranchesPtr> completionBlock) override;

 private:
  GitTool toolFor(const QRBSourceControlWorkingCopyPtr& workingCopy) const;
  GitTool toolFor(const QRBSourceControlRepositoryPtr& repository) const;
  static qrb::Error errorFor(const GitOutcome& outcome, const QRBSourceControlWorkingCopyPtr& workingCopy);
  static qrb::Error errorFor(const GitOutcome& outcome, const QRBSourceControlRepositoryPtr& repository);
  qrb::Error statusOf(const QRBSourceControlWorkingCopyPtr& workingCopy, QRBSourceControlPathStatusesPtr& statuses);
  qrb::Error remoteStatusOf(const QRBSourceControlWorkingCopyPtr& workingCopy,
                            QRBSourceControlPathStatusesPtr& statuses);
  void history(const GitHistoryRequest& request, const QRBSourceControlWorkingCopyPtr& workingCopy,
               const qrb::String& progressIdentifier, const Completion<LogItems>& completionBlock);
  const QRBSourceControlSystemPtr& system();

  QRBSourceControlSystemPtr _system;
};
