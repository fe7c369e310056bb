#pragma once

#include <gnutls/gnutls.h>
#include <gnutls/x509.h>

#include <cstdint>
#include <ctime>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>

#include "RunProgram.h"

namespace qrb::test {

inline void checkTLS(int result, const char* what) {
  if (result < 0) throw std::runtime_error(std::string(what) + ": " + gnutls_strerror(result));
}

/// What is to be said in a certificate; at first a good one for the server of the tests.
struct CertificateWish {
  std::string name = "localhost";
  /// In seconds from now.
  std::time_t from = -86400;
  std::time_t until = 86400;
  gnutls_digest_algorithm_t digest = GNUTLS_DIG_SHA256;
  bool isSelfSigned = false;
  /// A bit of the signature is another.
  bool isDamaged = false;
};

/// A certificate with its key. A copy is the same one.
class IssuedCertificate {
 public:
  IssuedCertificate() {
    gnutls_x509_crt_t made = nullptr;
    gnutls_x509_privkey_t key = nullptr;
    checkTLS(gnutls_x509_crt_init(&made), "certificate");
    _certificate = {made, gnutls_x509_crt_deinit};
    checkTLS(gnutls_x509_privkey_init(&key), "key");
    _key = {key, gnutls_x509_privkey_deinit};
    checkTLS(gnutls_x509_privkey_generate(key, GNUTLS_PK_ECDSA, GNUTLS_CURVE_TO_BITS(GNUTLS_ECC_CURVE_SECP256R1), 0),
             "key");
  }

  gnutls_x509_crt_t certificate() const { return _certificate.get(); }
  gnutls_x509_privkey_t key() const { return _key.get(); }

  std::string der() const { return exported(GNUTLS_X509_FMT_DER); }
  std::string pem() const { return exported(GNUTLS_X509_FMT_PEM); }
  std::string keyPEM() const {
    gnutls_datum_t bytes{};
    checkTLS(gnutls_x509_privkey_export2(key(), GNUTLS_X509_FMT_PEM, &bytes), "key");
    return taken(bytes);
  }
  /// By the TLS library, in capital letters.
  std::string fingerprint(gnutls_digest_algorithm_t digest = GNUTLS_DIG_SHA1) const {
    unsigned char bytes[64];
    std::size_t size = sizeof bytes;
    checkTLS(gnutls_x509_crt_get_fingerprint(certificate(), digest, bytes, &size), "fingerprint");
    std::string text;
    for (std::size_t index = 0; index < size; ++index) {
      text += {"0123456789ABCDEF"[bytes[index] >> 4], "0123456789ABCDEF"[bytes[index] & 15]};
    }
    return text;
  }
  void damage() {
    std::string bytes = der();
    // The last bytes are those of the signature.
    bytes[bytes.size() - 3] = static_cast<char>(bytes[bytes.size() - 3] ^ 1);
    gnutls_x509_crt_t made = nullptr;
    checkTLS(gnutls_x509_crt_init(&made), "certificate");
    _certificate = {made, gnutls_x509_crt_deinit};
    gnutls_datum_t data{reinterpret_cast<unsigned char*>(bytes.data()), static_cast<unsigned>(bytes.size())};
    checkTLS(gnutls_x509_crt_import(made, &data, GNUTLS_X509_FMT_DER), "damaged certificate");
  }

 private:
  static std::string taken(gnutls_datum_t bytes) {
    std::string result(reinterpret_cast<const char*>(bytes.data), bytes.size);
    gnutls_free(bytes.data);
    return result;
  }
  std::string exported(gnutls_x509_crt_fmt_t format) const {
    gnutls_datum_t bytes{};
    checkTLS(gnutls_x509_crt_export2(certificate(), format, &bytes), "certificate");
    return taken(bytes);
  }

  std::shared_ptr<gnutls_x509_crt_int> _certificate;
  std::shared_ptr<gnutls_x509_privkey_int> _key;
};

/// An authority of the test's own making, which keeps what others need of it in a folder.
class TestAuthority {
 public:
  explicit TestAuthority(std::string folder) : _folder(std::move(folder)) {
    CertificateWish wish;
    wish.isSelfSigned = true;
    describe(_own, wish, "Test authority");
    checkTLS(gnutls_x509_crt_set_ca_status(_own.certificate(), 1), "authority");
    checkTLS(gnutls_x509_crt_set_key_usage(
                 _own.certificate(), GNUTLS_KEY_KEY_CERT_SIGN | GNUTLS_KEY_CRL_SIGN | GNUTLS_KEY_DIGITAL_SIGNATURE),
             "authority");
    sign(_own, wish);
    std::ofstream(file()) << _own.pem();
    std::ofstream(_folder + "/authority.key") << _own.keyPEM();
  }

  /// Its certificate, for those who are to trust it.
  std::string file() const { return _folder + "/authority.pem"; }

  IssuedCertificate issue(const CertificateWish& wish = {}) {
    IssuedCertificate issued;
    describe(issued, wish, wish.name);
    checkTLS(gnutls_x509_crt_set_key_usage(issued.certificate(), GNUTLS_KEY_DIGITAL_SIGNATURE), "usage");
    sign(issued, wish);
    if (wish.isDamaged) issued.damage();
    return issued;
  }

  /// A file for servers to hand out with the certificate: the authority says that it has been revoked.
  std::string revoke(const IssuedCertificate& issued) {
    unsigned char serial[20];
    std::size_t size = sizeof serial;
    checkTLS(gnutls_x509_crt_get_serial(issued.certificate(), serial, &size), "serial");
    char number[3];
    std::snprintf(number, sizeof number, "%02X", serial[size - 1]);
    std::ofstream(_folder + "/index") << "R\t491231235959Z\t240101000000Z\t" << number << "\tunknown\t/CN=localhost\n";
    ProgramResult made =
        runProgram({"openssl", "ocsp", "-index", "index", "-rsigner", file(), "-rkey", "authority.key", "-CA", file(),
                    "-issuer", file(), "-serial", std::string("0x") + number, "-respout", "revoked", "-ndays", "1"},
                   {"PATH=/usr/bin:/bin"}, _folder);
    if (made.status != 0) throw std::runtime_error(made.output);
    return _folder + "/revoked";
  }

 private:
  void describe(const IssuedCertificate& made, const CertificateWish& wish, const std::string& name) {
    gnutls_x509_crt_t certificate = made.certificate();
    std::time_t now = std::time(nullptr);
    unsigned char serial = static_cast<unsigned char>(++_serial);
    checkTLS(gnutls_x509_crt_set_version(certificate, 3), "version");
    checkTLS(gnutls_x509_crt_set_serial(certificate, &serial, 1), "serial");
    checkTLS(gnutls_x509_crt_set_activation_time(certificate, now + wish.from), "time");
    checkTLS(gnutls_x509_crt_set_expiration_time(certificate, now + wish.until), "time");
    checkTLS(gnutls_x509_crt_set_dn(certificate, ("CN=" + name).c_str(), nullptr), "name");
    checkTLS(gnutls_x509_crt_set_key(certificate, made.key()), "key");
    checkTLS(gnutls_x509_crt_set_subject_alt_name(certificate, GNUTLS_SAN_DNSNAME, wish.name.data(),
                                                  static_cast<unsigned>(wish.name.size()), GNUTLS_FSAN_SET),
             "name");
  }

  void sign(const IssuedCertificate& made, const CertificateWish& wish) const {
    const IssuedCertificate& issuer = wish.isSelfSigned ? made : _own;
    checkTLS(gnutls_x509_crt_sign2(made.certificate(), issuer.certificate(), issuer.key(), wish.digest, 0), "sign");
  }

  const std::string _folder;
  int _serial = 0;
  IssuedCertificate _own;
};

}  // namespace qrb::test
