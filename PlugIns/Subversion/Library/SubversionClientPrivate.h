#pragma once

#include <svn_client.h>

#include "SubversionAuthentication.h"
#include "SubversionClient.h"
#include "SubversionLibrary.h"

/// The library's context and what its callbacks need.
struct SubversionClient::Private {
  explicit Private(int hostConnection);

  /// The library's configuration and who answers its questions are made when they are first needed: what looks at a
  /// working copy alone needs neither.
  SubversionFailure open();
  /// For calls that want neither.
  svn_client_ctx_t* context();
  /// A call that commits: `result` is what its callback is to be given.
  SubversionFailure makeRevision(const std::string& revisionMessage, SubversionCommitted& committed,
                                 std::string_view subject,
                                 const std::function<svn_error_t*(void* result, apr_pool_t* callPool)>& call);

  SubversionPool pool;
  int hostConnection;
  SubversionAuthentication authentication;
  std::function<void(const SubversionNotice&)> notices;
  unsigned cancelQuestions = 0;
  /// What is told to the server with the next commit.
  std::string message;

 private:
  svn_client_ctx_t* _context = nullptr;
  bool _isOpen = false;
};
