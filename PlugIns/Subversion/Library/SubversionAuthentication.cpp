#include "SubversionAuthentication.h"

#include <apr_strings.h>
#include <svn_client.h>
#include <svn_hash.h>
#include <svn_string.h>

#include "RemoteAddress.h"

namespace {

/// What a user may decide; whatever else the library finds wrong, nobody may.
constexpr apr_uint32_t recoverable =
    SVN_AUTH_SSL_UNKNOWNCA | SVN_AUTH_SSL_CNMISMATCH | SVN_AUTH_SSL_NOTYETVALID | SVN_AUTH_SSL_EXPIRED;

/// The proxy that the user's configuration of the library names for a server: as the library itself finds it, which
/// heeds nothing else.
std::optional<qrb::HTTPProxy> configuredProxy(svn_config_t* servers, const std::string& host, apr_pool_t* pool) {
  if (servers == nullptr) return std::nullopt;
  qrb::HTTPProxy proxy;
  auto take = [&](const char* section) {
    auto read = [&](std::string& value, const char* name) {
      const char* set = nullptr;
      svn_config_get(servers, &set, section, name, nullptr);
      if (set != nullptr) value = set;
    };
    read(proxy.host, SVN_CONFIG_OPTION_HTTP_PROXY_HOST);
    read(proxy.port, SVN_CONFIG_OPTION_HTTP_PROXY_PORT);
    read(proxy.user, SVN_CONFIG_OPTION_HTTP_PROXY_USERNAME);
    read(proxy.password, SVN_CONFIG_OPTION_HTTP_PROXY_PASSWORD);
  };
  const char* exceptions = nullptr;
  svn_config_get(servers, &exceptions, SVN_CONFIG_SECTION_GLOBAL, SVN_CONFIG_OPTION_HTTP_PROXY_EXCEPTIONS, "");
  // The exceptions are those of the general proxy; a group of servers may have one of its own.
  if (!svn_cstring_match_glob_list(host.c_str(), svn_cstring_split(exceptions, ",", TRUE, pool))) {
    take(SVN_CONFIG_SECTION_GLOBAL);
  }
  if (const char* group = svn_config_find_group(servers, host.c_str(), SVN_CONFIG_SECTION_GROUPS, pool)) take(group);
  if (proxy.host.empty()) return std::nullopt;
  if (proxy.port.empty()) proxy.port = "80";
  return proxy;
}

void push(apr_array_header_t* providers, svn_auth_provider_object_t* provider) {
  APR_ARRAY_PUSH(providers, svn_auth_provider_object_t*) = provider;
}

/// Whoever else vouches for a server, it must have the certificate that is trusted: where no authority is, the answer
/// is asked for in any case.
void distrustAuthorities(apr_hash_t* configuration, apr_pool_t* pool) {
  auto* servers = static_cast<svn_config_t*>(svn_hash_gets(configuration, SVN_CONFIG_CATEGORY_SERVERS));
  if (servers == nullptr) return;
  auto distrust = [](const char* section, void* settings, apr_pool_t*) -> svn_boolean_t {
    auto* each = static_cast<svn_config_t*>(settings);
    svn_config_set_bool(each, section, SVN_CONFIG_OPTION_SSL_TRUST_DEFAULT_CA, FALSE);
    svn_config_set(each, section, SVN_CONFIG_OPTION_SSL_AUTHORITY_FILES, nullptr);
    return TRUE;
  };
  svn_config_enumerate_sections2(servers, distrust, servers, pool);
  distrust(SVN_CONFIG_SECTION_GLOBAL, servers, pool);
}

}  // namespace

bool SubversionAuthentication::isOurServer(std::string_view realm) {
  // With a name of what the server wants a login for, the address stands in brackets.
  if (realm.starts_with('<')) realm = realm.substr(1, realm.find('>') - 1);
  qrb::RemoteAddress asking = qrb::RemoteAddress::parse(realm);
  if (_access.address.mayShareSecretsWith(asking)) return true;
  _asked.foreignServer = asking.host;
  return false;
}

svn_error_t* SubversionAuthentication::answerLogin(svn_auth_cred_simple_t** credentials, void* baton, const char* realm,
                                                   const char*, svn_boolean_t, apr_pool_t* pool) {
  auto& self = *static_cast<SubversionAuthentication*>(baton);
  *credentials = nullptr;
  if (!self.isOurServer(subversionView(realm))) return SVN_NO_ERROR;
  auto* made = static_cast<svn_auth_cred_simple_t*>(apr_pcalloc(pool, sizeof(svn_auth_cred_simple_t)));
  made->username = apr_pstrdup(pool, self._access.user.c_str());
  std::string_view secret = self._access.secret.view();
  made->password = apr_pstrmemdup(pool, secret.data(), secret.size());
  made->may_save = FALSE;
  self._asked.gaveSecret = true;
  *credentials = made;
  return SVN_NO_ERROR;
}

const std::optional<qrb::ServerTrust>& SubversionAuthentication::serverTrust(std::string& reason) {
  if (_trust) return _trust;
  SubversionPool pool;
  _trust = qrb::trustOfServer(_access.address, configuredProxy(_servers, _access.address.host, pool), _hostConnection,
                              reason);
  return _trust;
}

/// Nothing of what the library finds wrong says all that a verdict needs (it knows no revocation, and mixes forged
/// signatures with what it does not understand), so the one that serves every system is asked for.
bool SubversionAuthentication::isTrusted(const std::string& fingerprint, apr_uint32_t failures) {
  std::string reason;
  const auto& trust = serverTrust(reason);
  if (!trust) {
    _asked.certificateFault = "The server's certificate could not be looked at. " + reason;
    return false;
  }
  _asked.certificateFault = trust->description();
  if (!trust->hasFingerprint(fingerprint)) {
    _asked.certificateFault += " Another one was shown when it was asked for again.";
    return false;
  }
  if (trust->verdict() == qrb::TrustVerdict::fatalFailure) return false;
  if ((failures & ~recoverable) != 0) {
    _asked.certificateFault += " It cannot be checked.";
    return false;
  }
  if (trust->hasFingerprint(_access.trustedFingerprint) && qrb::isAcceptable(*trust, _access)) return true;
  _asked.fingerprint = trust->fingerprint();
  _asked.longFingerprint = trust->longFingerprint();
  return false;
}

svn_error_t* SubversionAuthentication::answerCertificate(svn_auth_cred_ssl_server_trust_t** credentials, void* baton,
                                                         const char* realm, apr_uint32_t failures,
                                                         const svn_auth_ssl_server_cert_info_t* certificate,
                                                         svn_boolean_t, apr_pool_t* pool) {
  auto& self = *static_cast<SubversionAuthentication*>(baton);
  *credentials = nullptr;
  std::string shown(subversionView(certificate->fingerprint));
  std::erase(shown, ':');
  if (!self.isOurServer(subversionView(realm))) {
    self._asked.certificateFault = "Another server, " + self._asked.foreignServer +
                                   ", shows a certificate that nobody vouches for. Use its address instead if you "
                                   "trust it.";
    return SVN_NO_ERROR;
  }
  if (!self.isTrusted(shown, failures)) return SVN_NO_ERROR;
  auto* made =
      static_cast<svn_auth_cred_ssl_server_trust_t*>(apr_pcalloc(pool, sizeof(svn_auth_cred_ssl_server_trust_t)));
  made->may_save = FALSE;
  made->accepted_failures = failures;
  *credentials = made;
  return SVN_NO_ERROR;
}

SubversionFailure SubversionAuthentication::open(svn_auth_baton_t** result, apr_hash_t* configuration,
                                                 apr_pool_t* pool) {
  _servers = static_cast<svn_config_t*>(svn_hash_gets(configuration, SVN_CONFIG_CATEGORY_SERVERS));
  apr_array_header_t* providers = apr_array_make(pool, 8, sizeof(svn_auth_provider_object_t*));
  svn_auth_provider_object_t* provider = nullptr;
  bool hasSecret = _access.kind == qrb::RemoteAccess::Kind::password;
  // The user's stores know other names for the same server.
  if (hasSecret) {
    svn_auth_get_simple_prompt_provider(&provider, answerLogin, this, 0, pool);
    push(providers, provider);
  } else {
    apr_array_header_t* platform = nullptr;
    auto* settings = static_cast<svn_config_t*>(svn_hash_gets(configuration, SVN_CONFIG_CATEGORY_CONFIG));
    if (svn_error_t* error = svn_auth_get_platform_specific_client_providers(&platform, settings, pool)) {
      return subversionFailure(error);
    }
    apr_array_cat(providers, platform);
    svn_auth_get_simple_provider2(&provider, nullptr, nullptr, pool);
    push(providers, provider);
  }
  svn_auth_get_username_provider(&provider, pool);
  push(providers, provider);
  bool isEnforced = !_access.trustedFingerprint.empty() && _access.isFingerprintEnforced;
  if (!isEnforced) {
    svn_auth_get_ssl_server_trust_file_provider(&provider, pool);
    push(providers, provider);
  }
  svn_auth_get_ssl_server_trust_prompt_provider(&provider, answerCertificate, this, pool);
  push(providers, provider);
  svn_auth_get_ssl_client_cert_file_provider(&provider, pool);
  push(providers, provider);
  svn_auth_get_ssl_client_cert_pw_file_provider2(&provider, nullptr, nullptr, pool);
  push(providers, provider);

  svn_auth_baton_t* baton = nullptr;
  svn_auth_open(&baton, providers, pool);
  svn_auth_set_parameter(baton, SVN_AUTH_PARAM_NON_INTERACTIVE, "");
  svn_auth_set_parameter(baton, SVN_AUTH_PARAM_NO_AUTH_CACHE, "");
  if (!_access.user.empty()) {
    svn_auth_set_parameter(baton, SVN_AUTH_PARAM_DEFAULT_USERNAME, apr_pstrdup(pool, _access.user.c_str()));
  }
  if (isEnforced) distrustAuthorities(configuration, pool);
  *result = baton;
  return {};
}
