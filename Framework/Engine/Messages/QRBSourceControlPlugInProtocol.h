#pragma once

#include <cstdint>
#include <vector>

#include "QRBSourceControlCallbacks.h"
#include "QRBSourceControlForward.h"
#include "QRBSourceControlMessage.h"

/// What a host asks of a plug-in, in the order in which the protocol lists it. Every request is answered exactly once.
namespace QRBSourceControlPlugInProtocol {

using qrb::Arguments;
using qrb::Dictionary;
using qrb::Message;
using qrb::OneWay;
using qrb::Reply;
using qrb::ReplyWithoutError;
using qrb::String;
using qrb::URL;

using Files = std::vector<String>;
using WorkingCopy = QRBSourceControlWorkingCopyPtr;
using Repository = QRBSourceControlRepositoryPtr;
using RemoteRepository = QRBSourceControlRemoteRepositoryPtr;
using Location = QRBSourceControlRevisionLocationPtr;
using Layout = QRBSourceControlBranchAndTagLocationsPtr;
using Branch = QRBSourceControlBranchPtr;
using Branches = std::vector<QRBSourceControlBranchPtr>;
using Revision = QRBSourceControlRevisionPtr;
using Path = QRBSourceControlPathLocationPtr;
using LogItems = std::vector<QRBSourceControlLogItemPtr>;
using WorkingCopies = std::vector<QRBSourceControlWorkingCopyPtr>;
using Statuses = QRBSourceControlPathStatusesPtr;
using BranchesByRemote = QRBSourceControlRemoteBranchesPtr;
using RemotesByName = QRBSourceControlRemoteRepositoriesPtr;

inline constexpr Message<Arguments<>, OneWay> operationsFinished{"operationsFinished"};
inline constexpr Message<Arguments<>, ReplyWithoutError<QRBSourceControlSystemPtr>> sourceControlSystem{
    "sourceControlSystemWithCompletionBlock:"};
inline constexpr Message<Arguments<URL>, Reply<String, std::uint64_t, String>> keychainNameFromURL{
    "keychainNameFromURL:completionBlock:"};
inline constexpr Message<Arguments<Files, bool>, ReplyWithoutError<WorkingCopies>> scanForWorkingCopiesInFolderPaths{
    "scanForWorkingCopiesInFolderPaths:traversingUp:completionBlock:"};
inline constexpr Message<Arguments<std::vector<URL>>, ReplyWithoutError<WorkingCopies>>
    scanForWorkingCopiesInPotentialWorkingCopies{"scanForWorkingCopiesInPotentialWorkingCopies:completionBlock:"};
inline constexpr Message<Arguments<WorkingCopy, bool>, Reply<Statuses, Statuses>> filesAndStatusOfWorkingCopy{
    "filesAndStatusOfWorkingCopy:withRemoteStatus:completionBlock:"};
inline constexpr Message<Arguments<Files, WorkingCopy>, Reply<>> addFiles{"addFiles:inWorkingCopy:completionBlock:"};
inline constexpr Message<Arguments<Files, WorkingCopy>, Reply<>> removeFiles{
    "removeFiles:inWorkingCopy:completionBlock:"};
inline constexpr Message<Arguments<Files, Files, WorkingCopy>, Reply<>> copyFiles{
    "copyFiles:toFilePaths:inWorkingCopy:completionBlock:"};
inline constexpr Message<Arguments<Files, Files, WorkingCopy>, Reply<>> moveFiles{
    "moveFiles:toFilePaths:inWorkingCopy:completionBlock:"};
inline constexpr Message<Arguments<String, bool, Dictionary, WorkingCopy>, Reply<>> createDirectory{
    "createDirectory:withIntermediateDirectories:attributes:inWorkingCopy:completionBlock:"};
inline constexpr Message<Arguments<Files, WorkingCopy>, Reply<>> discardChangesInFiles{
    "discardChangesInFiles:inWorkingCopy:completionBlock:"};
inline constexpr Message<Arguments<WorkingCopy>, Reply<>> discardAllChangesInWorkingCopy{
    "discardAllChangesInWorkingCopy:completionBlock:"};
inline constexpr Message<Arguments<Files, WorkingCopy>, Reply<>> markAsResolvedFiles{
    "markAsResolvedFiles:inWorkingCopy:completionBlock:"};
inline constexpr Message<Arguments<Files, WorkingCopy, String>, Reply<Revision>> commitFiles{
    "commitFiles:inWorkingCopy:message:completionBlock:"};
inline constexpr Message<Arguments<String, WorkingCopy, Location, URL>, Reply<URL>> exportFileFromRevisionLocation{
    "exportFile:inWorkingCopy:fromRevisionLocation:toDirectory:completionBlock:"};
inline constexpr Message<Arguments<String, WorkingCopy, Revision>, Reply<URL>> exportFileForParentOfRevision{
    "exportFile:inWorkingCopy:forParentOfRevision:completionBlock:"};
inline constexpr Message<Arguments<String, WorkingCopy, Location>, Reply<std::vector<QRBSourceControlBlameItemPtr>>>
    blameFile{"blameFile:inWorkingCopy:fromRevisionLocation:completionBlock:"};
inline constexpr Message<
    Arguments<String, WorkingCopy, Location, Revision, std::uint64_t, std::int64_t, String, std::uint64_t, String>,
    Reply<LogItems>>
    historyOfFile{
        "historyOfFile:inWorkingCopy:fromRevisionLocation:toRevision:inclusionType:maximumLogItems:searchString:"
        "searchType:progressIdentifier:completionBlock:"};
inline constexpr Message<Arguments<Branch, WorkingCopy>, Reply<>> mergeBranch{
    "mergeBranch:intoWorkingCopy:completionBlock:"};
inline constexpr Message<Arguments<WorkingCopy, RemoteRepository>, Reply<>> forceUpdateWorkingCopy{
    "forceUpdateWorkingCopy:fromRepository:completionBlock:"};
inline constexpr Message<
    Arguments<WorkingCopy, Revision, Revision, std::uint64_t, std::int64_t, String, std::uint64_t, String>,
    Reply<LogItems>>
    historyOfWorkingCopy{
        "historyOfWorkingCopy:fromRevision:toRevision:inclusionType:maximumLogItems:searchString:searchType:"
        "progressIdentifier:completionBlock:"};
inline constexpr Message<Arguments<WorkingCopy>, Reply<Location>> currentLocationOfWorkingCopy{
    "currentLocationOfWorkingCopy:completionBlock:"};
inline constexpr Message<Arguments<Location, WorkingCopy>, Reply<Location>> switchLocation{
    "switchLocation:ofWorkingCopy:completionBlock:"};
inline constexpr Message<Arguments<WorkingCopy>, Reply<Revision>> baseRevisionOfWorkingCopy{
    "baseRevisionOfWorkingCopy:completionBlock:"};
inline constexpr Message<Arguments<WorkingCopy, String>, Reply<>> upgradeWorkingCopy{
    "upgradeWorkingCopy:progressIdentifier:completionBlock:"};
inline constexpr Message<Arguments<WorkingCopy>, Reply<String>> identifierOfRepositoryForWorkingCopy{
    "identifierOfRepositoryForWorkingCopy:completionBlock:"};
inline constexpr Message<Arguments<Repository>, Reply<Revision>> headRevisionOfRepository{
    "headRevisionOfRepository:completionBlock:"};
inline constexpr Message<Arguments<Location, Repository, Layout>, Reply<Revision>> revisionOfLocation{
    "revisionOfLocation:inRepository:branchAndTagLocations:completionBlock:"};
inline constexpr Message<Arguments<Repository, Path>, Reply<std::vector<Path>>> listSubpathsOfRepository{
    "listSubpathsOfRepository:atPath:completionBlock:"};
inline constexpr Message<Arguments<Repository, Layout>, Reply<Branches>> listBranchesOfRepository{
    "listBranchesOfRepository:branchAndTagLocations:completionBlock:"};
inline constexpr Message<Arguments<Repository, Layout>, Reply<Branches, BranchesByRemote>>
    listRemoteBranchesOfRepository{"listRemoteBranchesOfRepository:branchAndTagLocations:completionBlock:"};
inline constexpr Message<Arguments<Branch, Repository, Layout>, Reply<Branch, Branches>> parentBranchesOfBranch{
    "parentBranchesOfBranch:inRepository:branchAndTagLocations:completionBlock:"};
inline constexpr Message<Arguments<Repository, Branch, Branch, Layout>, Reply<Revision>> ancestorRevisionInRepository{
    "ancestorRevisionInRepository:ofBranch:otherBranch:branchAndTagLocations:completionBlock:"};
inline constexpr Message<Arguments<Branch, Branch, Repository, Layout>, Reply<Branch>> addBranch{
    "addBranch:fromBranch:toRepository:branchAndTagLocations:completionBlock:"};
inline constexpr Message<Arguments<Branch, Repository, RemoteRepository, Layout>, Reply<>> removeBranch{
    "removeBranch:fromRepository:andRemoteRepository:branchAndTagLocations:completionBlock:"};
inline constexpr Message<Arguments<Repository, Location, Location, Layout>, Reply<Dictionary>> diffRepository{
    "diffRepository:fromLocation:againstLocation:branchAndTagLocations:completionBlock:"};
inline constexpr Message<Arguments<Repository>, Reply<RemoteRepository, RemotesByName>>
    listRemoteRepositoriesForRepository{"listRemoteRepositoriesForRepository:completionBlock:"};
inline constexpr Message<Arguments<Repository, Branch>, Reply<Branch>> remoteBranchFromRepository{
    "remoteBranchFromRepository:forBranch:completionBlock:"};
inline constexpr Message<Arguments<RemoteRepository, String, Repository>, Reply<>> addRemoteRepository{
    "addRemoteRepository:withName:toRepository:completionBlock:"};
inline constexpr Message<Arguments<String, Repository>, Reply<>> removeRemoteRepositoryNamed{
    "removeRemoteRepositoryNamed:fromRepository:completionBlock:"};
inline constexpr Message<Arguments<Repository, Path>, Reply<Location, Layout>>
    automaticallyDetectBranchAndTagLocationsForRepository{
        "automaticallyDetectBranchAndTagLocationsForRepository:fromPath:completionBlock:"};
inline constexpr Message<Arguments<URL>, Reply<Repository>> createRepositoryAtFileURL{
    "createRepositoryAtFileURL:completionBlock:"};
inline constexpr Message<Arguments<RemoteRepository>, Reply<URL, Path>> repositoryURLRootForRepository{
    "repositoryURLRootForRepository:completionBlock:"};
inline constexpr Message<Arguments<RemoteRepository, Repository>, Reply<>> downloadUpdatesFromRemoteRepository{
    "downloadUpdatesFromRemoteRepository:toRepository:completionBlock:"};
inline constexpr Message<Arguments<RemoteRepository, Repository, Branch>, Reply<>> uploadCommitsToRemoteRepository{
    "uploadCommitsToRemoteRepository:fromLocalRepository:remoteBranch:completionBlock:"};
inline constexpr Message<Arguments<RemoteRepository, Location, Layout>, Reply<>>
    validateAuthenticationOfRemoteRepository{
        "validateAuthenticationOfRemoteRepository:location:branchAndTagLocations:completionBlock:"};
inline constexpr Message<Arguments<RemoteRepository, Location, Layout, URL, String>, Reply<WorkingCopy>>
    createWorkingCopyFromRepository{
        "createWorkingCopyFromRepository:location:branchAndTagLocations:localAddress:progressIdentifier:"
        "completionBlock:"};

// Added later; see Served::whereListed.

inline constexpr Message<Arguments<Repository, Layout>, Reply<std::vector<QRBSourceControlTagPtr>>>
    listTagsOfRepository{"listTagsOfRepository:branchAndTagLocations:completionBlock:", qrb::Served::whereListed};

}  // namespace QRBSourceControlPlugInProtocol

/// What a plug-in tells the host while it works. Both are one-way; the progress identifier is the one that the request
/// carried, and a host drops what it cannot attribute to a running request.
namespace QRBSourceControlPlugInCallbackProtocol {

/// Status code (QRBSourceControlProgressStatus), progress dictionary, progress identifier.
inline constexpr qrb::Message<qrb::Arguments<std::int64_t, qrb::Dictionary, qrb::String>, qrb::OneWay> progressStatus{
    "progressStatus:withDictionary:progressIdentifier:"};
/// This batch of log items, progress dictionary, progress identifier.
inline constexpr qrb::Message<qrb::Arguments<std::vector<QRBSourceControlLogItemPtr>, qrb::Dictionary, qrb::String>,
                              qrb::OneWay>
    incrementalLogStatus{"incrementalLogStatus:info:progressIdentifier:"};

}  // namespace QRBSourceControlPlugInCallbackProtocol

/// What a progress report says is going on; selects the text when the report brings none of its own.
enum class QRBSourceControlProgressStatus : std::int64_t {
  authenticating = 0,
  transferring = 1,
  copying = 2,
  transferringMore = 3,
  upgrading = 4,
};

/// Keys of a progress dictionary.
/// Number: the fraction done, from 0 to 1.
inline constexpr const char* QRBSourceControlProgressValue = "org.qrb.SourceControlProgressValue";
/// String: shown to the user.
inline constexpr const char* QRBSourceControlProgressHumanReadableString =
    "org.qrb.SourceControlProgressHumanReadableString";
/// A partial result; the host does not read it.
inline constexpr const char* QRBSourceControlProgressResult = "org.qrb.SourceControlProgressResult";
