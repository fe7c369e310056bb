#include <svn_hash.h>
#include <svn_path.h>
#include <svn_props.h>
#include <svn_ra.h>
#include <svn_time.h>

#include <algorithm>

#include "SubversionClientPrivate.h"

namespace {

/// Ends a call whose receiver has had enough.
constexpr apr_status_t enoughWasTold = SVN_ERR_CEASE_INVOCATION;

std::string_view valueOf(apr_hash_t* properties, const char* name) {
  const auto* value =
      properties == nullptr ? nullptr : static_cast<const svn_string_t*>(svn_hash_gets(properties, name));
  return value == nullptr ? std::string_view() : std::string_view(value->data, value->len);
}

/// What a revision's properties say of it. A date that is none is the beginning of time.
struct Signature {
  std::string_view author;
  SubversionTime date;
  std::string_view message;

  Signature(apr_hash_t* properties, apr_pool_t* pool)
      : author(valueOf(properties, SVN_PROP_REVISION_AUTHOR)), message(valueOf(properties, SVN_PROP_REVISION_LOG)) {
    apr_time_t time = 0;
    std::string_view text = valueOf(properties, SVN_PROP_REVISION_DATE);
    if (!text.empty()) svn_error_clear(svn_time_from_cstring(&time, text.data(), pool));
    date = subversionTime(time);
  }
};

void takeChanges(const svn_log_entry_t& told, std::vector<SubversionChange>& changes, apr_pool_t* pool) {
  if (told.changed_paths2 == nullptr) return;
  for (apr_hash_index_t* each = apr_hash_first(pool, told.changed_paths2); each != nullptr;
       each = apr_hash_next(each)) {
    const auto& change = *static_cast<const svn_log_changed_path2_t*>(apr_hash_this_val(each));
    changes.push_back({static_cast<const char*>(apr_hash_this_key(each)), change.action,
                       subversionView(change.copyfrom_path), change.text_modified != svn_tristate_false,
                       change.props_modified == svn_tristate_true});
  }
  std::ranges::sort(changes, {}, &SubversionChange::path);
}

svn_error_t* takeLogEntry(void* baton, svn_log_entry_t* told, apr_pool_t* pool) {
  // The state before the first revision is none that anybody made.
  if (told->revision == 0) return SVN_NO_ERROR;
  Signature signature(told->revprops, pool);
  SubversionLogEntry entry{told->revision, signature.author, signature.date, signature.message, {}};
  takeChanges(*told, entry.changes, pool);
  const auto& receiver = *static_cast<const std::function<bool(const SubversionLogEntry&)>*>(baton);
  return receiver(entry) ? SVN_NO_ERROR : svn_error_create(enoughWasTold, nullptr, nullptr);
}

svn_error_t* takeBlame(void* baton, apr_int64_t number, svn_revnum_t revision, apr_hash_t* properties, svn_revnum_t,
                       apr_hash_t*, const char*, const svn_string_t*, svn_boolean_t isLocal, apr_pool_t* pool) {
  SubversionBlameLine line;
  line.line = static_cast<std::uint64_t>(number) + 1;
  if (!isLocal && SVN_IS_VALID_REVNUM(revision)) {
    Signature signature(properties, pool);
    line.revision = revision;
    line.author = signature.author;
    line.date = signature.date;
    line.message = signature.message;
  }
  (*static_cast<const std::function<void(const SubversionBlameLine&)>*>(baton))(line);
  return SVN_NO_ERROR;
}

svn_error_t* takeSegment(svn_location_segment_t* told, void* baton, apr_pool_t*) {
  if (told->path == nullptr) return SVN_NO_ERROR;
  static_cast<std::vector<SubversionSegment>*>(baton)->push_back({told->path, told->range_start, told->range_end});
  return SVN_NO_ERROR;
}

}  // namespace

SubversionFailure SubversionClient::log(const LogRequest& request,
                                        const std::function<bool(const SubversionLogEntry&)>& receiver) {
  if (SubversionFailure failure = _private->open()) return failure;
  SubversionPool pool;
  svn_opt_revision_t peg = subversionOptRevision(request.target.peg);
  auto* range = static_cast<svn_opt_revision_range_t*>(apr_pcalloc(pool, sizeof(svn_opt_revision_range_t)));
  range->start = subversionOptRevision(request.from);
  range->end = subversionOptRevision(request.to);
  apr_array_header_t* ranges = apr_array_make(pool, 1, sizeof(svn_opt_revision_range_t*));
  APR_ARRAY_PUSH(ranges, svn_opt_revision_range_t*) = range;
  std::vector<std::string> properties{SVN_PROP_REVISION_AUTHOR, SVN_PROP_REVISION_DATE};
  if (request.withMessages) properties.emplace_back(SVN_PROP_REVISION_LOG);
  auto tell = [&]() -> svn_error_t* {
    svn_error_t* error = svn_client_log5(subversionPlaces({request.target.place}, pool), &peg, ranges, request.maximum,
                                         request.withChanges ? TRUE : FALSE, request.stopsAtCopies ? TRUE : FALSE,
                                         FALSE, subversionArray(properties, pool), takeLogEntry,
                                         const_cast<std::function<bool(const SubversionLogEntry&)>*>(&receiver),
                                         _private->context(), pool);
    if (error == nullptr || svn_error_find_cause(error, enoughWasTold) == nullptr) return error;
    svn_error_clear(error);
    return SVN_NO_ERROR;
  };
  return subversionRun(tell, request.target.place);
}

SubversionFailure SubversionClient::blame(const SubversionTarget& target,
                                          const std::function<void(const SubversionBlameLine&)>& receiver) {
  if (SubversionFailure failure = _private->open()) return failure;
  SubversionPool pool;
  svn_opt_revision_t peg = subversionOptRevision(target.peg);
  svn_opt_revision_t first = subversionOptRevision(SubversionRevision::at(1));
  svn_opt_revision_t last = subversionOptRevision(target.revision);
  return subversionRun(
      [&] {
        return svn_client_blame6(nullptr, nullptr, subversionPlace(target.place, pool), &peg, &first, &last,
                                 svn_diff_file_options_create(pool), FALSE, FALSE, takeBlame,
                                 const_cast<std::function<void(const SubversionBlameLine&)>*>(&receiver),
                                 _private->context(), pool);
      },
      target.place);
}

SubversionFailure SubversionClient::segments(const std::string& url, std::vector<SubversionSegment>& segments) {
  if (SubversionFailure failure = _private->open()) return failure;
  SubversionPool pool;
  svn_ra_session_t* session = nullptr;
  auto open = [&] {
    return svn_client_open_ra_session2(&session, subversionPlace(url, pool), nullptr, _private->context(), pool, pool);
  };
  if (SubversionFailure failure = subversionRun(open, url)) return failure;
  return subversionRun(
      [&] {
        return svn_ra_get_location_segments(session, "", SVN_INVALID_REVNUM, SVN_INVALID_REVNUM, SVN_INVALID_REVNUM,
                                            takeSegment, &segments, pool);
      },
      url);
}
