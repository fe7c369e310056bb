#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

/// The status of one path: an unsigned 64-bit set of the bits below, as the plug-ins report it and hosts read it. 0
/// means that nothing is known of the path. The numbers travel between processes and are kept by hosts, so a bit never
/// changes its place.
///
/// Systems with a staging area report what is staged with the `Staged` bits and what differs beyond that in the working
/// copy with the plain ones, so both may be set of one kind. Systems without one use the plain bits alone. Log items
/// use the plain bits for what a revision did to a path.

inline constexpr std::uint64_t QRBSourceControlStatusNone = 0;

/// @name Changes in the working copy, or made by a revision
inline constexpr std::uint64_t QRBSourceControlStatusAdded = 1ull << 0;
inline constexpr std::uint64_t QRBSourceControlStatusModified = 1ull << 1;
/// Removed on purpose, or (Git) gone from disk while the staging area still has it.
inline constexpr std::uint64_t QRBSourceControlStatusDeleted = 1ull << 2;
/// The path is the new name; the old one carries QRBSourceControlStatusMovedAway where it is reported.
inline constexpr std::uint64_t QRBSourceControlStatusRenamed = 1ull << 3;
inline constexpr std::uint64_t QRBSourceControlStatusCopied = 1ull << 4;
/// File, symbolic link or submodule became another of these.
inline constexpr std::uint64_t QRBSourceControlStatusTypeChanged = 1ull << 5;
/// Deleted and added anew under the same path, which ends the path's line of history (Subversion).
inline constexpr std::uint64_t QRBSourceControlStatusReplaced = 1ull << 6;
/// Metadata of the path (Subversion properties) differ.
inline constexpr std::uint64_t QRBSourceControlStatusPropertiesModified = 1ull << 7;

/// @name Changes in the staging area against the base revision
inline constexpr std::uint64_t QRBSourceControlStatusStagedAdded = 1ull << 8;
inline constexpr std::uint64_t QRBSourceControlStatusStagedModified = 1ull << 9;
inline constexpr std::uint64_t QRBSourceControlStatusStagedDeleted = 1ull << 10;
inline constexpr std::uint64_t QRBSourceControlStatusStagedRenamed = 1ull << 11;
inline constexpr std::uint64_t QRBSourceControlStatusStagedCopied = 1ull << 12;
inline constexpr std::uint64_t QRBSourceControlStatusStagedTypeChanged = 1ull << 13;
/// Every bit of the staging area: a status has one of them where something of the path is staged.
inline constexpr std::uint64_t QRBSourceControlStatusStagedMask =
    QRBSourceControlStatusStagedAdded | QRBSourceControlStatusStagedModified | QRBSourceControlStatusStagedDeleted |
    QRBSourceControlStatusStagedRenamed | QRBSourceControlStatusStagedCopied | QRBSourceControlStatusStagedTypeChanged;

/// @name State of the path in the working copy
inline constexpr std::uint64_t QRBSourceControlStatusUntracked = 1ull << 16;
inline constexpr std::uint64_t QRBSourceControlStatusIgnored = 1ull << 17;
/// Under source control, but gone from disk without the system having been told.
inline constexpr std::uint64_t QRBSourceControlStatusMissing = 1ull << 18;
/// This working copy holds the lock of the path.
inline constexpr std::uint64_t QRBSourceControlStatusLocked = 1ull << 19;
/// The path is meant to be locked before it is edited and is read-only until then.
inline constexpr std::uint64_t QRBSourceControlStatusNeedsLock = 1ull << 20;
/// An interrupted operation left the folder's administrative data locked; it needs a clean-up.
inline constexpr std::uint64_t QRBSourceControlStatusAdministrativeLock = 1ull << 21;
/// Comes from another repository by an external definition.
inline constexpr std::uint64_t QRBSourceControlStatusExternal = 1ull << 22;
/// Comes from another location of the repository than its parent folder.
inline constexpr std::uint64_t QRBSourceControlStatusSwitched = 1ull << 23;
/// Something of another kind stands where the path belongs.
inline constexpr std::uint64_t QRBSourceControlStatusObstructed = 1ull << 24;
/// A folder whose content an interrupted operation left incomplete.
inline constexpr std::uint64_t QRBSourceControlStatusIncomplete = 1ull << 25;
/// The path is a folder; what is said of it holds for everything in it that has no status of its own.
inline constexpr std::uint64_t QRBSourceControlStatusDirectory = 1ull << 26;
/// The source of a rename: what was here is now under another path.
inline constexpr std::uint64_t QRBSourceControlStatusMovedAway = 1ull << 27;

/// @name Submodules
inline constexpr std::uint64_t QRBSourceControlStatusSubmodule = 1ull << 28;
/// Another commit is checked out in the submodule than the one recorded.
inline constexpr std::uint64_t QRBSourceControlStatusSubmoduleNewCommits = 1ull << 29;
inline constexpr std::uint64_t QRBSourceControlStatusSubmoduleModifiedContent = 1ull << 30;
inline constexpr std::uint64_t QRBSourceControlStatusSubmoduleUntrackedContent = 1ull << 31;

/// @name Conflicts: the first bit always, with the kind where it is known
inline constexpr std::uint64_t QRBSourceControlStatusConflicted = 1ull << 32;
inline constexpr std::uint64_t QRBSourceControlStatusConflictBothModified = 1ull << 33;
inline constexpr std::uint64_t QRBSourceControlStatusConflictBothAdded = 1ull << 34;
inline constexpr std::uint64_t QRBSourceControlStatusConflictBothDeleted = 1ull << 35;
inline constexpr std::uint64_t QRBSourceControlStatusConflictAddedByUs = 1ull << 36;
inline constexpr std::uint64_t QRBSourceControlStatusConflictAddedByThem = 1ull << 37;
inline constexpr std::uint64_t QRBSourceControlStatusConflictDeletedByUs = 1ull << 38;
inline constexpr std::uint64_t QRBSourceControlStatusConflictDeletedByThem = 1ull << 39;
/// The shape of the tree conflicts, not the content (Subversion).
inline constexpr std::uint64_t QRBSourceControlStatusTreeConflict = 1ull << 40;
inline constexpr std::uint64_t QRBSourceControlStatusPropertiesConflicted = 1ull << 41;

/// @name Remote status: what the repository has and the working copy has not yet (incoming changes)
inline constexpr std::uint64_t QRBSourceControlStatusRemoteAdded = 1ull << 48;
inline constexpr std::uint64_t QRBSourceControlStatusRemoteModified = 1ull << 49;
inline constexpr std::uint64_t QRBSourceControlStatusRemoteDeleted = 1ull << 50;
inline constexpr std::uint64_t QRBSourceControlStatusRemoteRenamed = 1ull << 51;
inline constexpr std::uint64_t QRBSourceControlStatusRemoteCopied = 1ull << 52;
inline constexpr std::uint64_t QRBSourceControlStatusRemoteTypeChanged = 1ull << 53;
inline constexpr std::uint64_t QRBSourceControlStatusRemoteReplaced = 1ull << 54;
inline constexpr std::uint64_t QRBSourceControlStatusRemotePropertiesModified = 1ull << 55;
/// Somebody else, or another working copy, holds the lock of the path.
inline constexpr std::uint64_t QRBSourceControlStatusRemoteLocked = 1ull << 56;

/// One bit and the word that stands for it in listings meant for people and programs; words never change.
struct QRBSourceControlStatusWord {
  std::uint64_t bit;
  std::string_view word;
};

/// Every bit, lowest first.
inline constexpr std::array QRBSourceControlStatusWordTable = {
    QRBSourceControlStatusWord{QRBSourceControlStatusAdded, "added"},
    QRBSourceControlStatusWord{QRBSourceControlStatusModified, "modified"},
    QRBSourceControlStatusWord{QRBSourceControlStatusDeleted, "deleted"},
    QRBSourceControlStatusWord{QRBSourceControlStatusRenamed, "renamed"},
    QRBSourceControlStatusWord{QRBSourceControlStatusCopied, "copied"},
    QRBSourceControlStatusWord{QRBSourceControlStatusTypeChanged, "type-changed"},
    QRBSourceControlStatusWord{QRBSourceControlStatusReplaced, "replaced"},
    QRBSourceControlStatusWord{QRBSourceControlStatusPropertiesModified, "properties-modified"},
    QRBSourceControlStatusWord{QRBSourceControlStatusStagedAdded, "staged-added"},
    QRBSourceControlStatusWord{QRBSourceControlStatusStagedModified, "staged-modified"},
    QRBSourceControlStatusWord{QRBSourceControlStatusStagedDeleted, "staged-deleted"},
    QRBSourceControlStatusWord{QRBSourceControlStatusStagedRenamed, "staged-renamed"},
    QRBSourceControlStatusWord{QRBSourceControlStatusStagedCopied, "staged-copied"},
    QRBSourceControlStatusWord{QRBSourceControlStatusStagedTypeChanged, "staged-type-changed"},
    QRBSourceControlStatusWord{QRBSourceControlStatusUntracked, "untracked"},
    QRBSourceControlStatusWord{QRBSourceControlStatusIgnored, "ignored"},
    QRBSourceControlStatusWord{QRBSourceControlStatusMissing, "missing"},
    QRBSourceControlStatusWord{QRBSourceControlStatusLocked, "locked"},
    QRBSourceControlStatusWord{QRBSourceControlStatusNeedsLock, "needs-lock"},
    QRBSourceControlStatusWord{QRBSourceControlStatusAdministrativeLock, "administrative-lock"},
    QRBSourceControlStatusWord{QRBSourceControlStatusExternal, "external"},
    QRBSourceControlStatusWord{QRBSourceControlStatusSwitched, "switched"},
    QRBSourceControlStatusWord{QRBSourceControlStatusObstructed, "obstructed"},
    QRBSourceControlStatusWord{QRBSourceControlStatusIncomplete, "incomplete"},
    QRBSourceControlStatusWord{QRBSourceControlStatusDirectory, "directory"},
    QRBSourceControlStatusWord{QRBSourceControlStatusMovedAway, "moved-away"},
    QRBSourceControlStatusWord{QRBSourceControlStatusSubmodule, "submodule"},
    QRBSourceControlStatusWord{QRBSourceControlStatusSubmoduleNewCommits, "submodule-new-commits"},
    QRBSourceControlStatusWord{QRBSourceControlStatusSubmoduleModifiedContent, "submodule-modified-content"},
    QRBSourceControlStatusWord{QRBSourceControlStatusSubmoduleUntrackedContent, "submodule-untracked-content"},
    QRBSourceControlStatusWord{QRBSourceControlStatusConflicted, "conflicted"},
    QRBSourceControlStatusWord{QRBSourceControlStatusConflictBothModified, "both-modified"},
    QRBSourceControlStatusWord{QRBSourceControlStatusConflictBothAdded, "both-added"},
    QRBSourceControlStatusWord{QRBSourceControlStatusConflictBothDeleted, "both-deleted"},
    QRBSourceControlStatusWord{QRBSourceControlStatusConflictAddedByUs, "added-by-us"},
    QRBSourceControlStatusWord{QRBSourceControlStatusConflictAddedByThem, "added-by-them"},
    QRBSourceControlStatusWord{QRBSourceControlStatusConflictDeletedByUs, "deleted-by-us"},
    QRBSourceControlStatusWord{QRBSourceControlStatusConflictDeletedByThem, "deleted-by-them"},
    QRBSourceControlStatusWord{QRBSourceControlStatusTreeConflict, "tree-conflict"},
    QRBSourceControlStatusWord{QRBSourceControlStatusPropertiesConflicted, "properties-conflicted"},
    QRBSourceControlStatusWord{QRBSourceControlStatusRemoteAdded, "remote-added"},
    QRBSourceControlStatusWord{QRBSourceControlStatusRemoteModified, "remote-modified"},
    QRBSourceControlStatusWord{QRBSourceControlStatusRemoteDeleted, "remote-deleted"},
    QRBSourceControlStatusWord{QRBSourceControlStatusRemoteRenamed, "remote-renamed"},
    QRBSourceControlStatusWord{QRBSourceControlStatusRemoteCopied, "remote-copied"},
    QRBSourceControlStatusWord{QRBSourceControlStatusRemoteTypeChanged, "remote-type-changed"},
    QRBSourceControlStatusWord{QRBSourceControlStatusRemoteReplaced, "remote-replaced"},
    QRBSourceControlStatusWord{QRBSourceControlStatusRemotePropertiesModified, "remote-properties-modified"},
    QRBSourceControlStatusWord{QRBSourceControlStatusRemoteLocked, "remote-locked"},
};

/// The words of the bits set, lowest bit first; bits without a word are left out, so 0 gives none. The views last for
/// the life of the program.
inline std::vector<std::string_view> QRBSourceControlStatusWords(std::uint64_t status) {
  std::vector<std::string_view> words;
  for (const QRBSourceControlStatusWord& entry : QRBSourceControlStatusWordTable) {
    if ((status & entry.bit) != 0) words.push_back(entry.word);
  }
  return words;
}
