#pragma once

#include <cstdint>

/// What the history requests take beside their revisions. The range runs from the newest revision wanted (`from`,
/// included; absent, HEAD or BASE: the one checked out) back to `to`, which is itself left out: the answer is what came
/// since `to`. The initial revision, or none, as `to` sets no end, so that `from` itself is always the first item of
/// such a request. A maximum of 0 or below sets no maximum. Items come newest first.

/// Which items and which of their fields a history request loads: a set of bits that leave something out or widen the
/// search. 0 loads complete items, message, paths with status and renames included.
using QRBSourceControlHistoryInclusionType = std::uint64_t;

inline constexpr QRBSourceControlHistoryInclusionType QRBSourceControlHistoryIncludeAll = 0;
/// No paths with status and no renames. Loading is several times faster.
inline constexpr QRBSourceControlHistoryInclusionType QRBSourceControlHistoryWithoutPaths = 1ull << 0;
/// Author, revision and date alone; the items are incomplete and can be completed one by one later. No paths either.
inline constexpr QRBSourceControlHistoryInclusionType QRBSourceControlHistoryWithoutMessage = 1ull << 1;
/// Follows only the line that a merge was made into; the paths of a merge are then what it brought in.
inline constexpr QRBSourceControlHistoryInclusionType QRBSourceControlHistoryFirstParentOnly = 1ull << 2;
/// Every branch and tag, not only what `from` is built on.
inline constexpr QRBSourceControlHistoryInclusionType QRBSourceControlHistoryAllBranches = 1ull << 3;
/// The history of a file ends where the file got its present name.
inline constexpr QRBSourceControlHistoryInclusionType QRBSourceControlHistoryWithoutFollowingRenames = 1ull << 4;
/// Leaves out merges.
inline constexpr QRBSourceControlHistoryInclusionType QRBSourceControlHistoryWithoutMerges = 1ull << 5;

/// What a history request's search string is looked for in. An absent or empty search string searches for nothing,
/// whatever the type. Text is compared as it stands, never as a pattern, without regard to case.
using QRBSourceControlHistorySearchType = std::uint64_t;

/// No type given: the same as QRBSourceControlHistorySearchMessage.
inline constexpr QRBSourceControlHistorySearchType QRBSourceControlHistorySearchDefault = 0;
inline constexpr QRBSourceControlHistorySearchType QRBSourceControlHistorySearchMessage = 1;
/// The author's name or e-mail address.
inline constexpr QRBSourceControlHistorySearchType QRBSourceControlHistorySearchAuthor = 2;
/// Any part of the path of a file that the revision changed; the items found still list all their paths.
inline constexpr QRBSourceControlHistorySearchType QRBSourceControlHistorySearchPath = 3;
/// The one item whose revision the text names, whole or abbreviated; an unknown one finds nothing.
inline constexpr QRBSourceControlHistorySearchType QRBSourceControlHistorySearchRevision = 4;
