#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "GitEnvironment.h"

/// A command to run, or why it must not be run. Commands are run in the root of the working copy (or in a bare
/// repository) with gitEnvironment() and standard input closed, unless said otherwise.
struct GitCommand {
  /// What follows the program's name, gitCommonArguments() included.
  std::vector<std::string> arguments;
  GitAccess access = GitAccess::read;
  GitOutput output = GitOutput::prompt;
  /// Git runs hooks of the repository, whose words and exit status are among its own.
  bool runsHooks = false;
  /// What git gets through standard input; empty: nothing.
  std::string standardInput;
  /// What git gets through the file qrb::ToolCommand::secondInputPath; empty: there is no such file.
  std::string secondInput;
  /// Empty, or a sentence that names the name that was refused; the arguments are empty then.
  std::string refusal;

  /// Whether the command may be run.
  explicit operator bool() const { return refusal.empty(); }

  /// The refusal of a name of some kind ("path").
  static std::string refusalOf(std::string_view kind, std::string_view name);
};

/// Whether git would read the text as one revision and as nothing else: not as an option, a range, an exclusion or a
/// file in a revision.
bool gitIsPlainRevision(std::string_view text);

/// Prints where the working copy or repository is that the folder it is run in belongs to: see gitReadLocation(). In a
/// bare repository it fails after having printed all but the root.
GitCommand gitLocationCommand();

/// What gitLocationCommand() found. Paths are absolute.
struct GitLocation {
  bool isBare = false;
  /// The history ends at an arbitrary commit: what looks like the first one is not.
  bool isShallow = false;
  std::string gitDirectory;
  /// That of the repository which all its working copies share.
  std::string commonDirectory;
  /// Root of the working copy; empty in a bare repository.
  std::string root;
};

/// Reads the output of gitLocationCommand(), also where it stops before the root. None when it is something else.
std::optional<GitLocation> gitReadLocation(std::string_view output);

/// Which files that git does not track are listed.
enum class GitUntracked : unsigned char {
  none,
  /// Folders with nothing tracked in them as a whole.
  normal,
  /// Each file.
  all,
};

struct GitStatusOptions {
  GitUntracked untracked = GitUntracked::normal;
  /// Lists what is ignored too: files and folders that a rule names, not what is in those folders.
  bool ignored = true;
  /// Adds the headers of the current branch.
  bool branch = false;
  /// Limits the answer to these paths, from the root; empty: everything.
  std::vector<std::string> paths;
};

/// Prints the status of every file that is not as the base revision has it: see GitStatusParser.
GitCommand gitStatusCommand(const GitStatusOptions& options);

/// Prints what the upstream branch, as last fetched, has and the current branch has not: see GitNameStatusParser and
/// gitRemoteChangeStatus(). Reaches no network. Fails with NoUpstream where there is none to compare with.
GitCommand gitRemoteStatusCommand();

/// Prints the full name of the branch checked out. Exits with 1 and no message where none is.
GitCommand gitCurrentBranchCommand();

/// Prints the full object name of the commit checked out and on a line of its own the full name of the branch, or
/// "HEAD" where none is checked out. Fails with UnbornHead on a branch without commits.
GitCommand gitCurrentLocationCommand();

/// Prints the full object name of the commit that a revision (a name, an abbreviation, HEAD) stands for.
GitCommand gitResolveCommand(std::string_view revision);

enum class GitBranches : unsigned char {
  local,
  /// As last fetched.
  remote,
  all,
};

/// Prints the branches in the order of their full names: see GitRefParser.
GitCommand gitBranchesCommand(GitBranches which = GitBranches::all);
/// The tags, with the commits that they stand for; see GitRefParser.
GitCommand gitTagsCommand();

/// Prints the names of the remotes, one on a line.
GitCommand gitRemotesCommand();

/// Prints what tells a repository from others and is the same in every clone of it: the object name of the first commit
/// on the first-parent line of HEAD. (All first commits of all branches would differ between clones that have not
/// fetched the same branches, and finding them means walking everything.) A shallow clone has no such commit: ask
/// gitLocationCommand() first.
GitCommand gitRepositoryIdentifierCommand();

/// A history request; what the fields mean is told in QRBSourceControlHistoryTypes.h.
struct GitHistoryRequest {
  /// Newest revision, included. Empty, "HEAD" or "BASE": the one checked out.
  std::string from;
  /// Where to stop, left out. Empty or "INITIAL": nowhere.
  std::string to;
  std::uint64_t inclusionType = 0;
  /// 0 or below: no maximum.
  std::int64_t maximum = 0;
  std::string searchString;
  std::uint64_t searchType = 0;
  /// Path from the root; empty: the whole working copy.
  std::string file;
};

struct GitHistoryCommand : GitCommand {
  /// Git prints more than was asked for: the reader has to search the records itself and to stop at the maximum. So it
  /// is with searches in the history of a file, for git loses the file at a rename that the search does not find.
  bool filterAfterwards = false;
};

/// Prints the history: see GitLogParser. A search for a revision that does not exist fails with UnknownRevision.
GitHistoryCommand gitHistoryCommand(const GitHistoryRequest& request);
