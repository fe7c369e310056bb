#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What the library is told and tells, free of its own types. Paths and addresses are canonical: without a slash at the
// end, addresses encoded.

/// A revision as the library takes it.
struct SubversionRevision {
  enum class Kind { unspecified, number, head, base, working };
  Kind kind = Kind::unspecified;
  long number = -1;

  static SubversionRevision at(long number) { return {Kind::number, number}; }
  static SubversionRevision head() { return {Kind::head, -1}; }
  static SubversionRevision base() { return {Kind::base, -1}; }
  static SubversionRevision working() { return {Kind::working, -1}; }
  bool operator==(const SubversionRevision&) const = default;
};

/// A path of a working copy or an address, as it was named in the peg revision, and the revision of it that is meant.
struct SubversionTarget {
  std::string place;
  SubversionRevision peg = {};
  /// Unspecified: the peg revision.
  SubversionRevision revision = {};
};

enum class SubversionNodeKind { none, file, folder, link, unknown };

using SubversionTime = std::chrono::sys_time<std::chrono::microseconds>;

/// What is known of one path or address.
struct SubversionInfo {
  std::string url;
  std::string rootURL;
  std::string repositoryIdentifier;
  /// Of the root of a working copy; empty for addresses.
  std::string workingCopyRoot;
  /// The path or address asked for.
  std::string place;
  long revision = -1;
  long lastChangedRevision = -1;
  SubversionNodeKind kind = SubversionNodeKind::none;
  bool isAdded = false;
  /// Added with the history of another path.
  bool isCopied = false;

  /// The path below the repository's root, decoded; empty for the root.
  std::string repositoryPath() const;
};

enum class SubversionState {
  none,
  normal,
  added,
  missing,
  deleted,
  replaced,
  modified,
  conflicted,
  unversioned,
  ignored,
  external,
  obstructed,
  incomplete,
};

/// That somebody alone may change a file. Views are valid during the call only.
struct SubversionLock {
  std::string_view owner;
  std::string_view comment;
  SubversionTime created;
};

/// How a path stands against its base, and that against the repository. Views are valid during the call only.
struct SubversionStatus {
  std::string_view path;
  SubversionNodeKind kind = SubversionNodeKind::none;
  SubversionState node = SubversionState::none;
  SubversionState text = SubversionState::none;
  SubversionState properties = SubversionState::none;
  bool isConflicted = false;
  bool isCopied = false;
  bool isSwitched = false;
  bool isFileExternal = false;
  bool hasAdministrativeLock = false;
  /// Absolute paths; empty where nothing was moved.
  std::string_view movedFrom;
  std::string_view movedTo;
  SubversionState remoteNode = SubversionState::none;
  SubversionState remoteText = SubversionState::none;
  SubversionState remoteProperties = SubversionState::none;
  /// That this working copy holds.
  std::optional<SubversionLock> lock;
  /// That somebody else, or another working copy, holds.
  std::optional<SubversionLock> lockElsewhere;
};

/// What a path is in conflict about.
struct SubversionConflict {
  enum class Change { none, edited, added, deleted };
  bool text = false;
  bool properties = false;
  bool tree = false;
  /// Of the tree.
  Change local = Change::none;
  Change incoming = Change::none;
};

/// One path that a revision changed. Paths begin with a slash at the repository's root.
struct SubversionChange {
  std::string_view path;
  /// 'A', 'M', 'D' or 'R'.
  char action = 'M';
  std::string_view copiedFrom;
  bool changesText = false;
  bool changesProperties = false;
};

/// One revision of a history.
struct SubversionLogEntry {
  long revision = -1;
  std::string_view author;
  SubversionTime date;
  std::string_view message;
  /// In the order of the paths.
  std::vector<SubversionChange> changes;
};

/// Which revision a line is from.
struct SubversionBlameLine {
  /// Counted from 1.
  std::uint64_t line = 0;
  /// None where the line is not committed.
  std::optional<long> revision;
  std::string_view author;
  SubversionTime date;
  std::string_view message;
};

/// What lies in a folder of a repository.
struct SubversionEntry {
  std::string name;
  SubversionNodeKind kind = SubversionNodeKind::none;
  long lastChangedRevision = -1;
};

/// A path that a line of history had in these revisions, both included. Without a leading slash.
struct SubversionSegment {
  std::string path;
  long first = -1;
  long last = -1;
};

/// What the library does to a path while it works.
struct SubversionNotice {
  enum class Action { added, conflicted, upgraded, other };
  Action action = Action::other;
  std::string_view path;
};

/// What a commit has made.
struct SubversionCommitted {
  /// -1 where there was nothing to commit.
  long revision = -1;
  /// What the server's hooks said afterwards.
  std::string complaint;
};

/// One path that differs between two states.
struct SubversionDifference {
  std::string path;
  /// 'A', 'D', 'M' or ' ' where only properties differ.
  char change = ' ';
  bool changesProperties = false;
  SubversionNodeKind kind = SubversionNodeKind::none;
};

/// An entry of a "svn:externals" property.
struct SubversionExternal {
  /// The folder that has the property, absolute.
  std::string folder;
  /// Relative to it.
  std::string target;
  /// As it is written, relative forms included.
  std::string url;
  SubversionRevision peg;
  SubversionRevision revision;
};

/// The address of a path below a repository's root, which is as people write it; empty for the root itself.
std::string subversionURL(const std::string& rootURL, std::string_view path);
/// A path as it stands in an address, and as people write it.
std::string subversionEncoded(std::string_view path);
std::string subversionDecoded(std::string_view path);
