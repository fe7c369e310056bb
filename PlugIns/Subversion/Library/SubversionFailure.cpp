#include "SubversionFailure.h"

#include <svn_error_codes.h>

#include <array>
#include <cerrno>

#include "SubversionLibrary.h"

namespace {

struct Meaning {
  apr_status_t code;
  SubversionFailureKind kind;
};

using Kind = SubversionFailureKind;

// The first that occurs anywhere in a chain of errors tells, so the more telling ones stand first: that a hook has
// refused says more than that a commit failed.
constexpr Meaning meanings[] = {
    {SVN_ERR_CANCELLED, Kind::cancelled},
    {SVN_ERR_REPOS_HOOK_FAILURE, Kind::hookRefused},
    {SVN_ERR_WC_UPGRADE_REQUIRED, Kind::needsUpgrade},
    {SVN_ERR_SQLITE_BUSY, Kind::workingCopyLocked},
    {SVN_ERR_WC_CORRUPT, Kind::damaged},
    {SVN_ERR_WC_CORRUPT_TEXT_BASE, Kind::damaged},
    {SVN_ERR_SQLITE_ERROR, Kind::damaged},
    {SVN_ERR_WC_CLEANUP_REQUIRED, Kind::workingCopyLocked},
    {SVN_ERR_WC_LOCKED, Kind::workingCopyLocked},
    {SVN_ERR_WC_NOT_WORKING_COPY, Kind::notAWorkingCopy},
    {SVN_ERR_WC_FOUND_CONFLICT, Kind::conflicted},
    {SVN_ERR_WC_NOT_UP_TO_DATE, Kind::outOfDate},
    {SVN_ERR_FS_TXN_OUT_OF_DATE, Kind::outOfDate},
    {SVN_ERR_RA_OUT_OF_DATE, Kind::outOfDate},
    {SVN_ERR_FS_CONFLICT, Kind::outOfDate},
    {SVN_ERR_FS_PATH_ALREADY_LOCKED, Kind::fileLocked},
    {SVN_ERR_FS_BAD_LOCK_TOKEN, Kind::fileLocked},
    {SVN_ERR_FS_LOCK_OWNER_MISMATCH, Kind::fileLocked},
    {SVN_ERR_FS_NO_LOCK_TOKEN, Kind::fileLocked},
    {SVN_ERR_CLIENT_MODIFIED, Kind::localChanges},
    {SVN_ERR_WC_LEFT_LOCAL_MOD, Kind::localChanges},
    {SVN_ERR_RA_SERF_SSL_CERT_UNTRUSTED, Kind::certificateUntrusted},
    {SVN_ERR_AUTHZ_UNREADABLE, Kind::permissionDenied},
    {SVN_ERR_AUTHZ_UNWRITABLE, Kind::permissionDenied},
    {SVN_ERR_AUTHZ_PARTIALLY_READABLE, Kind::permissionDenied},
    {SVN_ERR_AUTHZ_ROOT_UNREADABLE, Kind::permissionDenied},
    {SVN_ERR_RA_DAV_FORBIDDEN, Kind::permissionDenied},
    {SVN_ERR_AUTHN_FAILED, Kind::loginRefused},
    {SVN_ERR_RA_NOT_AUTHORIZED, Kind::loginRefused},
    {SVN_ERR_AUTHN_CREDS_UNAVAILABLE, Kind::loginMissing},
    {SVN_ERR_AUTHN_NO_PROVIDER, Kind::loginMissing},
    {SVN_ERR_WC_PATH_NOT_FOUND, Kind::notVersioned},
    {SVN_ERR_UNVERSIONED_RESOURCE, Kind::notVersioned},
    {SVN_ERR_ENTRY_NOT_FOUND, Kind::notVersioned},
    {SVN_ERR_WC_UNSUPPORTED_FORMAT, Kind::tooNew},
    {SVN_ERR_FS_NO_SUCH_REVISION, Kind::revisionNotFound},
    {SVN_ERR_CLIENT_BAD_REVISION, Kind::revisionNotFound},
    {SVN_ERR_CLIENT_UNRELATED_RESOURCES, Kind::unrelated},
    {SVN_ERR_CLIENT_NOT_READY_TO_MERGE, Kind::unrelated},
    {SVN_ERR_RA_LOCAL_REPOS_OPEN_FAILED, Kind::repositoryNotFound},
    {SVN_ERR_RA_LOCAL_REPOS_NOT_FOUND, Kind::repositoryNotFound},
    {SVN_ERR_RA_SVN_REPOS_NOT_FOUND, Kind::repositoryNotFound},
    {SVN_ERR_REPOS_BAD_ARGS, Kind::repositoryNotFound},
    {SVN_ERR_BAD_URL, Kind::unsupportedAddress},
    {SVN_ERR_FS_NOT_FOUND, Kind::pathNotFound},
    // Addresses are checked before the library gets them; what it means then is that nothing is there.
    {SVN_ERR_RA_ILLEGAL_URL, Kind::pathNotFound},
    {SVN_ERR_RA_DAV_PATH_NOT_FOUND, Kind::pathNotFound},
    {SVN_ERR_CLIENT_IS_DIRECTORY, Kind::pathNotFound},
    {SVN_ERR_FS_NOT_FILE, Kind::pathNotFound},
    {SVN_ERR_ILLEGAL_TARGET, Kind::pathNotFound},
    {SVN_ERR_FS_ALREADY_EXISTS, Kind::exists},
    {SVN_ERR_ENTRY_EXISTS, Kind::exists},
    {SVN_ERR_WC_OBSTRUCTED_UPDATE, Kind::exists},
    {SVN_ERR_RA_DAV_OPTIONS_REQ_FAILED, Kind::repositoryNotFound},
    {SVN_ERR_RA_CANNOT_CREATE_SESSION, Kind::repositoryNotFound},
    {SVN_ERR_RA_CANNOT_CREATE_TUNNEL, Kind::repositoryNotFound},
    {SVN_ERR_RA_SVN_CONNECTION_CLOSED, Kind::repositoryNotFound},
    {SVN_ERR_UNSUPPORTED_FEATURE, Kind::notSupported},
    {ENOSPC, Kind::diskFull},
};

SubversionFailureKind kindOf(const svn_error_t* error) {
  // The same code is told of two lines that were never one, and of a path that a revision has not.
  if (const svn_error_t* cause =
          svn_error_find_cause(const_cast<svn_error_t*>(error), SVN_ERR_CLIENT_UNRELATED_RESOURCES);
      cause != nullptr && subversionView(cause->message).starts_with("Unable to find repository location")) {
    return SubversionFailureKind::pathNotFound;
  }
  for (const Meaning& meaning : meanings) {
    for (const svn_error_t* each = error; each != nullptr; each = each->child) {
      if (each->apr_err == meaning.code) return meaning.kind;
    }
  }
  // What the system says of reaching a server has no code of the library's.
  for (const svn_error_t* each = error; each != nullptr; each = each->child) {
    if (APR_STATUS_IS_ECONNREFUSED(each->apr_err) || APR_STATUS_IS_EHOSTUNREACH(each->apr_err) ||
        APR_STATUS_IS_ENETUNREACH(each->apr_err) || APR_STATUS_IS_TIMEUP(each->apr_err) ||
        (each->apr_err >= APR_OS_START_EAIERR && each->apr_err < APR_OS_START_SYSERR)) {
      return SubversionFailureKind::repositoryNotFound;
    }
    if (APR_STATUS_IS_ENOENT(each->apr_err)) return SubversionFailureKind::pathNotFound;
    if (APR_STATUS_IS_EACCES(each->apr_err)) return SubversionFailureKind::permissionDenied;
  }
  return SubversionFailureKind::other;
}

/// Each message once, outermost first, a line each.
std::string messageOf(const svn_error_t* error) {
  std::string text;
  std::string last;
  for (const svn_error_t* each = error; each != nullptr; each = each->child) {
    std::array<char, 512> buffer;
    std::string line =
        each->message != nullptr ? each->message : svn_strerror(each->apr_err, buffer.data(), buffer.size());
    if (line == last) continue;
    if (!text.empty()) text.push_back('\n');
    text += line;
    last = std::move(line);
  }
  return text;
}

}  // namespace

SubversionFailure subversionFailure(svn_error_t* error, std::string_view subject) {
  if (error == nullptr) return {};
  const svn_error_t* plain = svn_error_purge_tracing(error);
  SubversionFailure failure(kindOf(plain), messageOf(plain));
  failure.subject = subject;
  svn_error_clear(error);
  return failure;
}
