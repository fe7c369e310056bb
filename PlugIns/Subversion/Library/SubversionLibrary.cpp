#include "SubversionLibrary.h"

#include <apr_general.h>
#include <setjmp.h>
#include <signal.h>
#include <svn_dirent_uri.h>
#include <svn_dso.h>
#include <svn_path.h>
#include <svn_pools.h>
#include <svn_utf.h>

#include <clocale>

namespace {

/// The library translates names of files by the locale, whatever the host's is.
apr_pool_t* rootPool() {
  static apr_pool_t* const pool = [] {
    ::setlocale(LC_CTYPE, "C.UTF-8");
    apr_initialize();
    // A fault that the library finds in itself is an error of one call.
    svn_error_set_malfunction_handler(svn_error_raise_on_malfunction);
    svn_error_clear(svn_dso_initialize2());
    apr_pool_t* made = svn_pool_create(nullptr);
    svn_utf_initialize2(FALSE, made);
    return made;
  }();
  return pool;
}

/// Where to go on when the library gives up. A process serves one request on one thread.
sigjmp_buf afterGivingUp;
bool isInLibrary = false;
bool hasGivenUp = false;

void goOn(int) {
  // Whoever gives up outside of the library does it for good.
  if (!isInLibrary) return;
  hasGivenUp = true;
  siglongjmp(afterGivingUp, 1);
}

SubversionFailure givenUp(std::string_view subject) {
  SubversionFailure failure(SubversionFailureKind::damaged,
                            "Subversion's library cannot work with what it found there, and gave up.");
  failure.subject = subject;
  return failure;
}

}  // namespace

SubversionFailure subversionRun(const std::function<svn_error_t*()>& call, std::string_view subject) {
  static const bool isPrepared = [] {
    struct sigaction action {};
    action.sa_handler = goOn;
    return ::sigaction(SIGABRT, &action, nullptr) == 0;
  }();
  if (hasGivenUp) return givenUp(subject);
  bool isNested = isInLibrary;
  // The mask is restored as well: the signal is blocked while it is handled.
  if (isPrepared && !isNested && sigsetjmp(afterGivingUp, 1) != 0) {
    isInLibrary = false;
    return givenUp(subject);
  }
  isInLibrary = true;
  svn_error_t* error = call();
  isInLibrary = isNested;
  return subversionFailure(error, subject);
}

SubversionPool::SubversionPool() : _pool(svn_pool_create(rootPool())) {}

const char* subversionPlace(std::string_view place, apr_pool_t* pool) {
  std::string text(place);
  return svn_path_is_url(text.c_str()) ? svn_uri_canonicalize(text.c_str(), pool)
                                       : svn_dirent_internal_style(text.c_str(), pool);
}

apr_array_header_t* subversionArray(const std::vector<std::string>& texts, apr_pool_t* pool) {
  apr_array_header_t* array = apr_array_make(pool, static_cast<int>(texts.size()), sizeof(const char*));
  for (const std::string& text : texts)
    APR_ARRAY_PUSH(array, const char*) = apr_pstrmemdup(pool, text.data(), text.size());
  return array;
}

apr_array_header_t* subversionPlaces(const std::vector<std::string>& places, apr_pool_t* pool) {
  apr_array_header_t* array = apr_array_make(pool, static_cast<int>(places.size()), sizeof(const char*));
  for (const std::string& place : places) APR_ARRAY_PUSH(array, const char*) = subversionPlace(place, pool);
  return array;
}

svn_opt_revision_t subversionOptRevision(const SubversionRevision& revision) {
  svn_opt_revision_t result{};
  switch (revision.kind) {
    case SubversionRevision::Kind::unspecified:
      result.kind = svn_opt_revision_unspecified;
      break;
    case SubversionRevision::Kind::number:
      result.kind = svn_opt_revision_number;
      result.value.number = revision.number;
      break;
    case SubversionRevision::Kind::head:
      result.kind = svn_opt_revision_head;
      break;
    case SubversionRevision::Kind::base:
      result.kind = svn_opt_revision_base;
      break;
    case SubversionRevision::Kind::working:
      result.kind = svn_opt_revision_working;
      break;
  }
  return result;
}

SubversionNodeKind subversionNodeKind(svn_node_kind_t kind) {
  switch (kind) {
    case svn_node_none:
      return SubversionNodeKind::none;
    case svn_node_file:
      return SubversionNodeKind::file;
    case svn_node_dir:
      return SubversionNodeKind::folder;
    case svn_node_symlink:
      return SubversionNodeKind::link;
    default:
      return SubversionNodeKind::unknown;
  }
}

SubversionTime subversionTime(apr_time_t time) {
  return SubversionTime(std::chrono::microseconds(time));
}

std::string subversionURL(const std::string& rootURL, std::string_view path) {
  SubversionPool pool;
  return svn_path_url_add_component2(subversionPlace(rootURL, pool), std::string(path).c_str(), pool);
}

std::string subversionEncoded(std::string_view path) {
  SubversionPool pool;
  return svn_path_uri_encode(std::string(path).c_str(), pool);
}

std::string subversionDecoded(std::string_view path) {
  SubversionPool pool;
  return svn_path_uri_decode(std::string(path).c_str(), pool);
}
