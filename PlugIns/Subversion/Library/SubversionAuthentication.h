#pragma once

#include <svn_auth.h>
#include <svn_config.h>

#include <memory>
#include <optional>
#include <string>

#include "CertificateTrust.h"
#include "RemoteAccess.h"
#include "SubversionClient.h"
#include "SubversionLibrary.h"

/// Who answers what servers ask: first what a request brought, and where it brought nothing what the user has stored
/// for the library, which is read and never written. A secret goes to the server that it is for and to no other.
class SubversionAuthentication {
 public:
  /// `hostConnection` is as for SubversionClient.
  explicit SubversionAuthentication(int hostConnection) : _hostConnection(hostConnection) {}

  void setAccess(qrb::RemoteAccess access) { _access = std::move(access); }
  const qrb::RemoteAccess& access() const { return _access; }
  SubversionServerAsked& asked() { return _asked; }
  const SubversionServerAsked& asked() const { return _asked; }

  /// The answers as the library takes them. `configuration` gets what it must hold for them to be asked.
  SubversionFailure open(svn_auth_baton_t** result, apr_hash_t* configuration, apr_pool_t* pool);

 private:
  static svn_error_t* answerLogin(svn_auth_cred_simple_t** credentials, void* baton, const char* realm,
                                  const char* username, svn_boolean_t maySave, apr_pool_t* pool);
  static svn_error_t* answerCertificate(svn_auth_cred_ssl_server_trust_t** credentials, void* baton, const char* realm,
                                        apr_uint32_t failures, const svn_auth_ssl_server_cert_info_t* certificate,
                                        svn_boolean_t maySave, apr_pool_t* pool);
  /// A realm as the library names it: "<https://host:443> Name" for a login, "https://host:443" for a certificate.
  bool isOurServer(std::string_view realm);

  /// Whether the certificate that the library found, with what is wrong with it, is the one that the request trusts and
  /// nothing is wrong that a user may not decide. What there is to tell is noted.
  bool isTrusted(const std::string& fingerprint, apr_uint32_t failures);
  /// What the server shows to whoever else asks; asked once. The reason where that is nothing.
  const std::optional<qrb::ServerTrust>& serverTrust(std::string& reason);

  const int _hostConnection;
  /// The library's own settings, which name its proxies.
  svn_config_t* _servers = nullptr;
  std::optional<qrb::ServerTrust> _trust;
  qrb::RemoteAccess _access;
  SubversionServerAsked _asked;
};
