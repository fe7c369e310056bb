#pragma once

#include <gnutls/gnutls.h>

#include <stdexcept>
#include <string>

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

/// Throws std::runtime_error where a call has failed.
inline void check(int result, const char* what) {
  if (result < 0) throw std::runtime_error(std::string(what) + ": " + gnutls_strerror(result));
}
