// Shows the certificates that a TLS server presents, trusted or not, and what is wrong with them:
// "qrb-server-certificate <host> <port> [<proxy's host> <proxy's port>]" prints a line each, a word and what it says:
// "fault" for each thing that is wrong, "from" and "until" when the certificate is valid, in seconds since 1970, the
// "pin" of its key as libcurl takes it, the "name" that it is for, and each "certificate" in DER, the server's own
// first; the last two in hexadecimal digits. A login for the proxy comes through standard input as "user:password".
// Exits with 1 and the reason on standard error. It waits for as long as it is let: whoever starts it has the clock for
// all of it together.
//
// A program of its own, since loading a TLS library would cost every plug-in that needs none, and since what strangers
// send is better not read in a host.

#include <gnutls/abstract.h>
#include <gnutls/crypto.h>
#include <gnutls/x509.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <string>
#include <string_view>

#include "Connecting.h"
#include "Judging.h"
#include "TLSLibrary.h"

namespace {

void shakeHands(gnutls_session_t session) {
  int result;
  while ((result = gnutls_handshake(session)) != GNUTLS_E_SUCCESS) {
    if (gnutls_error_is_fatal(result) != 0) check(result, "The server did not agree on a secure connection");
  }
}

void printHex(const char* word, const gnutls_datum_t& bytes) {
  std::printf("%s ", word);
  for (unsigned index = 0; index < bytes.size; ++index) std::printf("%02X", bytes.data[index]);
  std::puts("");
}

void printPin(gnutls_x509_crt_t certificate) {
  Owned<gnutls_pubkey_t, gnutls_pubkey_deinit> key;
  OwnedBytes encoded;
  check(gnutls_pubkey_init(&key.handle), "No key");
  check(gnutls_pubkey_import_x509(key.handle, certificate, 0), "The certificate's key cannot be read");
  check(gnutls_pubkey_export2(key.handle, GNUTLS_X509_FMT_DER, &encoded.bytes), "The certificate's key cannot be read");
  std::array<unsigned char, 32> hash{};
  check(gnutls_hash_fast(GNUTLS_DIG_SHA256, encoded.bytes.data, encoded.bytes.size, hash.data()), "No digest");
  gnutls_datum_t bytes{hash.data(), static_cast<unsigned>(hash.size())};
  OwnedBytes text;
  check(gnutls_base64_encode2(&bytes, &text.bytes), "No pin");
  std::printf("pin sha256//%.*s\n", static_cast<int>(text.bytes.size), reinterpret_cast<const char*>(text.bytes.data));
}

void printCertificates(gnutls_session_t session) {
  unsigned count = 0;
  const gnutls_datum_t* chain = gnutls_certificate_get_peers(session, &count);
  if (chain == nullptr || count == 0) throw std::runtime_error("The server has no certificate");
  Owned<gnutls_x509_crt_t, gnutls_x509_crt_deinit> certificate;
  check(gnutls_x509_crt_init(&certificate.handle), "No certificate");
  check(gnutls_x509_crt_import(certificate.handle, &chain[0], GNUTLS_X509_FMT_DER), "The certificate cannot be read");
  std::printf("from %lld\nuntil %lld\n",
              static_cast<long long>(gnutls_x509_crt_get_activation_time(certificate.handle)),
              static_cast<long long>(gnutls_x509_crt_get_expiration_time(certificate.handle)));
  printPin(certificate.handle);
  OwnedBytes name;
  if (gnutls_x509_crt_get_dn3(certificate.handle, &name.bytes, 0) < 0) name.bytes = {};
  printHex("name", name.bytes);
  for (unsigned index = 0; index < count; ++index) printHex("certificate", chain[index]);
}

void showServer(const std::string& host, const std::string& port, const Proxy& proxy) {
  int descriptor = connectToServer(host, port, proxy);
  // The session uses the credentials, so it goes first.
  Owned<gnutls_certificate_credentials_t, gnutls_certificate_free_credentials> ownedCredentials;
  Owned<gnutls_session_t, gnutls_deinit> ownedSession;
  auto& credentials = ownedCredentials.handle;
  auto& session = ownedSession.handle;
  check(gnutls_certificate_allocate_credentials(&credentials), "No credentials");
  takeAuthorities(credentials);
  check(gnutls_init(&session, GNUTLS_CLIENT | GNUTLS_NO_SIGNAL), "No session");
  check(gnutls_set_default_priority(session), "No priorities");
  check(gnutls_credentials_set(session, GNUTLS_CRD_CERTIFICATE, credentials), "No credentials");
  // Servers of several names choose their certificate by this; an address is no name.
  if (host.find_first_not_of("0123456789.") != std::string::npos && host.find(':') == std::string::npos) {
    check(gnutls_server_name_set(session, GNUTLS_NAME_DNS, host.data(), host.size()), "The server's name is none");
  }
  gnutls_transport_set_int(session, descriptor);
  shakeHands(session);
  for (const std::string& fault : findFaults(session, host)) std::printf("fault %s\n", fault.c_str());
  printCertificates(session);
}

std::string readLogin() {
  std::array<char, 4096> buffer;
  std::string login;
  for (ssize_t count; (count = ::read(STDIN_FILENO, buffer.data(), buffer.size())) > 0;) {
    login.append(buffer.data(), static_cast<std::size_t>(count));
    if (login.size() > buffer.size()) throw std::runtime_error("The login for the proxy is too long");
  }
  return login;
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 3 && count != 5) {
    std::fputs("usage: qrb-server-certificate <host> <port> [<proxy's host> <proxy's port>]\n", stderr);
    return 2;
  }
  try {
    Proxy proxy;
    if (count == 5) proxy = {arguments[3], arguments[4], readLogin()};
    showServer(arguments[1], arguments[2], proxy);
    if (std::fflush(stdout) != 0) throw std::runtime_error("What the server showed could not be written");
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    std::fflush(nullptr);
    ::_exit(1);
  }
  // At once: in the sandbox of a request, what a sanitizer looks for at the end of a program cannot be looked at.
  std::fflush(nullptr);
  ::_exit(0);
}
