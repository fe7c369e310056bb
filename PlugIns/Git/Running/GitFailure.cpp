#include "GitFailure.h"

#include <algorithm>

#include "URLsInText.h"

namespace {

using Kind = GitFailureKind;

/// A line of git's error output: how it begins after "fatal: " or "error: ", how it ends, and where names stand at both
/// ends, what it holds between. The empty text fits any.
struct Pattern {
  std::string_view start;
  std::string_view end;
  Kind kind;
  std::string_view within = {};
};

/// The first that fits any line wins, so what explains stands before what follows from it.
constexpr Pattern patterns[] = {
    {"unable to read askpass response from '", "", Kind::authenticationFailed},
    {"detected dubious ownership in repository at ", "", Kind::dubiousOwnership},
    {"unsafe repository (", "", Kind::dubiousOwnership},
    {"Unable to create '", ".lock': File exists.", Kind::locked},
    {"could not lock config file ", ": File exists", Kind::locked},
    {"cannot lock ref ", ".lock': File exists.", Kind::locked},
    // Another process has moved the ref between two looks at it.
    {"cannot lock ref '", "", Kind::locked, "': is at "},
    {"index uses ", " extension, which we do not understand", Kind::repositoryTooNew},
    {"index file corrupt", "", Kind::indexUnreadable},
    {"bad signature 0x", "", Kind::indexUnreadable},
    {"bad index file sha1 signature", "", Kind::indexUnreadable},
    {"bad index version ", "", Kind::indexUnreadable},
    {"malformed name field in the index", "", Kind::indexUnreadable},
    {"unknown index entry format ", "", Kind::indexUnreadable},
    {"unordered stage entries in index", "", Kind::indexUnreadable},
    {"", ": index file smaller than expected", Kind::indexUnreadable},
    {"", ": index file open failed: Permission denied", Kind::permissionDenied},
    {"", ": index file open failed: Is a directory", Kind::indexUnreadable},
    {"", ": index file open failed: Not a directory", Kind::indexUnreadable},
    {"", "", Kind::indexUnreadable, ": unable to map index file: "},
    {"", "", Kind::indexUnreadable, ": cannot stat the open index: "},
    {"cache entry has null sha1", "", Kind::indexUnreadable},
    {"not a git repository", "", Kind::notARepository},
    {"Expected git repo version ", "", Kind::repositoryTooNew},
    {"unknown repository extension", "", Kind::repositoryTooNew},
    {"this operation must be run in a work tree", "", Kind::noWorkingCopy},
    {"your current branch '", "' does not have any commits yet", Kind::unbornHead},
    {"bad default revision 'HEAD'", "", Kind::unbornHead},
    {"no such ref: HEAD", "", Kind::unbornHead},
    {"ambiguous argument 'HEAD': ", "", Kind::unbornHead},
    {"bad revision 'HEAD'", "", Kind::unbornHead},
    {"bad revision 'HEAD...", "", Kind::unbornHead},
    {"no upstream configured for branch", "", Kind::noUpstream},
    {"HEAD does not point to a branch", "", Kind::noUpstream},
    {"no such branch: ", "", Kind::noUpstream},
    {"upstream branch '", "", Kind::noUpstream},
    {"ambiguous argument 'HEAD...@{upstream}': ", "", Kind::noUpstream},
    {"", ": no merge base", Kind::noCommonAncestor},
    {"refusing to merge unrelated histories", "", Kind::noCommonAncestor},
    {"ambiguous argument '", "", Kind::unknownRevision},
    {"bad revision '", "", Kind::unknownRevision},
    {"Needed a single revision", "", Kind::unknownRevision},
    {"short object ID ", " is ambiguous", Kind::unknownRevision},
    {"invalid object name ", "", Kind::unknownRevision},
    {"Not a valid object name ", "", Kind::unknownRevision},
    {"Not a valid commit name ", "", Kind::unknownRevision},
    {"not a valid object name: '", "", Kind::unknownRevision},
    {"a branch named '", "' already exists", Kind::exists},
    {"A branch named '", "' already exists.", Kind::exists},
    {"tag '", "' already exists", Kind::exists},
    {"remote ", " already exists.", Kind::exists},
    {"cannot lock ref '", "'", Kind::exists, "' exists; cannot create '"},
    {"branch '", "' not found.", Kind::unknownBranch},
    {"remote-tracking branch '", "' not found.", Kind::unknownBranch},
    {"branch '", "' not found", Kind::unknownBranch},
    {"remote-tracking branch '", "' not found", Kind::unknownBranch},
    {"Cannot delete branch '", "'", Kind::branchInUse, "' checked out at '"},
    {"cannot delete branch '", "'", Kind::branchInUse, "' used by worktree at '"},
    {"No such remote: '", "'", Kind::unknownRemote},
    {"No such remote '", "'", Kind::unknownRemote},
    {"invalid reference: ", "", Kind::unknownRevision},
    {"a branch is expected, got ", "", Kind::unknownRevision},
    {"merge: ", " - not something we can merge", Kind::unknownRevision},
    {"Authentication failed for ", "", Kind::authenticationFailed},
    {"could not read Username for ", "", Kind::authenticationFailed},
    {"could not read Password for ", "", Kind::authenticationFailed},
    {"Host key verification failed.", "", Kind::hostKeyUnverified},
    {"Load key \"", "\": invalid format", Kind::keyInvalid},
    {"Load key \"", "\": error in libcrypto", Kind::keyInvalid},
    {"", ").", Kind::authenticationFailed, ": Permission denied ("},
    {"", "Too many authentication failures", Kind::authenticationFailed},
    {"unable to access '", "", Kind::certificateInvalid, "': server certificate verification failed"},
    {"unable to access '", "", Kind::certificateInvalid, "': SSL certificate problem"},
    {"unable to access '", "", Kind::certificateInvalid, "SSL: certificate subject name "},
    {"unable to access '", "", Kind::certificateInvalid, "SSL: public key does not match pinned public key"},
    {"unable to access '", "The requested URL returned error: 401", Kind::authenticationFailed},
    {"unable to access '", "The requested URL returned error: 403", Kind::remotePermissionDenied},
    {"unable to access '", "The requested URL returned error: 404", Kind::remoteNotFound},
    {"", " not valid: is this a git repository?", Kind::remoteNotFound},
    {"RPC failed; HTTP 401", "", Kind::authenticationFailed},
    {"RPC failed; HTTP 403", "", Kind::remotePermissionDenied},
    {"ERROR: Permission to ", "", Kind::remotePermissionDenied, " denied"},
    {"ERROR: You are not allowed to ", "", Kind::remotePermissionDenied},
    {"FATAL: ", "", Kind::remotePermissionDenied, " DENIED by "},
    {"ERROR: Repository not found", "", Kind::remoteNotFound},
    {"Remote branch ", " not found in upstream origin", Kind::remoteBranchMissing},
    {"couldn't find remote ref ", "", Kind::remoteBranchMissing},
    {"remote error: access denied or repository not exported", "", Kind::remoteNotFound},
    {"remote error: service not enabled", "", Kind::remoteRejected},
    {"transport '", "' not allowed", Kind::protocolNotAllowed},
    {"repository '", "' not found", Kind::remoteNotFound},
    {"repository '", "' does not exist", Kind::remoteNotFound},
    {"'", "' does not appear to be a git repository", Kind::remoteNotFound},
    {"unable to access '", "", Kind::remoteUnreachable},
    {"unable to connect to ", "", Kind::remoteUnreachable},
    {"unable to look up ", "", Kind::remoteUnreachable},
    {"ssh: ", "", Kind::remoteUnreachable},
    {"Could not read from remote repository.", "", Kind::remoteUnreachable},
    {" ! [rejected]", "(fetch first)", Kind::remoteOutOfDate},
    {" ! [rejected]", "(non-fast-forward)", Kind::remoteOutOfDate},
    {" ! [rejected]", "", Kind::remoteRejected},
    {" ! [remote rejected]", "", Kind::remoteRejected},
    {"bad object HEAD", "", Kind::targetMissing},
    {"bad object refs/", "", Kind::targetMissing},
    {"bad object ", "", Kind::unknownRevision},
    {"destination exists, source=", "", Kind::fileExists},
    {"'", "", Kind::branchInUse, "' is already checked out at '"},
    {"'", "", Kind::branchInUse, "' is already used by worktree at '"},
    {"not under version control, source=", "", Kind::unknownPath},
    {"bad source, source=", "", Kind::unknownPath},
    {"The following paths are ignored by ", "", Kind::ignored},
    {"pathspec '", "did not match any file(s) known to git", Kind::unknownPath},
    {"pathspec '", "did not match any files", Kind::unknownPath},
    {"Cannot lstat '", "': No such file or directory", Kind::fileDeleted},
    {"unsupported file type ", "", Kind::notAFile},
    {"no such commit ", "", Kind::unknownRevision},
    {"no such path '", "", Kind::unknownPath},
    {"no such path ", "", Kind::unknownPath},
    {"path '", "", Kind::unknownPath},
    {"", "", Kind::pathOutside, "' is outside repository at '"},
    {"'", "' is beyond a symbolic link", Kind::pathOutside},
    {"pathspec '", "' is beyond a symbolic link", Kind::pathOutside},
    {"bad config line ", "", Kind::configurationBroken},
    {"repo version is 0, but v1-only extension", "", Kind::configurationBroken},
    {"bad numeric config value ", "", Kind::configurationBroken},
    {"bad boolean config value ", "", Kind::configurationBroken},
    {"invalid object ", "", Kind::repositoryCorrupt},
    {"loose object ", "", Kind::repositoryCorrupt},
    {"object file ", " is empty", Kind::repositoryCorrupt},
    {"unable to read tree", "", Kind::repositoryCorrupt},
    {"unable to read ", "", Kind::repositoryCorrupt},
    {"bad tree object ", "", Kind::repositoryCorrupt},
    {"could not parse commit ", "", Kind::repositoryCorrupt},
    {"failed to read object ", "", Kind::repositoryCorrupt},
    {"Could not read ", "", Kind::repositoryCorrupt},
    {"missing blob ", "", Kind::repositoryCorrupt},
    {"packfile ", "", Kind::repositoryCorrupt},
    {"inflate: data stream error", "", Kind::repositoryCorrupt},
    {"You have not concluded your ", "", Kind::midOperation},
    {"Committing is not possible because you have unmerged files.", "", Kind::midOperation},
    {"Merging is not possible because you have unmerged files.", "", Kind::midOperation},
    {"Pulling is not possible because you have unmerged files.", "", Kind::midOperation},
    {"Exiting because of an unresolved conflict.", "", Kind::midOperation},
    {"Exiting because of unfinished merge.", "", Kind::midOperation},
    {"you need to resolve your current index first", "", Kind::midOperation},
    {"cannot do a partial commit during a ", "", Kind::midOperation},
    {"cherry-pick is already in progress", "", Kind::midOperation},
    {"revert is already in progress", "", Kind::midOperation},
    {"It seems that there is already a rebase-", "", Kind::midOperation},
    {"cannot switch branch while ", "", Kind::midOperation},
    {"conflicted, source=", "", Kind::midOperation},
    {"Your local changes to the following files would be overwritten", "", Kind::localChanges},
    {"The following untracked working tree files would be ", "", Kind::localChanges},
    {"Updating the following directories would lose untracked files in them", "", Kind::localChanges},
    {"the following file has ", "", Kind::localChanges},
    {"the following files have ", "", Kind::localChanges},
    {"cannot pull with rebase: You have unstaged changes", "", Kind::localChanges},
    {"cannot rebase: ", "", Kind::localChanges},
    {"Author identity unknown", "", Kind::identityUnknown},
    {"unable to auto-detect name", "", Kind::identityUnknown},
    {"empty ident name ", " not allowed", Kind::identityUnknown},
    {"Committer identity unknown", "", Kind::identityUnknown},
    {"unable to auto-detect email address", "", Kind::identityUnknown},
    {"no email was given and auto-detection is disabled", "", Kind::identityUnknown},
    {"no name was given and auto-detection is disabled", "", Kind::identityUnknown},
    {"", ": Permission denied", Kind::permissionDenied},
    {"insufficient permission for adding an object", "", Kind::permissionDenied},
    {"", ": No space left on device", Kind::diskFull},
    {"", ": Disk quota exceeded", Kind::diskFull},
    {"", ": Read-only file system", Kind::readOnlyFileSystem},
};

std::string_view trim(std::string_view text) {
  constexpr std::string_view white = " \t\r\n";
  std::size_t begin = text.find_first_not_of(white);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(white) - begin + 1);
}

/// Where git's advice begins that is no hint by its name, and how many lines it has.
constexpr std::pair<std::string_view, int> advice[] = {
    {"hint:", 1}, {"Consider \"git ", 1}, {"Another git process seems to be running in this repository", 5}};

/// What to do is said in words that are true of every host, beside git's own of what went wrong.
std::string withoutAdvice(std::string_view text) {
  std::string kept;
  for (int left = 0; !text.empty();) {
    std::string_view line = text.substr(0, std::min(text.find('\n'), text.size() - 1) + 1);
    for (const auto& [beginning, lines] : advice) {
      if (line.starts_with(beginning)) left = lines;
    }
    if (left == 0) kept.append(line);
    left = std::max(left - 1, 0);
    text.remove_prefix(line.size());
  }
  return kept;
}

std::string_view withoutLabel(std::string_view line) {
  for (std::string_view label : {"fatal: ", "error: ", "remote: fatal: ", "remote: error: "}) {
    if (line.starts_with(label)) return line.substr(label.size());
  }
  return line;
}

bool fits(std::string_view line, const Pattern& pattern) {
  return line.size() >= pattern.start.size() + pattern.end.size() && line.starts_with(pattern.start) &&
         line.ends_with(pattern.end) && line.find(pattern.within) != std::string_view::npos;
}

/// What stands between the first quotation mark and its fellow.
std::string_view quoted(std::string_view line) {
  std::size_t begin = line.find('\'');
  if (begin == std::string_view::npos) return {};
  std::size_t end = line.find('\'', begin + 1);
  return end == std::string_view::npos ? std::string_view{} : line.substr(begin + 1, end - begin - 1);
}

/// The name of a lock file may hold quotation marks itself; what follows it is git's.
std::string_view lockPath(std::string_view line) {
  constexpr std::string_view before = "Unable to create '";
  constexpr std::string_view after = "': File exists.";
  std::size_t begin = line.find(before);
  if (begin == std::string_view::npos || !line.ends_with(after)) return {};
  line.remove_prefix(begin + before.size());
  return line.substr(0, line.size() - after.size());
}

/// The first word that is an object's name in full.
std::string_view objectName(std::string_view line) {
  constexpr std::string_view digits = "0123456789abcdef";
  for (std::size_t begin = 0; (begin = line.find_first_of(digits, begin)) != std::string_view::npos;) {
    std::size_t end = std::min(line.find_first_not_of(digits, begin), line.size());
    if (end - begin == 40 || end - begin == 64) return line.substr(begin, end - begin);
    begin = end;
  }
  return {};
}

std::string_view detailOf(const Pattern& pattern, std::string_view line) {
  if (pattern.kind == Kind::locked) return lockPath(line);
  constexpr std::string_view badObject = "bad object ";
  if (pattern.start.starts_with(badObject)) return line.substr(badObject.size());
  if (pattern.kind == Kind::repositoryCorrupt) return objectName(line);
  // Named without quotation marks.
  if (pattern.kind == Kind::remoteBranchMissing) {
    return line.substr(pattern.start.size(), line.size() - pattern.start.size() - pattern.end.size());
  }
  return quoted(line);
}

/// The exit status of a git that gives up by itself; hooks seldom use it.
constexpr int fatalExit = 128;

/// What git also reports with other exit statuses where hooks may run.
bool isOfOwnFiles(Kind kind) {
  return kind == Kind::unknownPath || kind == Kind::unknownRevision || kind == Kind::midOperation ||
         kind == Kind::localChanges || kind == Kind::noCommonAncestor || kind == Kind::exists ||
         kind == Kind::repositoryCorrupt || kind == Kind::targetMissing || kind == Kind::indexUnreadable ||
         kind == Kind::diskFull || kind == Kind::readOnlyFileSystem;
}

}  // namespace

GitFailure classifyGitFailure(int exitCode, std::string_view errorOutput, bool hasRunHooks) {
  GitFailure failure{Kind::other, {}, qrb::withoutPasswordsOfURLs(trim(withoutAdvice(errorOutput)))};
  const Pattern* best = std::end(patterns);
  std::string_view bestLine;
  for (std::string_view rest = errorOutput; !rest.empty();) {
    std::size_t end = rest.find('\n');
    std::string_view line = withoutLabel(rest.substr(0, end));
    // ssh ends its lines as terminals do.
    if (line.ends_with('\r')) line.remove_suffix(1);
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    const Pattern* found =
        std::find_if(std::begin(patterns), best, [line](const Pattern& pattern) { return fits(line, pattern); });
    if (found == best) continue;
    best = found;
    bestLine = line;
  }
  if (best == std::end(patterns)) {
    // The exit status of a program that could not be found, as shells and process launchers report it.
    if (exitCode == 127) failure.kind = Kind::gitMissing;
    return failure;
  }
  if (hasRunHooks && exitCode != fatalExit && !isOfOwnFiles(best->kind)) return failure;
  failure.kind = best->kind;
  failure.detail = qrb::withoutPasswordsOfURLs(detailOf(*best, bestLine));
  return failure;
}
