#include <svn_dirent_uri.h>
#include <svn_repos.h>

#include "SubversionClientPrivate.h"

namespace {

svn_error_t* takeCommit(const svn_commit_info_t* told, void* baton, apr_pool_t*) {
  auto& result = *static_cast<SubversionCommitted*>(baton);
  result.revision = told->revision;
  result.complaint = subversionView(told->post_commit_err);
  return SVN_NO_ERROR;
}

apr_array_header_t* copySource(const SubversionTarget& from, apr_pool_t* pool) {
  auto* source = static_cast<svn_client_copy_source_t*>(apr_pcalloc(pool, sizeof(svn_client_copy_source_t)));
  auto* revision = static_cast<svn_opt_revision_t*>(apr_palloc(pool, sizeof(svn_opt_revision_t)));
  auto* peg = static_cast<svn_opt_revision_t*>(apr_palloc(pool, sizeof(svn_opt_revision_t)));
  *revision = subversionOptRevision(from.revision);
  *peg = subversionOptRevision(from.peg);
  source->path = subversionPlace(from.place, pool);
  source->revision = revision;
  source->peg_revision = peg;
  apr_array_header_t* sources = apr_array_make(pool, 1, sizeof(svn_client_copy_source_t*));
  APR_ARRAY_PUSH(sources, svn_client_copy_source_t*) = source;
  return sources;
}

}  // namespace

SubversionFailure SubversionClient::add(const std::string& path, bool recursive) {
  if (SubversionFailure failure = _private->open()) return failure;
  SubversionPool pool;
  return subversionRun(
      [&] {
        return svn_client_add5(subversionPlace(path, pool), recursive ? svn_depth_infinity : svn_depth_empty, TRUE,
                               FALSE, FALSE, TRUE, _private->context(), pool);
      },
      path);
}

SubversionFailure SubversionClient::remove(const std::vector<std::string>& paths, bool keepsOnDisk) {
  SubversionPool pool;
  return subversionRun(
      [&] {
        return svn_client_delete4(subversionPlaces(paths, pool), FALSE, keepsOnDisk ? TRUE : FALSE, nullptr, nullptr,
                                  nullptr, _private->context(), pool);
      },
      paths.empty() ? std::string() : paths.front());
}

SubversionFailure SubversionClient::copy(const std::string& from, const std::string& to) {
  SubversionPool pool;
  SubversionTarget source{from, {}, SubversionRevision::working()};
  return subversionRun(
      [&] {
        return svn_client_copy7(copySource(source, pool), subversionPlace(to, pool), FALSE, TRUE, TRUE, FALSE, FALSE,
                                nullptr, nullptr, nullptr, nullptr, _private->context(), pool);
      },
      from);
}

SubversionFailure SubversionClient::move(const std::string& from, const std::string& to) {
  SubversionPool pool;
  return subversionRun(
      [&] {
        return svn_client_move7(subversionPlaces({from}, pool), subversionPlace(to, pool), FALSE, TRUE, TRUE, FALSE,
                                nullptr, nullptr, nullptr, _private->context(), pool);
      },
      from);
}

SubversionFailure SubversionClient::makeFolders(const std::string& path, bool withParents) {
  SubversionPool pool;
  return subversionRun(
      [&] {
        return svn_client_mkdir4(subversionPlaces({path}, pool), withParents ? TRUE : FALSE, nullptr, nullptr, nullptr,
                                 _private->context(), pool);
      },
      path);
}

SubversionFailure SubversionClient::revert(const std::vector<std::string>& paths, bool recursive) {
  if (paths.empty()) return {};
  SubversionPool pool;
  return subversionRun(
      [&] {
        return svn_client_revert4(subversionPlaces(paths, pool), recursive ? svn_depth_infinity : svn_depth_empty,
                                  nullptr, FALSE, FALSE, TRUE, _private->context(), pool);
      },
      paths.front());
}

SubversionFailure SubversionClient::resolve(const std::string& path) {
  SubversionPool pool;
  return subversionRun(
      [&] {
        return svn_client_resolve(subversionPlace(path, pool), svn_depth_empty, svn_wc_conflict_choose_merged,
                                  _private->context(), pool);
      },
      path);
}

SubversionFailure SubversionClient::Private::makeRevision(
    const std::string& revisionMessage, SubversionCommitted& committed, std::string_view subject,
    const std::function<svn_error_t*(void* result, apr_pool_t* callPool)>& call) {
  if (SubversionFailure failure = open()) return failure;
  SubversionPool callPool;
  message = revisionMessage;
  committed = {};
  return subversionRun([&] { return call(&committed, callPool); }, subject);
}

SubversionFailure SubversionClient::commit(const Commit& commit, SubversionCommitted& committed) {
  return _private->makeRevision(commit.message, committed, {}, [&](void* result, apr_pool_t* pool) {
    return svn_client_commit6(subversionPlaces(commit.paths, pool),
                              commit.recursive ? svn_depth_infinity : svn_depth_empty, FALSE, FALSE, TRUE, FALSE, FALSE,
                              nullptr, nullptr, takeCommit, result, _private->context(), pool);
  });
}

SubversionFailure SubversionClient::copyOnServer(const SubversionTarget& from, const std::string& toURL,
                                                 const std::string& message, SubversionCommitted& committed) {
  return _private->makeRevision(message, committed, from.place, [&](void* result, apr_pool_t* pool) {
    return svn_client_copy7(copySource(from, pool), subversionPlace(toURL, pool), FALSE, TRUE, TRUE, FALSE, FALSE,
                            nullptr, nullptr, takeCommit, result, _private->context(), pool);
  });
}

SubversionFailure SubversionClient::removeOnServer(const std::string& url, const std::string& message,
                                                   SubversionCommitted& committed) {
  return _private->makeRevision(message, committed, url, [&](void* result, apr_pool_t* pool) {
    return svn_client_delete4(subversionPlaces({url}, pool), FALSE, FALSE, nullptr, takeCommit, result,
                              _private->context(), pool);
  });
}

SubversionFailure SubversionClient::createRepository(const std::string& path) {
  SubversionPool pool;
  svn_repos_t* repository = nullptr;
  return subversionRun(
      [&] {
        return svn_repos_create(&repository, subversionPlace(path, pool), nullptr, nullptr, nullptr, nullptr, pool);
      },
      path);
}
