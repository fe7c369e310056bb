#include <svn_dirent_uri.h>

#include "SubversionClientPrivate.h"

SubversionFailure SubversionClient::update(const std::string& path, SubversionRevision revision, long& result) {
  if (SubversionFailure failure = _private->open()) return failure;
  SubversionPool pool;
  svn_opt_revision_t wanted = subversionOptRevision(revision);
  apr_array_header_t* revisions = nullptr;
  SubversionFailure failure = subversionRun(
      [&] {
        return svn_client_update4(&revisions, subversionPlaces({path}, pool), &wanted, svn_depth_unknown, FALSE, TRUE,
                                  FALSE, TRUE, FALSE, _private->context(), pool);
      },
      path);
  if (!failure && revisions != nullptr && revisions->nelts > 0) result = subversionElement<svn_revnum_t>(revisions, 0);
  return failure;
}

SubversionFailure SubversionClient::switchTo(const std::string& path, const std::string& url,
                                             SubversionRevision revision, long& result) {
  if (SubversionFailure failure = _private->open()) return failure;
  SubversionPool pool;
  svn_opt_revision_t peg = subversionOptRevision(revision);
  svn_opt_revision_t wanted = peg;
  svn_revnum_t told = SVN_INVALID_REVNUM;
  SubversionFailure failure = subversionRun(
      [&] {
        return svn_client_switch3(&told, subversionPlace(path, pool), subversionPlace(url, pool), &peg, &wanted,
                                  svn_depth_unknown, FALSE, TRUE, FALSE, FALSE, _private->context(), pool);
      },
      url);
  result = told;
  return failure;
}

SubversionFailure SubversionClient::merge(const SubversionTarget& source, const std::string& path) {
  if (SubversionFailure failure = _private->open()) return failure;
  SubversionPool pool;
  svn_opt_revision_t peg = subversionOptRevision(source.peg);
  return subversionRun(
      [&] {
        return svn_client_merge_peg5(subversionPlace(source.place, pool), nullptr, &peg, subversionPlace(path, pool),
                                     svn_depth_unknown, FALSE, FALSE, FALSE, FALSE, FALSE, TRUE, nullptr,
                                     _private->context(), pool);
      },
      source.place);
}

SubversionFailure SubversionClient::upgrade(const std::string& root) {
  if (SubversionFailure failure = _private->open()) return failure;
  SubversionPool pool;
  return subversionRun([&] { return svn_client_upgrade(subversionPlace(root, pool), _private->context(), pool); },
                       root);
}

SubversionFailure SubversionClient::cleanUp(const std::string& root) {
  SubversionPool pool;
  return subversionRun(
      [&] {
        return svn_client_cleanup2(subversionPlace(root, pool), TRUE, TRUE, FALSE, FALSE, FALSE, _private->context(),
                                   pool);
      },
      root);
}

SubversionFailure SubversionClient::checkout(const SubversionTarget& source, const std::string& path, long& result) {
  if (SubversionFailure failure = _private->open()) return failure;
  SubversionPool pool;
  svn_opt_revision_t peg = subversionOptRevision(source.peg);
  svn_opt_revision_t revision = subversionOptRevision(source.revision);
  svn_revnum_t told = SVN_INVALID_REVNUM;
  SubversionFailure failure = subversionRun(
      [&] {
        return svn_client_checkout3(&told, subversionPlace(source.place, pool), subversionPlace(path, pool), &peg,
                                    &revision, svn_depth_infinity, TRUE, FALSE, _private->context(), pool);
      },
      source.place);
  result = told;
  return failure;
}
