#include "Judging.h"

#include <gnutls/x509.h>

#include <cstdlib>

#include "TLSLibrary.h"

namespace {

/// The certificates that a server has shown, its own first.
class Chain {
 public:
  explicit Chain(gnutls_session_t session) {
    unsigned count = 0;
    const gnutls_datum_t* shown = gnutls_certificate_get_peers(session, &count);
    for (unsigned index = 0; shown != nullptr && index < count; ++index) {
      gnutls_x509_crt_t certificate = nullptr;
      check(gnutls_x509_crt_init(&certificate), "No certificate");
      _certificates.push_back(certificate);
      check(gnutls_x509_crt_import(certificate, &shown[index], GNUTLS_X509_FMT_DER), "The certificate cannot be read");
    }
    if (_certificates.empty()) throw std::runtime_error("The server has no certificate");
  }
  Chain(const Chain&) = delete;
  Chain& operator=(const Chain&) = delete;
  ~Chain() {
    for (gnutls_x509_crt_t certificate : _certificates) gnutls_x509_crt_deinit(certificate);
  }

  gnutls_x509_crt_t* data() { return _certificates.data(); }
  unsigned size() const { return static_cast<unsigned>(_certificates.size()); }
  gnutls_x509_crt_t own() const { return _certificates.front(); }
  gnutls_x509_crt_t* last() { return &_certificates.back(); }

 private:
  std::vector<gnutls_x509_crt_t> _certificates;
};

/// The certificates in it are others'.
void releaseList(gnutls_x509_trust_list_t list) {
  gnutls_x509_trust_list_deinit(list, 0);
}

/// The library stops at an issuer that it does not know, and looks no further. What else is wrong shows when the last
/// of the certificates is taken for an authority.
unsigned statusBelowIssuer(Chain& chain) {
  Owned<gnutls_x509_trust_list_t, releaseList> list;
  check(gnutls_x509_trust_list_init(&list.handle, 0), "No list of authorities");
  check(gnutls_x509_trust_list_add_cas(list.handle, chain.last(), 1, 0), "No list of authorities");
  unsigned status = 0;
  check(gnutls_x509_trust_list_verify_crt2(list.handle, chain.data(), chain.size(), nullptr, 0, 0, &status, nullptr),
        "The certificate cannot be checked");
  return status;
}

/// Of a certificate whose issuer is not at hand, the signature cannot be checked, but its kind can. One's own signature
/// proves nothing in any case.
bool isSignedInBrokenWay(gnutls_x509_crt_t certificate) {
  bool isOwnIssuer = gnutls_x509_crt_check_issuer(certificate, certificate) != 0;
  int algorithm = gnutls_x509_crt_get_signature_algorithm(certificate);
  return !isOwnIssuer && (algorithm < 0 || gnutls_sign_is_secure2(static_cast<gnutls_sign_algorithm_t>(algorithm),
                                                                  GNUTLS_SIGN_FLAG_SECURE_FOR_CERTS) == 0);
}

std::vector<std::string> wordsOf(unsigned status) {
  constexpr std::pair<unsigned, const char*> known[] = {
      {GNUTLS_CERT_REVOKED, "revoked"},
      {GNUTLS_CERT_SIGNATURE_FAILURE, "bad-signature"},
      {GNUTLS_CERT_INSECURE_ALGORITHM, "broken-algorithm"},
      {GNUTLS_CERT_SIGNER_NOT_FOUND, "unknown-issuer"},
      {GNUTLS_CERT_EXPIRED, "expired"},
      {GNUTLS_CERT_NOT_ACTIVATED, "not-yet-valid"},
      {GNUTLS_CERT_UNEXPECTED_OWNER, "other-name"},
  };
  std::vector<std::string> words;
  unsigned rest = status & ~static_cast<unsigned>(GNUTLS_CERT_INVALID);
  for (const auto& [bit, word] : known) {
    if ((status & bit) != 0) words.emplace_back(word);
    rest &= ~bit;
  }
  if (rest != 0 || (status != 0 && words.empty())) words.emplace_back("not-understood");
  return words;
}

}  // namespace

void takeAuthorities(gnutls_certificate_credentials_t credentials) {
  const char* file = std::getenv("SSL_CERT_FILE");
  if (file != nullptr && *file != '\0') {
    check(gnutls_certificate_set_x509_trust_file(credentials, file, GNUTLS_X509_FMT_PEM),
          "The authorities in the file that SSL_CERT_FILE names cannot be read");
  } else {
    check(gnutls_certificate_set_x509_system_trust(credentials), "The authorities of this machine cannot be read");
  }
}

std::vector<std::string> findFaults(gnutls_session_t session, const std::string& host) {
  unsigned status = 0;
  check(gnutls_certificate_verify_peers3(session, host.c_str(), &status), "The certificate cannot be checked");
  if ((status & GNUTLS_CERT_SIGNER_NOT_FOUND) != 0) {
    Chain chain(session);
    status |= statusBelowIssuer(chain);
    if (isSignedInBrokenWay(chain.own())) status |= GNUTLS_CERT_INSECURE_ALGORITHM;
  }
  return wordsOf(status);
}
