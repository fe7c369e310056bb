// Every request that a host makes of a plug-in, each declared once. From these rows follow the constants of the
// protocol, the base class's functions and what they do where nobody overrides them, a plug-in's dispatch, the words
// that people are told, most of the manager's functions, and the tests. Whoever includes this file says before what is
// made of a row, by defining what he wants of
//
//   QRB_MESSAGE(name, selector, line, words, parameters, reply)
//     The manager asks it in a way of its own: a discovery, a scan, or what QRBSourceControlManagerRequests.cpp lists.
//   QRB_REQUEST(name, selector, line, words, subject, parameters, arguments, reply)
//     The manager has a function of that name and these parameters. `subject` names the system to ask, and is what a
//     failure handler is told of; `arguments` are the parameters as they are sent.
//   QRB_ADDED_REQUEST(name, selector, words, subject, parameters, arguments, reply)
//     The same for a request that was added later and is sent only to plug-ins whose descriptor lists it.
//
// What is not defined falls back to the kind above it, the first one to nothing; all are undefined again at the end.
// `line` is told with the programming error of not overriding a function. `words` say what a request does, as in "Snap
// does not support merging". A reply of the kind Answer cannot fail. The rows are in the order of the protocol's page.

#ifndef QRB_MESSAGE
#define QRB_MESSAGE(...)
#endif
#ifndef QRB_REQUEST
#define QRB_REQUEST(name, selector, line, words, subject, parameters, arguments, ...) \
  QRB_MESSAGE(name, selector, line, words, parameters, __VA_ARGS__)
#endif
#ifndef QRB_ADDED_REQUEST
#define QRB_ADDED_REQUEST(name, selector, words, subject, parameters, arguments, ...) \
  QRB_REQUEST(name, selector, 0, words, subject, parameters, arguments, __VA_ARGS__)
#endif
// For use as `QRB_BEFORE_COMPLETION parameters` and `QRB_WITHOUT_PARENTHESES arguments`.
#define QRB_BEFORE_COMPLETION(...) __VA_ARGS__ __VA_OPT__(, )
#define QRB_WITHOUT_PARENTHESES(...) __VA_ARGS__

// clang-format off

// Requests about the plug-in itself

/// What the plug-in is and can do.
QRB_MESSAGE(sourceControlSystem, "sourceControlSystemWithCompletionBlock:",
    172, nullptr,
    (), Answer<QRBSourceControlSystemPtr>)

/// Name, protocol and account of the keychain entry for the address.
QRB_MESSAGE(keychainNameFromURL, "keychainNameFromURL:completionBlock:",
    176, localizable("naming credentials"),
    (const qrb::URL& url), Completion<qrb::String, std::uint64_t, qrb::String>)

/// For systems whose working copies no folder name marks.
QRB_MESSAGE(scanForWorkingCopiesInFolderPaths, "scanForWorkingCopiesInFolderPaths:traversingUp:completionBlock:",
    180, localizable("looking for working copies"),
    (const Files& folderPaths, bool traversingUp), Answer<WorkingCopies>)

/// The working copies of this system among the candidates.
QRB_MESSAGE(scanForWorkingCopiesInPotentialWorkingCopies,
    "scanForWorkingCopiesInPotentialWorkingCopies:completionBlock:",
    184, localizable("looking for working copies"),
    (const std::vector<qrb::URL>& potentialWorkingCopies), Answer<WorkingCopies>)

// On a working copy. Paths are relative to its root.

/// Local statuses by path, and remote ones when they are asked for.
QRB_REQUEST(filesAndStatusOfWorkingCopy, "filesAndStatusOfWorkingCopy:withRemoteStatus:completionBlock:",
    188, localizable("status"), workingCopy,
    (const QRBSourceControlWorkingCopyPtr& workingCopy, bool withRemoteStatus),
    (workingCopy, withRemoteStatus), Completion<QRBSourceControlPathStatusesPtr, QRBSourceControlPathStatusesPtr>)

// These change the working copy. Its cached status stays as it was, and what the tools had done before a failure or a
// cancellation stays done.

QRB_REQUEST(addFiles, "addFiles:inWorkingCopy:completionBlock:",
    192, localizable("adding files"), inWorkingCopy,
    (const Files& files, const QRBSourceControlWorkingCopyPtr& inWorkingCopy), (files, inWorkingCopy), Completion<>)

QRB_REQUEST(removeFiles, "removeFiles:inWorkingCopy:completionBlock:",
    196, localizable("removing files"), inWorkingCopy,
    (const Files& files, const QRBSourceControlWorkingCopyPtr& inWorkingCopy), (files, inWorkingCopy), Completion<>)

QRB_REQUEST(copyFiles, "copyFiles:toFilePaths:inWorkingCopy:completionBlock:",
    200, localizable("copying files"), inWorkingCopy,
    (const Files& files, const Files& toFilePaths, const QRBSourceControlWorkingCopyPtr& inWorkingCopy),
    (files, toFilePaths, inWorkingCopy), Completion<>)

QRB_REQUEST(moveFiles, "moveFiles:toFilePaths:inWorkingCopy:completionBlock:",
    204, localizable("moving files"), inWorkingCopy,
    (const Files& files, const Files& toFilePaths, const QRBSourceControlWorkingCopyPtr& inWorkingCopy),
    (files, toFilePaths, inWorkingCopy), Completion<>)

QRB_REQUEST(createDirectory, "createDirectory:withIntermediateDirectories:attributes:inWorkingCopy:completionBlock:",
    208, localizable("making folders"), inWorkingCopy,
    (const qrb::String& path, bool withIntermediateDirectories, const qrb::Dictionary& attributes,
     const QRBSourceControlWorkingCopyPtr& inWorkingCopy),
    (path, withIntermediateDirectories, attributes, inWorkingCopy), Completion<>)

QRB_REQUEST(discardChangesInFiles, "discardChangesInFiles:inWorkingCopy:completionBlock:",
    212, localizable("discarding changes"), inWorkingCopy,
    (const Files& files, const QRBSourceControlWorkingCopyPtr& inWorkingCopy), (files, inWorkingCopy), Completion<>)

QRB_REQUEST(discardAllChangesInWorkingCopy, "discardAllChangesInWorkingCopy:completionBlock:",
    216, localizable("discarding changes"), workingCopy,
    (const QRBSourceControlWorkingCopyPtr& workingCopy), (workingCopy), Completion<>)

QRB_REQUEST(markAsResolvedFiles, "markAsResolvedFiles:inWorkingCopy:completionBlock:",
    220, localizable("marking conflicts as resolved"), inWorkingCopy,
    (const Files& files, const QRBSourceControlWorkingCopyPtr& inWorkingCopy), (files, inWorkingCopy), Completion<>)

/// The revision that the commit made.
QRB_REQUEST(commitFiles, "commitFiles:inWorkingCopy:message:completionBlock:",
    224, localizable("committing"), inWorkingCopy,
    (const Files& files, const QRBSourceControlWorkingCopyPtr& inWorkingCopy, const qrb::String& message),
    (files, inWorkingCopy, message), Completion<QRBSourceControlRevisionPtr>)

// Requests about files and their history

/// Where the file was written.
QRB_REQUEST(exportFileFromRevisionLocation,
    "exportFile:inWorkingCopy:fromRevisionLocation:toDirectory:completionBlock:",
    228, localizable("exporting files"), inWorkingCopy,
    (const qrb::String& file, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
     const QRBSourceControlRevisionLocationPtr& fromRevisionLocation, const qrb::URL& toDirectory),
    (file, inWorkingCopy, fromRevisionLocation, toDirectory), Completion<qrb::URL>)

/// Where the file was written.
QRB_REQUEST(exportFileForParentOfRevision, "exportFile:inWorkingCopy:forParentOfRevision:completionBlock:",
    232, localizable("exporting files"), inWorkingCopy,
    (const qrb::String& file, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
     const QRBSourceControlRevisionPtr& forParentOfRevision),
    (file, inWorkingCopy, forParentOfRevision), Completion<qrb::URL>)

/// Runs of lines, each with the log item that it came with.
QRB_REQUEST(blameFile, "blameFile:inWorkingCopy:fromRevisionLocation:completionBlock:",
    236, localizable("blame"), inWorkingCopy,
    (const qrb::String& file, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
     const QRBSourceControlRevisionLocationPtr& fromRevisionLocation),
    (file, inWorkingCopy, fromRevisionLocation), Completion<std::vector<QRBSourceControlBlameItemPtr>>)

/// History, newest first. `inclusionType` and `searchType` are of QRBSourceControlHistoryTypes.h; a maximum of 0 is no
/// limit. Items may be sent ahead in batches; the reply holds all of them.
QRB_MESSAGE(historyOfFile,
    "historyOfFile:inWorkingCopy:fromRevisionLocation:toRevision:inclusionType:maximumLogItems:searchString:"
    "searchType:progressIdentifier:completionBlock:",
    249, localizable("the history of a file"),
    (const qrb::String& file, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
     const QRBSourceControlRevisionLocationPtr& fromRevisionLocation, const QRBSourceControlRevisionPtr& toRevision,
     std::uint64_t inclusionType, std::int64_t maximumLogItems, const qrb::String& searchString,
     std::uint64_t searchType, const qrb::String& progressIdentifier), Completion<LogItems>)

// Requests about the working copy as a whole

/// Merges a branch into the working copy; conflicts show in the status afterwards.
QRB_REQUEST(mergeBranch, "mergeBranch:intoWorkingCopy:completionBlock:",
    253, localizable("merging"), intoWorkingCopy,
    (const QRBSourceControlBranchPtr& branch, const QRBSourceControlWorkingCopyPtr& intoWorkingCopy),
    (branch, intoWorkingCopy), Completion<>)

/// Brings the working copy up to date with the remote repository.
QRB_MESSAGE(forceUpdateWorkingCopy, "forceUpdateWorkingCopy:fromRepository:completionBlock:",
    257, localizable("updating"),
    (const QRBSourceControlWorkingCopyPtr& workingCopy, const QRBSourceControlRemoteRepositoryPtr& fromRepository),
    Completion<>)

/// As historyOfFile, of the whole working copy.
QRB_MESSAGE(historyOfWorkingCopy,
    "historyOfWorkingCopy:fromRevision:toRevision:inclusionType:maximumLogItems:searchString:searchType:"
    "progressIdentifier:completionBlock:",
    269, localizable("history"),
    (const QRBSourceControlWorkingCopyPtr& workingCopy, const QRBSourceControlRevisionPtr& fromRevision,
     const QRBSourceControlRevisionPtr& toRevision, std::uint64_t inclusionType, std::int64_t maximumLogItems,
     const qrb::String& searchString, std::uint64_t searchType, const qrb::String& progressIdentifier),
    Completion<LogItems>)

/// The branch, tag or path that it is on; whoever asked caches it.
QRB_REQUEST(currentLocationOfWorkingCopy, "currentLocationOfWorkingCopy:completionBlock:",
    273, localizable("telling the current location"), workingCopy,
    (const QRBSourceControlWorkingCopyPtr& workingCopy), (workingCopy), Completion<QRBSourceControlRevisionLocationPtr>)

/// The location that the system reports afterwards; whoever asked caches it.
QRB_REQUEST(switchLocation, "switchLocation:ofWorkingCopy:completionBlock:",
    277, localizable("switching"), ofWorkingCopy,
    (const QRBSourceControlRevisionLocationPtr& location, const QRBSourceControlWorkingCopyPtr& ofWorkingCopy),
    (location, ofWorkingCopy), Completion<QRBSourceControlRevisionLocationPtr>)

/// The revision that the working copy is based on.
QRB_REQUEST(baseRevisionOfWorkingCopy, "baseRevisionOfWorkingCopy:completionBlock:",
    281, localizable("telling the base revision"), workingCopy,
    (const QRBSourceControlWorkingCopyPtr& workingCopy), (workingCopy), Completion<QRBSourceControlRevisionPtr>)

/// To the form that the tool of today writes.
QRB_MESSAGE(upgradeWorkingCopy, "upgradeWorkingCopy:progressIdentifier:completionBlock:",
    285, localizable("upgrading working copies"),
    (const QRBSourceControlWorkingCopyPtr& workingCopy, const qrb::String& progressIdentifier), Completion<>)

/// What tells the repository from all others.
QRB_MESSAGE(identifierOfRepositoryForWorkingCopy, "identifierOfRepositoryForWorkingCopy:completionBlock:",
    289, localizable("identifying repositories"),
    (const QRBSourceControlWorkingCopyPtr& workingCopy), Completion<qrb::String>)

// On a repository. The layout matters only to systems that need one; it may be null.

/// The newest revision.
QRB_REQUEST(headRevisionOfRepository, "headRevisionOfRepository:completionBlock:",
    293, localizable("telling the newest revision"), repository,
    (const QRBSourceControlRepositoryPtr& repository), (repository), Completion<QRBSourceControlRevisionPtr>)

/// The revision that the location stands for now.
QRB_REQUEST(revisionOfLocation, "revisionOfLocation:inRepository:branchAndTagLocations:completionBlock:",
    297, localizable("looking revisions up"), inRepository,
    (const QRBSourceControlRevisionLocationPtr& location, const QRBSourceControlRepositoryPtr& inRepository,
     const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations),
    (location, inRepository, branchAndTagLocations), Completion<QRBSourceControlRevisionPtr>)

/// What lies directly below the path.
QRB_REQUEST(listSubpathsOfRepository, "listSubpathsOfRepository:atPath:completionBlock:",
    301, localizable("browsing repositories"), repository,
    (const QRBSourceControlRepositoryPtr& repository, const QRBSourceControlPathLocationPtr& atPath),
    (repository, atPath), Completion<std::vector<QRBSourceControlPathLocationPtr>>)

/// The branches of the repository itself, those of remotes left out.
QRB_REQUEST(listBranchesOfRepository, "listBranchesOfRepository:branchAndTagLocations:completionBlock:",
    305, localizable("listing branches"), repository,
    (const QRBSourceControlRepositoryPtr& repository,
     const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations),
    (repository, branchAndTagLocations), Completion<Branches>)

/// All remote branches, and the same by remote.
QRB_REQUEST(listRemoteBranchesOfRepository, "listRemoteBranchesOfRepository:branchAndTagLocations:completionBlock:",
    309, localizable("listing remote branches"), repository,
    (const QRBSourceControlRepositoryPtr& repository,
     const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations),
    (repository, branchAndTagLocations), Completion<Branches, QRBSourceControlRemoteBranchesPtr>)

/// The branch that it most likely came from, and all candidates.
QRB_REQUEST(parentBranchesOfBranch, "parentBranchesOfBranch:inRepository:branchAndTagLocations:completionBlock:",
    313, localizable("finding parent branches"), inRepository,
    (const QRBSourceControlBranchPtr& branch, const QRBSourceControlRepositoryPtr& inRepository,
     const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations),
    (branch, inRepository, branchAndTagLocations), Completion<QRBSourceControlBranchPtr, Branches>)

/// The last revision that both branches have in common.
QRB_REQUEST(ancestorRevisionInRepository,
    "ancestorRevisionInRepository:ofBranch:otherBranch:branchAndTagLocations:completionBlock:",
    317, localizable("finding common ancestors"), repository,
    (const QRBSourceControlRepositoryPtr& repository, const QRBSourceControlBranchPtr& ofBranch,
     const QRBSourceControlBranchPtr& otherBranch,
     const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations),
    (repository, ofBranch, otherBranch, branchAndTagLocations), Completion<QRBSourceControlRevisionPtr>)

/// The new branch, as the system names it; it begins where `fromBranch` is.
QRB_REQUEST(addBranch, "addBranch:fromBranch:toRepository:branchAndTagLocations:completionBlock:",
    321, localizable("making branches"), toRepository,
    (const QRBSourceControlBranchPtr& branch, const QRBSourceControlBranchPtr& fromBranch,
     const QRBSourceControlRepositoryPtr& toRepository,
     const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations),
    (branch, fromBranch, toRepository, branchAndTagLocations), Completion<QRBSourceControlBranchPtr>)

/// Removes a branch of the remote when one is given, else of the repository itself.
QRB_REQUEST(removeBranch, "removeBranch:fromRepository:andRemoteRepository:branchAndTagLocations:completionBlock:",
    325, localizable("removing branches"), andRemoteRepository ? andRemoteRepository : fromRepository,
    (const QRBSourceControlBranchPtr& branch, const QRBSourceControlRepositoryPtr& fromRepository,
     const QRBSourceControlRemoteRepositoryPtr& andRemoteRepository,
     const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations),
    (branch, fromRepository, andRemoteRepository, branchAndTagLocations), Completion<>)

/// What differs, in the form that the plug-in gives it; empty on an error.
QRB_REQUEST(diffRepository, "diffRepository:fromLocation:againstLocation:branchAndTagLocations:completionBlock:",
    329, localizable("comparing revisions"), repository,
    (const QRBSourceControlRepositoryPtr& repository, const QRBSourceControlRevisionLocationPtr& fromLocation,
     const QRBSourceControlRevisionLocationPtr& againstLocation,
     const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations),
    (repository, fromLocation, againstLocation, branchAndTagLocations), Completion<qrb::Dictionary>)

/// The primary remote and every remote by name.
QRB_MESSAGE(listRemoteRepositoriesForRepository, "listRemoteRepositoriesForRepository:completionBlock:",
    333, localizable("listing remotes"),
    (const QRBSourceControlRepositoryPtr& repository),
    Completion<QRBSourceControlRemoteRepositoryPtr, QRBSourceControlRemoteRepositoriesPtr>)

/// The branch of a remote that this one follows.
QRB_REQUEST(remoteBranchFromRepository, "remoteBranchFromRepository:forBranch:completionBlock:",
    337, localizable("finding the branch that is followed"), repository,
    (const QRBSourceControlRepositoryPtr& repository, const QRBSourceControlBranchPtr& forBranch),
    (repository, forBranch), Completion<QRBSourceControlBranchPtr>)

// These change what the repository knows of remotes; the remotes themselves are not touched.

QRB_REQUEST(addRemoteRepository, "addRemoteRepository:withName:toRepository:completionBlock:",
    341, localizable("adding remotes"), toRepository,
    (const QRBSourceControlRemoteRepositoryPtr& remoteRepository, const qrb::String& withName,
     const QRBSourceControlRepositoryPtr& toRepository), (remoteRepository, withName, toRepository), Completion<>)

QRB_REQUEST(removeRemoteRepositoryNamed, "removeRemoteRepositoryNamed:fromRepository:completionBlock:",
    345, localizable("removing remotes"), fromRepository,
    (const qrb::String& name, const QRBSourceControlRepositoryPtr& fromRepository),
    (name, fromRepository), Completion<>)

/// The location that the path stands for, and the layout found around it.
QRB_REQUEST(automaticallyDetectBranchAndTagLocationsForRepository,
    "automaticallyDetectBranchAndTagLocationsForRepository:fromPath:completionBlock:",
    361, localizable("finding the layout of a repository"), repository,
    (const QRBSourceControlRepositoryPtr& repository, const QRBSourceControlPathLocationPtr& fromPath),
    (repository, fromPath), Completion<QRBSourceControlRevisionLocationPtr, QRBSourceControlBranchAndTagLocationsPtr>)

/// A new, empty repository in the folder.
QRB_MESSAGE(createRepositoryAtFileURL, "createRepositoryAtFileURL:completionBlock:",
    365, localizable("making repositories"),
    (const qrb::URL& fileURL), Completion<QRBSourceControlRepositoryPtr>)

// On a remote repository

/// The root URL and the path below it.
QRB_MESSAGE(repositoryURLRootForRepository, "repositoryURLRootForRepository:completionBlock:",
    349, localizable("finding the root of a repository"),
    (const QRBSourceControlRemoteRepositoryPtr& repository), Completion<qrb::URL, QRBSourceControlPathLocationPtr>)

/// Fetches what the remote has and the repository has not; no working copy changes.
QRB_MESSAGE(downloadUpdatesFromRemoteRepository, "downloadUpdatesFromRemoteRepository:toRepository:completionBlock:",
    353, localizable("fetching"),
    (const QRBSourceControlRemoteRepositoryPtr& remoteRepository, const QRBSourceControlRepositoryPtr& toRepository),
    Completion<>)

/// Sends commits to the branch of the remote. Those that arrived before a cancellation stay there.
QRB_MESSAGE(uploadCommitsToRemoteRepository,
    "uploadCommitsToRemoteRepository:fromLocalRepository:remoteBranch:completionBlock:",
    357, localizable("pushing"),
    (const QRBSourceControlRemoteRepositoryPtr& remoteRepository,
     const QRBSourceControlRepositoryPtr& fromLocalRepository, const QRBSourceControlBranchPtr& remoteBranch),
    Completion<>)

/// Whether the server lets in who asks. That it does not is the answer and nothing to ask the user about.
QRB_MESSAGE(validateAuthenticationOfRemoteRepository,
    "validateAuthenticationOfRemoteRepository:location:branchAndTagLocations:completionBlock:",
    369, localizable("testing credentials"),
    (const QRBSourceControlRemoteRepositoryPtr& repository, const QRBSourceControlRevisionLocationPtr& location,
     const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations), Completion<>)

/// The working copy checked out into the folder.
QRB_MESSAGE(createWorkingCopyFromRepository,
    "createWorkingCopyFromRepository:location:branchAndTagLocations:localAddress:progressIdentifier:completionBlock:",
    373, localizable("making working copies"),
    (const QRBSourceControlRemoteRepositoryPtr& repository, const QRBSourceControlRevisionLocationPtr& location,
     const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations, const qrb::URL& localAddress,
     const qrb::String& progressIdentifier), Completion<QRBSourceControlWorkingCopyPtr>)

// Added later

/// The repository's tags in the order of their names, each with the revision that it stands for, if it is one. Only
/// systems whose `additionalRequests` hold it are asked; for all others the answer is that it is not supported.
QRB_ADDED_REQUEST(listTagsOfRepository, "listTagsOfRepository:branchAndTagLocations:completionBlock:",
    localizable("listing tags"), repository,
    (const QRBSourceControlRepositoryPtr& repository,
     const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations),
    (repository, branchAndTagLocations), Completion<std::vector<QRBSourceControlTagPtr>>)

/// The locks of files, by path from the root of the working copy: those that it holds, and with `withRemoteLocks`, for
/// which the server is asked, those that others hold. The value of each is a dictionary of the texts "owner" and
/// "comment", of "created", in seconds since 1970, and of "isHere", which is true where this working copy holds it. Only
/// systems whose `additionalRequests` hold it are asked, as above.
QRB_ADDED_REQUEST(listLocksOfWorkingCopy, "listLocksOfWorkingCopy:withRemoteLocks:completionBlock:",
    localizable("listing locks"), workingCopy,
    (const QRBSourceControlWorkingCopyPtr& workingCopy, bool withRemoteLocks),
    (workingCopy, withRemoteLocks), Completion<qrb::Dictionary>)

// clang-format on

#undef QRB_MESSAGE
#undef QRB_REQUEST
#undef QRB_ADDED_REQUEST
#undef QRB_BEFORE_COMPLETION
#undef QRB_WITHOUT_PARENTHESES
