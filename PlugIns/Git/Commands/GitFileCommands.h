#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "GitCommands.h"

// Commands on the files of a working copy. Paths are from the root, as gitResolvePath() gives them, and reach git
// through its standard input; no list may be empty.

using GitPathList = std::vector<std::string>;

/// Adds the paths to what a command is about; git gets them through standard input.
void gitAddPathList(GitCommand& command, const GitPathList& paths);

/// Stages files as they are on disk, also that they are gone. What is ignored is refused.
GitCommand gitAddCommand(const GitPathList& paths);
/// Makes files known that git does not know, and stages nothing of them.
GitCommand gitIntendToAddCommand(const GitPathList& paths);
/// Takes files out of the staging area; on disk they stay. Names that are not in it are passed over.
GitCommand gitForgetCommand(const GitPathList& paths);
/// Removes files, and folders with all that is tracked in them, from disk and the staging area. Refused (LocalChanges)
/// is what holds changes that no revision has.
GitCommand gitRemoveCommand(const GitPathList& paths);
/// Moves a file or folder on disk and in the staging area.
GitCommand gitMoveCommand(const std::string& from, const std::string& to);
/// Makes files on disk and in the staging area what they are in HEAD, which has to have them.
GitCommand gitRestoreCommand(const GitPathList& paths);
/// Writes files to disk as they are staged, over whatever is there.
GitCommand gitCheckoutIndexCommand(const GitPathList& paths);
/// Makes every tracked file on disk and in the staging area what it is in HEAD, and ends a merge or the like.
GitCommand gitResetCommand();

/// Prints the staging area: see GitIndexParser.
GitCommand gitIndexCommand();
/// Prints the paths of tracked files that are not on disk as they are staged, a zero byte after each; or only those of
/// which it is known that they are to be added, and nothing is staged.
GitCommand gitUnstagedCommand(bool isOfIntended);
/// Notes in the staging area of each file whether it is on disk as it is staged. Exits with 1 where one is not.
GitCommand gitRefreshCommand();
/// Gives entries of the staging area another content; they are made by gitAppendIndexEntry().
GitCommand gitIndexUpdateCommand(std::string entries);
/// What an entry is to be: with mode 0 it leaves the staging area, and the name of the object is zeros.
void gitAppendIndexEntry(std::string& entries, std::uint32_t mode, std::string_view object, std::uint8_t stage,
                         std::string_view path);
/// Prints the paths of all files in a revision, a zero byte after each. Fails with UnknownRevision where there is none.
GitCommand gitTreePathsCommand(std::string_view revision);
