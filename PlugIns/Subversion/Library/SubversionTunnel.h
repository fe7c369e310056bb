#pragma once

#include <svn_ra.h>

/// Reaches a server through ssh, for addresses "svn+ssh://…" and no other: with the protections that ssh has for all of
/// this system's requests, and with what the request brought to log in. `tunnelBaton` is a SubversionClient::Private.
svn_error_t* subversionOpenTunnel(svn_stream_t** request, svn_stream_t** response,
                                  svn_ra_close_tunnel_func_t* closeFunction, void** closeBaton, void* tunnelBaton,
                                  const char* tunnelName, const char* user, const char* hostname, int port,
                                  svn_cancel_func_t cancelFunction, void* cancelBaton, apr_pool_t* pool);
