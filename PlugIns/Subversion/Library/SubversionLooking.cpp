#include <svn_hash.h>
#include <svn_path.h>
#include <svn_props.h>
#include <sys/stat.h>

#include <algorithm>

#include "SubversionClientPrivate.h"

std::string SubversionInfo::repositoryPath() const {
  bool isBelow = !rootURL.empty() && url.size() > rootURL.size() + 1 && url.starts_with(rootURL + "/");
  return isBelow ? subversionDecoded(std::string_view(url).substr(rootURL.size() + 1)) : std::string();
}

namespace {

svn_error_t* takeInfo(void* baton, const char* place, const svn_client_info2_t* told, apr_pool_t*) {
  auto& info = *static_cast<SubversionInfo*>(baton);
  info.place = place;
  info.url = subversionView(told->URL);
  info.rootURL = subversionView(told->repos_root_URL);
  info.repositoryIdentifier = subversionView(told->repos_UUID);
  info.revision = told->rev;
  info.lastChangedRevision = told->last_changed_rev;
  info.kind = subversionNodeKind(told->kind);
  if (told->wc_info != nullptr) {
    info.workingCopyRoot = subversionView(told->wc_info->wcroot_abspath);
    info.isCopied = told->wc_info->copyfrom_url != nullptr;
    info.isAdded = told->wc_info->schedule == svn_wc_schedule_add || told->wc_info->schedule == svn_wc_schedule_replace;
  }
  return SVN_NO_ERROR;
}

SubversionState stateOf(svn_wc_status_kind status) {
  switch (status) {
    case svn_wc_status_none:
      return SubversionState::none;
    case svn_wc_status_added:
      return SubversionState::added;
    case svn_wc_status_missing:
      return SubversionState::missing;
    case svn_wc_status_deleted:
      return SubversionState::deleted;
    case svn_wc_status_replaced:
      return SubversionState::replaced;
    case svn_wc_status_modified:
    case svn_wc_status_merged:
      return SubversionState::modified;
    case svn_wc_status_conflicted:
      return SubversionState::conflicted;
    case svn_wc_status_unversioned:
      return SubversionState::unversioned;
    case svn_wc_status_ignored:
      return SubversionState::ignored;
    case svn_wc_status_external:
      return SubversionState::external;
    case svn_wc_status_obstructed:
      return SubversionState::obstructed;
    case svn_wc_status_incomplete:
      return SubversionState::incomplete;
    default:
      return SubversionState::normal;
  }
}

bool isLockOfAnother(const svn_client_status_t& status) {
  if (status.repos_lock == nullptr) return false;
  return status.lock == nullptr || subversionView(status.lock->token) != subversionView(status.repos_lock->token);
}

std::optional<SubversionLock> lockOf(const svn_lock_t* lock) {
  if (lock == nullptr) return std::nullopt;
  return SubversionLock{subversionView(lock->owner), subversionView(lock->comment),
                        subversionTime(lock->creation_date)};
}

/// Of what is not versioned the library does not tell, and what is coming in is not here yet.
SubversionNodeKind kindOf(const svn_client_status_t& status) {
  if (status.kind != svn_node_none && status.kind != svn_node_unknown) return subversionNodeKind(status.kind);
  if (status.ood_kind == svn_node_file || status.ood_kind == svn_node_dir) return subversionNodeKind(status.ood_kind);
  struct stat entry {};
  if (::lstat(status.local_abspath, &entry) != 0) return SubversionNodeKind::none;
  return S_ISDIR(entry.st_mode) ? SubversionNodeKind::folder : SubversionNodeKind::file;
}

struct StatusReceiver {
  const std::function<void(const SubversionStatus&)>& receiver;
};

svn_error_t* takeStatus(void* baton, const char*, const svn_client_status_t* told, apr_pool_t*) {
  SubversionStatus status;
  status.path = subversionView(told->local_abspath);
  status.kind = kindOf(*told);
  status.node = stateOf(told->node_status);
  status.text = stateOf(told->text_status);
  status.properties = stateOf(told->prop_status);
  status.isConflicted = told->conflicted != FALSE;
  status.isCopied = told->copied != FALSE;
  status.isSwitched = told->switched != FALSE;
  status.isFileExternal = told->file_external != FALSE;
  status.lock = lockOf(told->lock);
  status.hasAdministrativeLock = told->wc_is_locked != FALSE;
  status.movedFrom = subversionView(told->moved_from_abspath);
  status.movedTo = subversionView(told->moved_to_abspath);
  status.remoteNode = stateOf(told->repos_node_status);
  status.remoteText = stateOf(told->repos_text_status);
  status.remoteProperties = stateOf(told->repos_prop_status);
  if (isLockOfAnother(*told)) status.lockElsewhere = lockOf(told->repos_lock);
  static_cast<StatusReceiver*>(baton)->receiver(status);
  return SVN_NO_ERROR;
}

SubversionConflict::Change changeOf(svn_wc_conflict_reason_t reason) {
  switch (reason) {
    case svn_wc_conflict_reason_deleted:
    case svn_wc_conflict_reason_missing:
    case svn_wc_conflict_reason_moved_away:
      return SubversionConflict::Change::deleted;
    case svn_wc_conflict_reason_added:
    case svn_wc_conflict_reason_moved_here:
    case svn_wc_conflict_reason_unversioned:
      return SubversionConflict::Change::added;
    default:
      return SubversionConflict::Change::edited;
  }
}

SubversionConflict::Change changeOf(svn_wc_conflict_action_t action) {
  switch (action) {
    case svn_wc_conflict_action_delete:
      return SubversionConflict::Change::deleted;
    case svn_wc_conflict_action_add:
      return SubversionConflict::Change::added;
    default:
      return SubversionConflict::Change::edited;
  }
}

svn_error_t* takeEntry(void* baton, const char* path, const svn_dirent_t* entry, const svn_lock_t*, const char*,
                       const char*, const char*, apr_pool_t*) {
  // The folder itself.
  if (*path == '\0') return SVN_NO_ERROR;
  static_cast<std::vector<SubversionEntry>*>(baton)->push_back(
      {path, subversionNodeKind(entry->kind), entry->created_rev});
  return SVN_NO_ERROR;
}

svn_error_t* takeDifference(const svn_client_diff_summarize_t* told, void* baton, apr_pool_t*) {
  char change = ' ';
  if (told->summarize_kind == svn_client_diff_summarize_kind_added) change = 'A';
  if (told->summarize_kind == svn_client_diff_summarize_kind_deleted) change = 'D';
  if (told->summarize_kind == svn_client_diff_summarize_kind_modified) change = 'M';
  static_cast<std::vector<SubversionDifference>*>(baton)->push_back(
      {told->path, change, told->prop_changed != FALSE, subversionNodeKind(told->node_kind)});
  return SVN_NO_ERROR;
}

svn_error_t* passBytes(void* baton, const char* data, apr_size_t* length) {
  (*static_cast<const std::function<void(std::string_view)>*>(baton))({data, *length});
  return SVN_NO_ERROR;
}

SubversionRevision revisionOf(const svn_opt_revision_t& revision) {
  return revision.kind == svn_opt_revision_number ? SubversionRevision::at(revision.value.number)
                                                  : SubversionRevision::head();
}

}  // namespace

SubversionFailure SubversionClient::info(const SubversionTarget& target, SubversionInfo& info) {
  SubversionPool pool;
  svn_client_ctx_t* context = _private->context();
  const char* place = subversionPlace(target.place, pool);
  if (svn_path_is_url(place)) {
    if (SubversionFailure failure = _private->open()) return failure;
  }
  svn_opt_revision_t peg = subversionOptRevision(target.peg);
  svn_opt_revision_t revision = subversionOptRevision(target.revision);
  return subversionRun(
      [&] {
        return svn_client_info4(place, &peg, &revision, svn_depth_empty, FALSE, TRUE, FALSE, nullptr, takeInfo, &info,
                                context, pool);
      },
      target.place);
}

SubversionFailure SubversionClient::status(const std::string& place, bool withRemote, bool withIgnored,
                                           const std::function<void(const SubversionStatus&)>& receiver) {
  if (withRemote) {
    if (SubversionFailure failure = _private->open()) return failure;
  }
  SubversionPool pool;
  svn_opt_revision_t head = subversionOptRevision(SubversionRevision::head());
  StatusReceiver baton{receiver};
  return subversionRun(
      [&] {
        return svn_client_status6(nullptr, _private->context(), subversionPlace(place, pool), &head, svn_depth_unknown,
                                  FALSE, withRemote ? TRUE : FALSE, TRUE, withIgnored ? TRUE : FALSE, TRUE, FALSE,
                                  nullptr, takeStatus, &baton, pool);
      },
      place);
}

SubversionFailure SubversionClient::conflict(const std::string& path, SubversionConflict& conflict) {
  SubversionPool pool;
  svn_client_conflict_t* told = nullptr;
  svn_client_ctx_t* context = _private->context();
  if (SubversionFailure failure = subversionRun(
          [&] { return svn_client_conflict_get(&told, subversionPlace(path, pool), context, pool, pool); }, path))
    return failure;
  svn_boolean_t text = FALSE;
  svn_boolean_t tree = FALSE;
  apr_array_header_t* properties = nullptr;
  if (SubversionFailure failure = subversionRun(
          [&] { return svn_client_conflict_get_conflicted(&text, &properties, &tree, told, pool, pool); }, path))
    return failure;
  conflict.text = text != FALSE;
  conflict.tree = tree != FALSE;
  conflict.properties = properties != nullptr && properties->nelts > 0;
  if (conflict.tree) {
    conflict.local = changeOf(svn_client_conflict_get_local_change(told));
    conflict.incoming = changeOf(svn_client_conflict_get_incoming_change(told));
  }
  return {};
}

SubversionFailure SubversionClient::list(const SubversionTarget& target, std::vector<SubversionEntry>& entries) {
  if (SubversionFailure failure = _private->open()) return failure;
  SubversionPool pool;
  svn_opt_revision_t peg = subversionOptRevision(target.peg);
  svn_opt_revision_t revision = subversionOptRevision(target.revision);
  SubversionFailure failure = subversionRun(
      [&] {
        return svn_client_list4(subversionPlace(target.place, pool), &peg, &revision, nullptr, svn_depth_immediates,
                                SVN_DIRENT_KIND | SVN_DIRENT_CREATED_REV, FALSE, FALSE, takeEntry, &entries,
                                _private->context(), pool);
      },
      target.place);
  std::ranges::sort(entries, {}, &SubversionEntry::name);
  return failure;
}

SubversionFailure SubversionClient::externals(const std::string& root, std::vector<SubversionExternal>& externals) {
  SubversionPool pool;
  apr_hash_t* properties = nullptr;
  svn_opt_revision_t working = subversionOptRevision(SubversionRevision::working());
  auto read = [&] {
    return svn_client_propget5(&properties, nullptr, SVN_PROP_EXTERNALS, subversionPlace(root, pool), &working,
                               &working, nullptr, svn_depth_infinity, nullptr, _private->context(), pool, pool);
  };
  if (SubversionFailure failure = subversionRun(read, root)) return failure;
  for (apr_hash_index_t* each = apr_hash_first(pool, properties); each != nullptr; each = apr_hash_next(each)) {
    const auto* folder = static_cast<const char*>(apr_hash_this_key(each));
    const auto* value = static_cast<const svn_string_t*>(apr_hash_this_val(each));
    apr_array_header_t* items = nullptr;
    if (SubversionFailure failure = subversionRun(
            [&] { return svn_wc_parse_externals_description3(&items, folder, value->data, FALSE, pool); }, folder))
      return failure;
    for (int index = 0; index < items->nelts; ++index) {
      const auto& item = *subversionElement<const svn_wc_external_item2_t*>(items, index);
      externals.push_back(
          {folder, item.target_dir, item.url, revisionOf(item.peg_revision), revisionOf(item.revision)});
    }
  }
  return {};
}

SubversionFailure SubversionClient::differences(const SubversionTarget& from, const SubversionTarget& against,
                                                std::vector<SubversionDifference>& differences) {
  if (SubversionFailure failure = _private->open()) return failure;
  SubversionPool pool;
  svn_opt_revision_t first = subversionOptRevision(from.peg);
  svn_opt_revision_t second = subversionOptRevision(against.peg);
  SubversionFailure failure = subversionRun([&] {
    return svn_client_diff_summarize2(subversionPlace(from.place, pool), &first, subversionPlace(against.place, pool),
                                      &second, svn_depth_infinity, TRUE, nullptr, takeDifference, &differences,
                                      _private->context(), pool);
  });
  // Of a working copy they come from the file system's root on.
  for (SubversionDifference& difference : differences) {
    for (const SubversionTarget* side : {&from, &against}) {
      if (difference.path.starts_with(side->place + "/")) difference.path.erase(0, side->place.size() + 1);
      if (difference.path == side->place) difference.path.clear();
    }
  }
  std::ranges::sort(differences, {}, &SubversionDifference::path);
  return failure;
}

SubversionFailure SubversionClient::diff(const SubversionTarget& from, const SubversionTarget& against,
                                         const std::function<void(std::string_view bytes)>& receiver) {
  if (SubversionFailure failure = _private->open()) return failure;
  SubversionPool pool;
  svn_opt_revision_t first = subversionOptRevision(from.peg);
  svn_opt_revision_t second = subversionOptRevision(against.peg);
  svn_stream_t* stream = svn_stream_create(const_cast<std::function<void(std::string_view)>*>(&receiver), pool);
  svn_stream_set_write(stream, passBytes);
  const char* root = subversionPlace(from.place, pool);
  const char* relativeTo = svn_path_is_url(root) || from.place != against.place ? nullptr : root;
  return subversionRun([&] {
    return svn_client_diff7(apr_array_make(pool, 0, sizeof(const char*)), root, &first,
                            subversionPlace(against.place, pool), &second, relativeTo, svn_depth_infinity, TRUE, FALSE,
                            FALSE, TRUE, FALSE, FALSE, FALSE, TRUE, FALSE, "UTF-8", stream, svn_stream_empty(pool),
                            nullptr, _private->context(), pool);
  });
}

SubversionFailure SubversionClient::exportFile(const SubversionTarget& target, const std::string& path) {
  if (SubversionFailure failure = _private->open()) return failure;
  SubversionPool pool;
  svn_opt_revision_t peg = subversionOptRevision(target.peg);
  svn_opt_revision_t revision = subversionOptRevision(target.revision);
  return subversionRun(
      [&] {
        return svn_client_export5(nullptr, subversionPlace(target.place, pool), subversionPlace(path, pool), &peg,
                                  &revision, FALSE, TRUE, FALSE, svn_depth_files, nullptr, _private->context(), pool);
      },
      target.place);
}
