// Shows the certificate that a TLS server presents, trusted or not: "qrb-server-certificate <host> <port>" prints the
// SHA-1 fingerprint of the certificate as 40 upper-case hexadecimal digits, the pin of its key as libcurl takes it, and
// the name that it is for, each on a line. Exits with 1 and the reason on standard error. A program of its own, since
// loading a TLS library would cost every plug-in that needs none.

#include <gnutls/abstract.h>
#include <gnutls/crypto.h>
#include <gnutls/gnutls.h>
#include <gnutls/x509.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>

namespace {

/// What the TLS library hands out and wants back.
template <class Handle, void (*release)(Handle)>
struct Owned {
  Handle handle{};

  Owned() = default;
  Owned(const Owned&) = delete;
  Owned& operator=(const Owned&) = delete;
  ~Owned() {
    if (handle != nullptr) release(handle);
  }
};

/// Bytes that the TLS library allocated.
struct OwnedBytes {
  gnutls_datum_t bytes{};

  OwnedBytes() = default;
  OwnedBytes(const OwnedBytes&) = delete;
  OwnedBytes& operator=(const OwnedBytes&) = delete;
  ~OwnedBytes() { gnutls_free(bytes.data); }
};

constexpr int kPatienceInMilliseconds = 30'000;

void check(int result, const char* what) {
  if (result < 0) throw std::runtime_error(std::string(what) + ": " + gnutls_strerror(result));
}

bool connectWithin(int descriptor, const addrinfo& address) {
  if (::connect(descriptor, address.ai_addr, address.ai_addrlen) == 0) return true;
  if (errno != EINPROGRESS) return false;
  pollfd ready{descriptor, POLLOUT, 0};
  int error = ETIMEDOUT;
  socklen_t size = sizeof error;
  if (::poll(&ready, 1, kPatienceInMilliseconds) == 1) ::getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &size);
  errno = error;
  return error == 0;
}

/// A socket connected to the first address that answers.
int connectTo(const std::string& host, const char* port) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  std::string server = host + ":" + port;
  if (int error = ::getaddrinfo(host.c_str(), port, &hints, &found); error != 0) {
    throw std::runtime_error(server + " could not be found: " + ::gai_strerror(error));
  }
  std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> addresses(found, &::freeaddrinfo);
  for (const addrinfo* address = found; address != nullptr; address = address->ai_next) {
    int descriptor = ::socket(address->ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (descriptor >= 0 && connectWithin(descriptor, *address)) return descriptor;
    int error = errno;
    if (descriptor >= 0) ::close(descriptor);
    errno = error;
  }
  throw std::runtime_error(server + " could not be reached: " + std::strerror(errno));
}

void shakeHands(gnutls_session_t session, int descriptor) {
  for (;;) {
    int result = gnutls_handshake(session);
    if (result == GNUTLS_E_SUCCESS) return;
    if (gnutls_error_is_fatal(result) != 0) check(result, "The server did not agree on a secure connection");
    pollfd ready{descriptor, static_cast<short>(gnutls_record_get_direction(session) == 0 ? POLLIN : POLLOUT), 0};
    if (::poll(&ready, 1, kPatienceInMilliseconds) == 0) {
      throw std::runtime_error("The server did not answer in time");
    }
  }
}

template <std::size_t size>
std::array<unsigned char, size> digest(gnutls_digest_algorithm_t algorithm, const gnutls_datum_t& data) {
  std::array<unsigned char, size> result{};
  check(gnutls_hash_fast(algorithm, data.data, data.size, result.data()), "No digest");
  return result;
}

void printFingerprint(const gnutls_datum_t& certificate) {
  for (unsigned char byte : digest<20>(GNUTLS_DIG_SHA1, certificate)) std::printf("%02X", byte);
  std::puts("");
}

void printPin(gnutls_x509_crt_t certificate) {
  Owned<gnutls_pubkey_t, gnutls_pubkey_deinit> key;
  OwnedBytes encoded;
  check(gnutls_pubkey_init(&key.handle), "No key");
  check(gnutls_pubkey_import_x509(key.handle, certificate, 0), "The certificate's key cannot be read");
  check(gnutls_pubkey_export2(key.handle, GNUTLS_X509_FMT_DER, &encoded.bytes), "The certificate's key cannot be read");
  auto hash = digest<32>(GNUTLS_DIG_SHA256, encoded.bytes);
  gnutls_datum_t bytes{hash.data(), static_cast<unsigned>(hash.size())};
  OwnedBytes text;
  check(gnutls_base64_encode2(&bytes, &text.bytes), "No pin");
  std::printf("sha256//%.*s\n", static_cast<int>(text.bytes.size), reinterpret_cast<const char*>(text.bytes.data));
}

void printName(gnutls_x509_crt_t certificate) {
  OwnedBytes name;
  if (gnutls_x509_crt_get_dn3(certificate, &name.bytes, 0) < 0) name.bytes = {};
  std::printf("%.*s\n", static_cast<int>(name.bytes.size), reinterpret_cast<const char*>(name.bytes.data));
}

void showCertificate(const std::string& host, const char* port) {
  int descriptor = connectTo(host, port);
  // The session uses the credentials, so it goes first.
  Owned<gnutls_certificate_credentials_t, gnutls_certificate_free_credentials> ownedCredentials;
  Owned<gnutls_session_t, gnutls_deinit> ownedSession;
  auto& credentials = ownedCredentials.handle;
  auto& session = ownedSession.handle;
  check(gnutls_certificate_allocate_credentials(&credentials), "No credentials");
  check(gnutls_init(&session, GNUTLS_CLIENT | GNUTLS_NONBLOCK | GNUTLS_NO_SIGNAL), "No session");
  check(gnutls_set_default_priority(session), "No priorities");
  check(gnutls_credentials_set(session, GNUTLS_CRD_CERTIFICATE, credentials), "No credentials");
  // Servers of several names choose their certificate by this; an address is no name.
  if (host.find_first_not_of("0123456789.") != std::string::npos && host.find(':') == std::string::npos) {
    check(gnutls_server_name_set(session, GNUTLS_NAME_DNS, host.data(), host.size()), "The server's name is none");
  }
  gnutls_transport_set_int(session, descriptor);
  shakeHands(session, descriptor);
  unsigned count = 0;
  const gnutls_datum_t* chain = gnutls_certificate_get_peers(session, &count);
  if (chain == nullptr || count == 0) throw std::runtime_error("The server has no certificate");
  Owned<gnutls_x509_crt_t, gnutls_x509_crt_deinit> ownedCertificate;
  auto& certificate = ownedCertificate.handle;
  check(gnutls_x509_crt_init(&certificate), "No certificate");
  check(gnutls_x509_crt_import(certificate, &chain[0], GNUTLS_X509_FMT_DER), "The certificate cannot be read");
  printFingerprint(chain[0]);
  printPin(certificate);
  printName(certificate);
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 3) {
    std::fputs("usage: qrb-server-certificate <host> <port>\n", stderr);
    return 2;
  }
  std::string host = arguments[1];
  if (host.starts_with('[') && host.ends_with(']')) host = host.substr(1, host.size() - 2);
  try {
    showCertificate(host, arguments[2]);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
  return 0;
}
