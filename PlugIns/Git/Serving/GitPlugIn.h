#pragma once

#include <span>

#include "GitErrors.h"
#include "GitProtections.h"
#include "GitTool.h"
#include "GitWorkingCopyLock.h"
#include "QRBSourceControlPlugInPrimary.h"
#include "Result.h"

struct GitHistoryRequest;
struct GitPushPlan;
struct GitRemote;
class GitNetworkRequest;
class GitProgressReader;
class GitRemoteTool;

/// Serves a host's requests on Git repositories by running git, once per request wherever that gives the answer.
class GitPlugIn : public QRBSourceControlPlugInPrimary {
 public:
  explicit GitPlugIn(GitProtections protections = {}) : _protections(protections) {}

  void sourceControlSystem(Answer<QRBSourceControlSystemPtr> completionBlock) override;
  /// A candidate is the root of a working copy or its ".git". None is opened with git: what it says of a working copy
  /// that it will not work with reaches the user with the first request.
  void scanForWorkingCopiesInPotentialWorkingCopies(const std::vector<qrb::URL>& potentialWorkingCopies,
                                                    Answer<WorkingCopies> completionBlock) override;
  /// Remote status compares with the upstream branch as last fetched, and is empty where there is none.
  void filesAndStatusOfWorkingCopy(
      const QRBSourceControlWorkingCopyPtr& workingCopy, bool withRemoteStatus,
      Completion<QRBSourceControlPathStatusesPtr, QRBSourceControlPathStatusesPtr> completionBlock) override;

  // Files are named by path from the root of the working copy or by absolute path; an empty list is nothing to do,
  // unless said otherwise. See GitTransfers.h and GitDiscarding.h for what is left alone and what is undone.

  /// Stages files as they are on disk. What is ignored is refused.
  void addFiles(const Files& files, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                Completion<> completionBlock) override;
  /// From disk too. What holds changes that no revision has is refused, and then nothing is removed.
  void removeFiles(const Files& files, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                   Completion<> completionBlock) override;
  void copyFiles(const Files& files, const Files& toFilePaths, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                 Completion<> completionBlock) override;
  void moveFiles(const Files& files, const Files& toFilePaths, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                 Completion<> completionBlock) override;
  /// Makes it on disk only, since git tracks no folders. The one attribute that counts is "posixPermissions", a number.
  /// With intermediate directories a folder that is there is no error.
  void createDirectory(const qrb::String& path, bool withIntermediateDirectories, const qrb::Dictionary& attributes,
                       const QRBSourceControlWorkingCopyPtr& inWorkingCopy, Completion<> completionBlock) override;
  void discardChangesInFiles(const Files& files, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                             Completion<> completionBlock) override;
  void discardAllChangesInWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy,
                                      Completion<> completionBlock) override;
  /// Stages those of the files that are in conflict as they are on disk, or as gone. Others are left alone.
  void markAsResolvedFiles(const Files& files, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                           Completion<> completionBlock) override;

  /// See gitCommit(). What hooks write goes to this process's standard error.
  void commitFiles(const Files& files, const QRBSourceControlWorkingCopyPtr& inWorkingCopy, const qrb::String& message,
                   Completion<QRBSourceControlRevisionPtr> completionBlock) override;
  /// See gitExportFile(). From the base revision where no location is given, to a new temporary folder where none is.
  void exportFileFromRevisionLocation(const qrb::String& file, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                                      const QRBSourceControlRevisionLocationPtr& fromRevisionLocation,
                                      const qrb::URL& toDirectory, Completion<qrb::URL> completionBlock) override;
  /// To a new temporary folder.
  void exportFileForParentOfRevision(const qrb::String& file, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                                     const QRBSourceControlRevisionPtr& forParentOfRevision,
                                     Completion<qrb::URL> completionBlock) override;
  /// In the order of the lines. Without a location, the file on disk. Log items are complete but for their paths.
  void blameFile(const qrb::String& file, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                 const QRBSourceControlRevisionLocationPtr& fromRevisionLocation,
                 Completion<std::vector<QRBSourceControlBlameItemPtr>> completionBlock) override;
  /// The newest revision of the branch, whatever pins it. A merge that ends in conflict is an error and stays in the
  /// working copy, to be resolved and committed or discarded.
  void mergeBranch(const QRBSourceControlBranchPtr& branch, const QRBSourceControlWorkingCopyPtr& intoWorkingCopy,
                   Completion<> completionBlock) override;
  /// For a remote branch, the local one of that name is checked out, or made to follow it. A new branch is made at the
  /// revision that pins it, or where the working copy is. Tags and revisions are checked out without a branch. The
  /// reply is where the working copy is now.
  void switchLocation(const QRBSourceControlRevisionLocationPtr& location,
                      const QRBSourceControlWorkingCopyPtr& ofWorkingCopy,
                      Completion<QRBSourceControlRevisionLocationPtr> completionBlock) override;

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
  /// The HEAD of a remote repository is asked of its server, as its branches and the revisions of its locations are.
  /// What a revision pins is taken as it is then, since no server tells whether it has it.
  void headRevisionOfRepository(const QRBSourceControlRepositoryPtr& repository,
                                Completion<QRBSourceControlRevisionPtr> completionBlock) override;
  /// Each pinned to its newest revision, in the order of the names.
  void listTagsOfRepository(const QRBSourceControlRepositoryPtr& repository,
                            const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
                            Completion<std::vector<QRBSourceControlTagPtr>> completionBlock) override;
  void listBranchesOfRepository(const QRBSourceControlRepositoryPtr& repository,
                                const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
                                Completion<Branches> completionBlock) override;
  /// As last fetched: all, and the same by the name of their remote.
  void listRemoteBranchesOfRepository(const QRBSourceControlRepositoryPtr& repository,
                                      const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
                                      Completion<Branches, QRBSourceControlRemoteBranchesPtr> completionBlock) override;
  /// The location is a branch or tag, a revision in any form that git reads (abbreviations too), or pinned by one.
  void revisionOfLocation(const QRBSourceControlRevisionLocationPtr& location,
                          const QRBSourceControlRepositoryPtr& inRepository,
                          const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
                          Completion<QRBSourceControlRevisionPtr> completionBlock) override;
  /// See gitFindParentBranches(): the likeliest, and all in that order. Null and none for a main branch.
  void parentBranchesOfBranch(const QRBSourceControlBranchPtr& branch,
                              const QRBSourceControlRepositoryPtr& inRepository,
                              const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
                              Completion<QRBSourceControlBranchPtr, Branches> completionBlock) override;
  void ancestorRevisionInRepository(const QRBSourceControlRepositoryPtr& repository,
                                    const QRBSourceControlBranchPtr& ofBranch,
                                    const QRBSourceControlBranchPtr& otherBranch,
                                    const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
                                    Completion<QRBSourceControlRevisionPtr> completionBlock) override;
  /// From HEAD where no branch to start at is given. Made from a remote branch it follows that one, unless the user has
  /// told git otherwise. With a remote's name it is made there, with what the user has set up to log in.
  void addBranch(const QRBSourceControlBranchPtr& branch, const QRBSourceControlBranchPtr& fromBranch,
                 const QRBSourceControlRepositoryPtr& toRepository,
                 const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
                 Completion<QRBSourceControlBranchPtr> completionBlock) override;
  /// Merged or not: whether its commits are elsewhere is for the host to ask before. With a remote repository it is
  /// removed there; of a remote branch without one only what is known of it here.
  void removeBranch(const QRBSourceControlBranchPtr& branch, const QRBSourceControlRepositoryPtr& fromRepository,
                    const QRBSourceControlRemoteRepositoryPtr& andRemoteRepository,
                    const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
                    Completion<> completionBlock) override;
  /// Null, without an error, for a branch that follows none of a remote.
  void remoteBranchFromRepository(const QRBSourceControlRepositoryPtr& repository,
                                  const QRBSourceControlBranchPtr& forBranch,
                                  Completion<QRBSourceControlBranchPtr> completionBlock) override;
  /// What has to be done to `fromLocation` to get `againstLocation`: see gitDiffDictionary(). Either may be the
  /// uncommitted state of the working copy, or the empty state before the first revision.
  void diffRepository(const QRBSourceControlRepositoryPtr& repository,
                      const QRBSourceControlRevisionLocationPtr& fromLocation,
                      const QRBSourceControlRevisionLocationPtr& againstLocation,
                      const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
                      Completion<qrb::Dictionary> completionBlock) override;
  /// The primary one is that which the current branch follows, else "origin", else the first. Paths of this machine
  /// come as file URLs. All have the repository's own identifier.
  void listRemoteRepositoriesForRepository(
      const QRBSourceControlRepositoryPtr& repository,
      Completion<QRBSourceControlRemoteRepositoryPtr, QRBSourceControlRemoteRepositoriesPtr> completionBlock) override;
  /// A password in the URL is not stored.
  void addRemoteRepository(const QRBSourceControlRemoteRepositoryPtr& remoteRepository, const qrb::String& withName,
                           const QRBSourceControlRepositoryPtr& toRepository, Completion<> completionBlock) override;
  /// With what was fetched of its branches.
  void removeRemoteRepositoryNamed(const qrb::String& name, const QRBSourceControlRepositoryPtr& fromRepository,
                                   Completion<> completionBlock) override;
  /// The server, the port and the user. All are absent for addresses of this machine.
  void keychainNameFromURL(const qrb::URL& url,
                           Completion<qrb::String, std::uint64_t, qrb::String> completionBlock) override;
  /// Makes the folder and those above it too. The first branch is the one that the user has configured, else "main".
  void createRepositoryAtFileURL(const qrb::URL& fileURL,
                                 Completion<QRBSourceControlRepositoryPtr> completionBlock) override;
  /// The folders themselves, all below them and, if asked for, those above. Links are not followed.
  void scanForWorkingCopiesInFolderPaths(const Files& folderPaths, bool traversingUp,
                                         Answer<WorkingCopies> completionBlock) override;

  // What git has no notion of.

  void upgradeWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy, const qrb::String& progressIdentifier,
                          Completion<> completionBlock) override;
  void listSubpathsOfRepository(const QRBSourceControlRepositoryPtr& repository,
                                const QRBSourceControlPathLocationPtr& atPath,
                                Completion<std::vector<QRBSourceControlPathLocationPtr>> completionBlock) override;
  void automaticallyDetectBranchAndTagLocationsForRepository(
      const QRBSourceControlRepositoryPtr& repository, const QRBSourceControlPathLocationPtr& fromPath,
      Completion<QRBSourceControlRevisionLocationPtr, QRBSourceControlBranchAndTagLocationsPtr> completionBlock)
      override;
  void repositoryURLRootForRepository(const QRBSourceControlRemoteRepositoryPtr& repository,
                                      Completion<qrb::URL, QRBSourceControlPathLocationPtr> completionBlock) override;

  // Remote repositories: see GitRemoteTool for how they are reached. The branches of a remote that is configured are
  // kept where its configuration says.

  /// Fetches from a remote that the repository has; submodules are left alone. Progress goes to the process's own
  /// request, since the message brings no identifier.
  void downloadUpdatesFromRemoteRepository(const QRBSourceControlRemoteRepositoryPtr& remoteRepository,
                                           const QRBSourceControlRepositoryPtr& toRepository,
                                           Completion<> completionBlock) override;
  /// Which branch is sent, gitPlanPush() says. A branch that followed none follows the remote one from then on. It is
  /// an error that there was nothing to send.
  void uploadCommitsToRemoteRepository(const QRBSourceControlRemoteRepositoryPtr& remoteRepository,
                                       const QRBSourceControlRepositoryPtr& fromLocalRepository,
                                       const QRBSourceControlBranchPtr& remoteBranch,
                                       Completion<> completionBlock) override;
  /// Fetches, and merges (or rebases, where the user has set that up) what the branch checked out follows, else the
  /// branch of the same name. Local changes stay; where they are in the way nothing changes but what is known of the
  /// remote. With conflicts the working copy is left for the user to resolve them.
  void forceUpdateWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy,
                              const QRBSourceControlRemoteRepositoryPtr& fromRepository,
                              Completion<> completionBlock) override;
  /// A remote does not tell whether it has a bare revision, so that is not looked at.
  void validateAuthenticationOfRemoteRepository(const QRBSourceControlRemoteRepositoryPtr& repository,
                                                const QRBSourceControlRevisionLocationPtr& location,
                                                const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
                                                Completion<> completionBlock) override;
  /// The working copy appears whole or not at all. A branch or tag that a revision pins is checked out at that
  /// revision: the branch as such, the tag as the revision. Submodules are left for git to fetch.
  void createWorkingCopyFromRepository(const QRBSourceControlRemoteRepositoryPtr& repository,
                                       const QRBSourceControlRevisionLocationPtr& location,
                                       const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
                                       const qrb::URL& localAddress, const qrb::String& progressIdentifier,
                                       Completion<QRBSourceControlWorkingCopyPtr> completionBlock) override;

 private:
  /// What a remote repository, which is on no disk of this machine, says itself.
  qrb::Error listRemote(const QRBSourceControlRemoteRepositoryPtr& repository, const std::string& refs,
                        std::string& output) const;
  /// Asks a server at an address without a repository whether it lets in who asks.
  qrb::Error validateServer(const QRBSourceControlRemoteRepositoryPtr& repository) const;
  void headRevisionOfRemote(const QRBSourceControlRemoteRepositoryPtr& repository,
                            const Completion<QRBSourceControlRevisionPtr>& completionBlock);
  void revisionOfRemoteLocation(const QRBSourceControlRevisionLocationPtr& location,
                                const QRBSourceControlRemoteRepositoryPtr& repository,
                                const Completion<QRBSourceControlRevisionPtr>& completionBlock);
  void listBranchesOfRemote(const QRBSourceControlRemoteRepositoryPtr& repository,
                            const Completion<Branches>& completionBlock);
  /// For a request that changes the folder and its repository and nothing else: see GitTool::setChanging().
  GitTool toolAt(std::string folder) const;
  template <class Place>
  GitTool toolFor(const Place& place) const {
    return toolAt(folderOf(place));
  }
  /// For a request that does nothing but look: see GitTool::setLooking().
  template <class Place>
  GitTool lookAt(const Place& place, GitLooking looking = {}) const {
    GitTool tool = toolFor(place);
    tool.setLooking(std::move(looking));
    return tool;
  }
  /// The path on this machine; empty for every other.
  static std::string folderOf(const QRBSourceControlRepositoryPtr& repository);
  static std::string folderOf(const QRBSourceControlWorkingCopyPtr& workingCopy);
  /// To be held while a request changes the working copy.
  GitWorkingCopyLock lockOn(const QRBSourceControlWorkingCopyPtr& workingCopy) const;
  /// Does work that changes a working copy, given by its root, which it locks meanwhile.
  GitOutcome change(const QRBSourceControlWorkingCopyPtr& workingCopy,
                    const std::function<GitOutcome(const GitTool& tool, const std::string& root)>& work) const;
  static qrb::Error errorFor(const GitOutcome& outcome, const QRBSourceControlWorkingCopyPtr& workingCopy);
  static qrb::Error errorFor(const GitOutcome& outcome, const QRBSourceControlRepositoryPtr& repository);
  /// The full object names of the commits that the locations stand for, or the error for the first that is not there.
  static qrb::Result<std::vector<std::string>> resolve(const GitTool& tool,
                                                       const QRBSourceControlRepositoryPtr& repository,
                                                       std::span<const QRBSourceControlRevisionLocationPtr> locations);
  static qrb::Result<std::vector<GitRemote>> listRemotes(const GitTool& tool,
                                                         const QRBSourceControlRepositoryPtr& repository);
  qrb::Result<QRBSourceControlBranchPtr> addRemoteBranch(const QRBSourceControlBranchPtr& branch,
                                                         const QRBSourceControlRevisionLocationPtr& from,
                                                         const QRBSourceControlRepositoryPtr& toRepository);
  qrb::Error removeRemoteBranch(const QRBSourceControlBranchPtr& branch,
                                const QRBSourceControlRepositoryPtr& fromRepository,
                                const QRBSourceControlRemoteRepositoryPtr& remoteRepository);
  /// The error of a command that reached a remote: what failed here is told of the repository here.
  static qrb::Error errorFor(const GitOutcome& outcome, GitNetworkRequest& request,
                             const QRBSourceControlRepositoryPtr& repository);
  /// For a command's error output: tells the host how far it is. Without an identifier nobody is told.
  GitTool::Output reportProgress(GitProgressReader& reader, const qrb::String& identifier);
  /// The fraction never goes back.
  void sendProgress(QRBSourceControlProgressStatus status, double fraction, const qrb::String& text,
                    const qrb::String& identifier);
  qrb::Error push(GitNetworkRequest& request, const GitPushPlan& plan, const QRBSourceControlRepositoryPtr& repository);
  qrb::Error update(GitNetworkRequest& request, const std::string& branch,
                    const QRBSourceControlWorkingCopyPtr& workingCopy);
  qrb::Error cloneInto(GitRemoteTool& remote, const std::string& folder,
                       const QRBSourceControlRevisionLocationPtr& location, const qrb::String& progressIdentifier);
  qrb::Result<QRBSourceControlPathStatusesPtr> statusOf(const QRBSourceControlWorkingCopyPtr& workingCopy);
  qrb::Result<QRBSourceControlPathStatusesPtr> remoteStatusOf(const QRBSourceControlWorkingCopyPtr& workingCopy);
  void history(const GitHistoryRequest& request, const QRBSourceControlWorkingCopyPtr& workingCopy,
               const qrb::String& progressIdentifier, const Completion<LogItems>& completionBlock);
  const QRBSourceControlSystemPtr& system();

  const GitProtections _protections;
  QRBSourceControlSystemPtr _system;
};
