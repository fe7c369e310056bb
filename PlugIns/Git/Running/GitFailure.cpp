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
    {"unable to read askpass response from '", "", Kind::AuthenticationFailed},
    {"detected dubious ownership in repository at ", "", Kind::DubiousOwnership},
    {"unsafe repository (", "", Kind::DubiousOwnership},
    {"Unable to create '", ".lock': File exists.", Kind::Locked},
    {"could not lock config file ", ": File exists", Kind::Locked},
    {"cannot lock ref ", ".lock': File exists.", Kind::Locked},
    // Another process has moved the ref between two looks at it.
    {"cannot lock ref '", "", Kind::Locked, "': is at "},
    {"index uses ", " extension, which we do not understand", Kind::RepositoryTooNew},
    {"index file corrupt", "", Kind::IndexUnreadable},
    {"bad signature 0x", "", Kind::IndexUnreadable},
    {"bad index file sha1 signature", "", Kind::IndexUnreadable},
    {"bad index version ", "", Kind::IndexUnreadable},
    {"malformed name field in the index", "", Kind::IndexUnreadable},
    {"unknown index entry format ", "", Kind::IndexUnreadable},
    {"unordered stage entries in index", "", Kind::IndexUnreadable},
    {"", ": index file smaller than expected", Kind::IndexUnreadable},
    {"", ": index file open failed: Permission denied", Kind::PermissionDenied},
    {"", ": index file open failed: Is a directory", Kind::IndexUnreadable},
    {"", ": index file open failed: Not a directory", Kind::IndexUnreadable},
    {"", "", Kind::IndexUnreadable, ": unable to map index file: "},
    {"", "", Kind::IndexUnreadable, ": cannot stat the open index: "},
    {"cache entry has null sha1", "", Kind::IndexUnreadable},
    {"not a git repository", "", Kind::NotARepository},
    {"Expected git repo version ", "", Kind::RepositoryTooNew},
    {"unknown repository extension", "", Kind::RepositoryTooNew},
    {"this operation must be run in a work tree", "", Kind::NoWorkingCopy},
    {"your current branch '", "' does not have any commits yet", Kind::UnbornHead},
    {"bad default revision 'HEAD'", "", Kind::UnbornHead},
    {"no such ref: HEAD", "", Kind::UnbornHead},
    {"ambiguous argument 'HEAD': ", "", Kind::UnbornHead},
    {"bad revision 'HEAD'", "", Kind::UnbornHead},
    {"bad revision 'HEAD...", "", Kind::UnbornHead},
    {"no upstream configured for branch", "", Kind::NoUpstream},
    {"HEAD does not point to a branch", "", Kind::NoUpstream},
    {"no such branch: ", "", Kind::NoUpstream},
    {"upstream branch '", "", Kind::NoUpstream},
    {"ambiguous argument 'HEAD...@{upstream}': ", "", Kind::NoUpstream},
    {"", ": no merge base", Kind::NoCommonAncestor},
    {"refusing to merge unrelated histories", "", Kind::NoCommonAncestor},
    {"ambiguous argument '", "", Kind::UnknownRevision},
    {"bad revision '", "", Kind::UnknownRevision},
    {"Needed a single revision", "", Kind::UnknownRevision},
    {"short object ID ", " is ambiguous", Kind::UnknownRevision},
    {"invalid object name ", "", Kind::UnknownRevision},
    {"Not a valid object name ", "", Kind::UnknownRevision},
    {"Not a valid commit name ", "", Kind::UnknownRevision},
    {"not a valid object name: '", "", Kind::UnknownRevision},
    {"a branch named '", "' already exists", Kind::Exists},
    {"A branch named '", "' already exists.", Kind::Exists},
    {"tag '", "' already exists", Kind::Exists},
    {"remote ", " already exists.", Kind::Exists},
    {"cannot lock ref '", "'", Kind::Exists, "' exists; cannot create '"},
    {"branch '", "' not found.", Kind::UnknownBranch},
    {"remote-tracking branch '", "' not found.", Kind::UnknownBranch},
    {"branch '", "' not found", Kind::UnknownBranch},
    {"remote-tracking branch '", "' not found", Kind::UnknownBranch},
    {"Cannot delete branch '", "'", Kind::BranchInUse, "' checked out at '"},
    {"cannot delete branch '", "'", Kind::BranchInUse, "' used by worktree at '"},
    {"No such remote: '", "'", Kind::UnknownRemote},
    {"No such remote '", "'", Kind::UnknownRemote},
    {"invalid reference: ", "", Kind::UnknownRevision},
    {"a branch is expected, got ", "", Kind::UnknownRevision},
    {"merge: ", " - not something we can merge", Kind::UnknownRevision},
    {"Authentication failed for ", "", Kind::AuthenticationFailed},
    {"could not read Username for ", "", Kind::AuthenticationFailed},
    {"could not read Password for ", "", Kind::AuthenticationFailed},
    {"Host key verification failed.", "", Kind::HostKeyUnverified},
    {"Load key \"", "\": invalid format", Kind::KeyInvalid},
    {"Load key \"", "\": error in libcrypto", Kind::KeyInvalid},
    {"", ").", Kind::AuthenticationFailed, ": Permission denied ("},
    {"", "Too many authentication failures", Kind::AuthenticationFailed},
    {"unable to access '", "", Kind::CertificateInvalid, "': server certificate verification failed"},
    {"unable to access '", "", Kind::CertificateInvalid, "': SSL certificate problem"},
    {"unable to access '", "", Kind::CertificateInvalid, "SSL: certificate subject name "},
    {"unable to access '", "", Kind::CertificateInvalid, "SSL: public key does not match pinned public key"},
    {"unable to access '", "The requested URL returned error: 401", Kind::AuthenticationFailed},
    {"unable to access '", "The requested URL returned error: 403", Kind::RemotePermissionDenied},
    {"unable to access '", "The requested URL returned error: 404", Kind::RemoteNotFound},
    {"", " not valid: is this a git repository?", Kind::RemoteNotFound},
    {"RPC failed; HTTP 401", "", Kind::AuthenticationFailed},
    {"RPC failed; HTTP 403", "", Kind::RemotePermissionDenied},
    {"ERROR: Permission to ", "", Kind::RemotePermissionDenied, " denied"},
    {"ERROR: You are not allowed to ", "", Kind::RemotePermissionDenied},
    {"FATAL: ", "", Kind::RemotePermissionDenied, " DENIED by "},
    {"ERROR: Repository not found", "", Kind::RemoteNotFound},
    {"Remote branch ", " not found in upstream origin", Kind::RemoteBranchMissing},
    {"couldn't find remote ref ", "", Kind::RemoteBranchMissing},
    {"remote error: access denied or repository not exported", "", Kind::RemoteNotFound},
    {"remote error: service not enabled", "", Kind::RemoteRejected},
    {"transport '", "' not allowed", Kind::ProtocolNotAllowed},
    {"repository '", "' not found", Kind::RemoteNotFound},
    {"repository '", "' does not exist", Kind::RemoteNotFound},
    {"'", "' does not appear to be a git repository", Kind::RemoteNotFound},
    {"unable to access '", "", Kind::RemoteUnreachable},
    {"unable to connect to ", "", Kind::RemoteUnreachable},
    {"unable to look up ", "", Kind::RemoteUnreachable},
    {"ssh: ", "", Kind::RemoteUnreachable},
    {"Could not read from remote repository.", "", Kind::RemoteUnreachable},
    {" ! [rejected]", "(fetch first)", Kind::RemoteOutOfDate},
    {" ! [rejected]", "(non-fast-forward)", Kind::RemoteOutOfDate},
    {" ! [rejected]", "", Kind::RemoteRejected},
    {" ! [remote rejected]", "", Kind::RemoteRejected},
    {"bad object HEAD", "", Kind::TargetMissing},
    {"bad object refs/", "", Kind::TargetMissing},
    {"bad object ", "", Kind::UnknownRevision},
    {"destination exists, source=", "", Kind::FileExists},
    {"'", "", Kind::BranchInUse, "' is already checked out at '"},
    {"'", "", Kind::BranchInUse, "' is already used by worktree at '"},
    {"not under version control, source=", "", Kind::UnknownPath},
    {"bad source, source=", "", Kind::UnknownPath},
    {"The following paths are ignored by ", "", Kind::Ignored},
    {"pathspec '", "did not match any file(s) known to git", Kind::UnknownPath},
    {"pathspec '", "did not match any files", Kind::UnknownPath},
    {"Cannot lstat '", "': No such file or directory", Kind::FileDeleted},
    {"unsupported file type ", "", Kind::NotAFile},
    {"no such commit ", "", Kind::UnknownRevision},
    {"no such path '", "", Kind::UnknownPath},
    {"no such path ", "", Kind::UnknownPath},
    {"path '", "", Kind::UnknownPath},
    {"", "", Kind::PathOutside, "' is outside repository at '"},
    {"'", "' is beyond a symbolic link", Kind::PathOutside},
    {"pathspec '", "' is beyond a symbolic link", Kind::PathOutside},
    {"bad config line ", "", Kind::ConfigurationBroken},
    {"repo version is 0, but v1-only extension", "", Kind::ConfigurationBroken},
    {"bad numeric config value ", "", Kind::ConfigurationBroken},
    {"bad boolean config value ", "", Kind::ConfigurationBroken},
    {"invalid object ", "", Kind::RepositoryCorrupt},
    {"loose object ", "", Kind::RepositoryCorrupt},
    {"object file ", " is empty", Kind::RepositoryCorrupt},
    {"unable to read tree", "", Kind::RepositoryCorrupt},
    {"unable to read ", "", Kind::RepositoryCorrupt},
    {"bad tree object ", "", Kind::RepositoryCorrupt},
    {"could not parse commit ", "", Kind::RepositoryCorrupt},
    {"failed to read object ", "", Kind::RepositoryCorrupt},
    {"Could not read ", "", Kind::RepositoryCorrupt},
    {"missing blob ", "", Kind::RepositoryCorrupt},
    {"packfile ", "", Kind::RepositoryCorrupt},
    {"inflate: data stream error", "", Kind::RepositoryCorrupt},
    {"You have not concluded your ", "", Kind::MidOperation},
    {"Committing is not possible because you have unmerged files.", "", Kind::MidOperation},
    {"Merging is not possible because you have unmerged files.", "", Kind::MidOperation},
    {"Pulling is not possible because you have unmerged files.", "", Kind::MidOperation},
    {"Exiting because of an unresolved conflict.", "", Kind::MidOperation},
    {"Exiting because of unfinished merge.", "", Kind::MidOperation},
    {"you need to resolve your current index first", "", Kind::MidOperation},
    {"cannot do a partial commit during a ", "", Kind::MidOperation},
    {"cherry-pick is already in progress", "", Kind::MidOperation},
    {"revert is already in progress", "", Kind::MidOperation},
    {"It seems that there is already a rebase-", "", Kind::MidOperation},
    {"cannot switch branch while ", "", Kind::MidOperation},
    {"conflicted, source=", "", Kind::MidOperation},
    {"Your local changes to the following files would be overwritten", "", Kind::LocalChanges},
    {"The following untracked working tree files would be ", "", Kind::LocalChanges},
    {"Updating the following directories would lose untracked files in them", "", Kind::LocalChanges},
    {"the following file has ", "", Kind::LocalChanges},
    {"the following files have ", "", Kind::LocalChanges},
    {"cannot pull with rebase: You have unstaged changes", "", Kind::LocalChanges},
    {"cannot rebase: ", "", Kind::LocalChanges},
    {"Author identity unknown", "", Kind::IdentityUnknown},
    {"unable to auto-detect name", "", Kind::IdentityUnknown},
    {"empty ident name ", " not allowed", Kind::IdentityUnknown},
    {"Committer identity unknown", "", Kind::IdentityUnknown},
    {"unable to auto-detect email address", "", Kind::IdentityUnknown},
    {"no email was given and auto-detection is disabled", "", Kind::IdentityUnknown},
    {"no name was given and auto-detection is disabled", "", Kind::IdentityUnknown},
    {"", ": Permission denied", Kind::PermissionDenied},
    {"insufficient permission for adding an object", "", Kind::PermissionDenied},
    {"", ": No space left on device", Kind::DiskFull},
    {"", ": Disk quota exceeded", Kind::DiskFull},
    {"", ": Read-only file system", Kind::ReadOnlyFileSystem},
};

std::string_view trim(std::string_view text) {
  constexpr std::string_view white = " \t\r\n";
  const std::size_t begin = text.find_first_not_of(white);
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
    const std::string_view line = text.substr(0, std::min(text.find('\n'), text.size() - 1) + 1);
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
  for (const std::string_view label : {"fatal: ", "error: ", "remote: fatal: ", "remote: error: "}) {
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
  const std::size_t begin = line.find('\'');
  if (begin == std::string_view::npos) return {};
  const std::size_t end = line.find('\'', begin + 1);
  return end == std::string_view::npos ? std::string_view{} : line.substr(begin + 1, end - begin - 1);
}

/// The name of a lock file may hold quotation marks itself; what follows it is git's.
std::string_view lockPath(std::string_view line) {
  constexpr std::string_view before = "Unable to create '";
  constexpr std::string_view after = "': File exists.";
  const std::size_t begin = line.find(before);
  if (begin == std::string_view::npos || !line.ends_with(after)) return {};
  line.remove_prefix(begin + before.size());
  return line.substr(0, line.size() - after.size());
}

/// The first word that is an object's name in full.
std::string_view objectName(std::string_view line) {
  constexpr std::string_view digits = "0123456789abcdef";
  for (std::size_t begin = 0; (begin = line.find_first_of(digits, begin)) != std::string_view::npos;) {
    const std::size_t end = std::min(line.find_first_not_of(digits, begin), line.size());
    if (end - begin == 40 || end - begin == 64) return line.substr(begin, end - begin);
    begin = end;
  }
  return {};
}

std::string_view detailOf(const Pattern& pattern, std::string_view line) {
  if (pattern.kind == Kind::Locked) return lockPath(line);
  constexpr std::string_view badObject = "bad object ";
  if (pattern.start.starts_with(badObject)) return line.substr(badObject.size());
  if (pattern.kind == Kind::RepositoryCorrupt) return objectName(line);
  // Named without quotation marks.
  if (pattern.kind == Kind::RemoteBranchMissing) {
    return line.substr(pattern.start.size(), line.size() - pattern.start.size() - pattern.end.size());
  }
  return quoted(line);
}

/// The exit status of a git that gives up by itself; hooks seldom use it.
constexpr int fatalExit = 128;

/// What git also reports with other exit statuses where hooks may run.
bool isOfOwnFiles(Kind kind) {
  return kind == Kind::UnknownPath || kind == Kind::UnknownRevision || kind == Kind::MidOperation ||
         kind == Kind::LocalChanges || kind == Kind::NoCommonAncestor || kind == Kind::Exists ||
         kind == Kind::RepositoryCorrupt || kind == Kind::TargetMissing || kind == Kind::IndexUnreadable ||
         kind == Kind::DiskFull || kind == Kind::ReadOnlyFileSystem;
}

}  // namespace

GitFailure classifyGitFailure(int exitCode, std::string_view errorOutput, bool hasRunHooks) {
  GitFailure failure{Kind::Other, {}, qrb::withoutPasswordsOfURLs(trim(withoutAdvice(errorOutput)))};
  const Pattern* best = std::end(patterns);
  std::string_view bestLine;
  for (std::string_view rest = errorOutput; !rest.empty();) {
    const std::size_t end = rest.find('\n');
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
    if (exitCode == 127) failure.kind = Kind::GitMissing;
    return failure;
  }
  if (hasRunHooks && exitCode != fatalExit && !isOfOwnFiles(best->kind)) return failure;
  failure.kind = best->kind;
  failure.detail = qrb::withoutPasswordsOfURLs(detailOf(*best, bestLine));
  return failure;
}
