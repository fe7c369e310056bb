#include "SubversionAuthentication.h"

#include <apr_strings.h>
#include <svn_client.h>
#include <svn_hash.h>

#include "RemoteAddress.h"

namespace {

/// Only letters and digits count: fingerprints come with colons or without.
std::string plainFingerprint(std::string_view text) {
  std::string digits;
  for (char byte : text) {
    if (byte >= 'a' && byte <= 'f') byte = static_cast<char>(byte - 'a' + 'A');
    if ((byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'F')) digits.push_back(byte);
  }
  return digits;
}

std::string faultText(apr_uint32_t failures, const svn_auth_ssl_server_cert_info_t& certificate) {
  std::string text = "The certificate of " + std::string(subversionView(certificate.hostname)) + ", issued by " +
                     std::string(subversionView(certificate.issuer_dname)) + ", is not trusted:";
  auto add = [&](apr_uint32_t failure, const std::string& words) {
    if ((failures & failure) != 0) text += " " + words;
  };
  add(SVN_AUTH_SSL_UNKNOWNCA, "its issuer is not known.");
  add(SVN_AUTH_SSL_CNMISMATCH, "it is for another name.");
  add(SVN_AUTH_SSL_NOTYETVALID, "it is valid only from " + std::string(subversionView(certificate.valid_from)) + ".");
  add(SVN_AUTH_SSL_EXPIRED, "it was valid until " + std::string(subversionView(certificate.valid_until)) + ".");
  add(SVN_AUTH_SSL_OTHER, "it cannot be checked.");
  return text;
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

svn_error_t* SubversionAuthentication::answerCertificate(svn_auth_cred_ssl_server_trust_t** credentials, void* baton,
                                                         const char* realm, apr_uint32_t failures,
                                                         const svn_auth_ssl_server_cert_info_t* certificate,
                                                         svn_boolean_t, apr_pool_t* pool) {
  auto& self = *static_cast<SubversionAuthentication*>(baton);
  *credentials = nullptr;
  std::string shown = plainFingerprint(subversionView(certificate->fingerprint));
  bool isTrusted = self.isOurServer(subversionView(realm)) && !shown.empty() &&
                   shown == plainFingerprint(self._access.trustedFingerprint);
  if (!isTrusted) {
    self._asked.fingerprint = shown;
    self._asked.certificateFault = faultText(failures, *certificate);
    return SVN_NO_ERROR;
  }
  auto* made =
      static_cast<svn_auth_cred_ssl_server_trust_t*>(apr_pcalloc(pool, sizeof(svn_auth_cred_ssl_server_trust_t)));
  made->may_save = FALSE;
  made->accepted_failures = failures;
  *credentials = made;
  return SVN_NO_ERROR;
}

SubversionFailure SubversionAuthentication::open(svn_auth_baton_t** result, apr_hash_t* configuration,
                                                 apr_pool_t* pool) {
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
