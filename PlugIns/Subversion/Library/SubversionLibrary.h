#pragma once

#include <apr_pools.h>
#include <apr_tables.h>
#include <svn_error.h>
#include <svn_opt.h>
#include <svn_types.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "SubversionFailure.h"
#include "SubversionValues.h"

// What the sources of this room share, and no other room includes: the library's own types end here.

/// Memory of the library, given back at once.
class SubversionPool {
 public:
  /// Below the one that lives as long as the process. Sets the library up, once.
  SubversionPool();
  ~SubversionPool() { apr_pool_destroy(_pool); }
  SubversionPool(const SubversionPool&) = delete;
  SubversionPool& operator=(const SubversionPool&) = delete;
  // NOLINTNEXTLINE(google-explicit-constructor): it stands wherever the library wants a pool.
  operator apr_pool_t*() const { return _pool; }

 private:
  apr_pool_t* _pool;
};

/// Calls the library. Where it finds a fault in itself or in what it read for which it has no error, it ends the
/// process; here that is a failure of the call, and of every later one, since nothing can be said of the library's
/// state then. The call must leave nothing to destructors. `subject` is what it is about.
SubversionFailure subversionRun(const std::function<svn_error_t*()>& call, std::string_view subject = {});

/// Takes the error over; `subject` is what the call was about.
SubversionFailure subversionFailure(svn_error_t* error, std::string_view subject = {});

/// Canonical, in the pool. What is no address is a path.
const char* subversionPlace(std::string_view place, apr_pool_t* pool);
apr_array_header_t* subversionArray(const std::vector<std::string>& texts, apr_pool_t* pool);
apr_array_header_t* subversionPlaces(const std::vector<std::string>& places, apr_pool_t* pool);
/// An element of an array that the library has made.
template <class Element>
Element& subversionElement(const apr_array_header_t* array, int index) {
  return static_cast<Element*>(static_cast<void*>(array->elts))[index];
}
svn_opt_revision_t subversionOptRevision(const SubversionRevision& revision);
SubversionNodeKind subversionNodeKind(svn_node_kind_t kind);
SubversionTime subversionTime(apr_time_t time);
inline std::string_view subversionView(const char* text) {
  return text == nullptr ? std::string_view() : text;
}
