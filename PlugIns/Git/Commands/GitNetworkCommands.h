#pragma once

#include <string>
#include <string_view>

#include "GitCommands.h"

// Commands that reach one remote repository, and call it by gitReachedRemote(). Full names of refs ("refs/heads/main")
// are meant, which the caller has checked (see GitNames.h).

/// What commands call the repository: a name that is known to the commands of this process only, so that no
/// configuration says anything of it.
const std::string& gitReachedRemote();

/// Prints the proxy for an http or https address, as all settings have it together; it may be empty, which means none
/// whatever the environment says. Exits with 1 and no message where nothing is set.
GitCommand gitProxyCommand(std::string_view address);
/// Fetches what the remote's rules say. Progress is told on standard error.
GitCommand gitFetchCommand();
/// Fetches one branch, to where it is named by FETCH_HEAD only.
GitCommand gitFetchBranchCommand(std::string_view remoteRef);
/// Sends a branch or, as HEAD, what is checked out; prints what gitReadPushReport() reads.
GitCommand gitPushCommand(std::string_view from, std::string_view to);
/// Makes a branch on the other side at the commit, unless there is one: that is told as out of date, or, where it is at
/// this very commit, as up to date. Prints the same.
GitCommand gitPushNewBranchCommand(std::string_view hash, std::string_view remoteRef);
/// Removes a branch on the other side, unless it has gone on from the commit meanwhile: that is told as out of date.
/// Prints the same.
GitCommand gitPushDeletionCommand(std::string_view remoteRef, std::string_view expectedHash);
/// Prints "<object name>\t<full name>" for the ref, and nothing where there is none; of refs whose names end alike too.
/// "HEAD", patterns with "*", and the empty text, which means all refs, can be asked for as well; where a pattern is,
/// what an annotated tag is on comes under its name and "^{}".
GitCommand gitListRemoteCommand(std::string_view remoteRef);
/// Clones into an empty folder. A branch (its name without a folder) is checked out; without one, what the remote's
/// HEAD is, or with `isWithoutFiles` nothing. Submodules are not fetched.
GitCommand gitCloneCommand(std::string_view address, std::string_view folder, std::string_view branch,
                           bool isWithoutFiles);
/// Checks a revision or tag out, at no branch; to be run where nothing is checked out yet.
GitCommand gitCheckOutDetachedCommand(std::string_view revision);
/// Checks a branch (without a folder) out that is there already, moved to the revision; likewise.
GitCommand gitCheckOutBranchAtCommand(std::string_view branch, std::string_view revision);
/// Makes a branch (without a folder) follow what is kept under the full name.
GitCommand gitSetUpstreamCommand(std::string_view branch, std::string_view trackingRef);
