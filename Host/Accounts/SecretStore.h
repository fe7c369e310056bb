#pragma once

#include <memory>
#include <optional>
#include <string>

#include "Result.h"

namespace host {

/// What a secret belongs to.
struct SecretKey {
  /// The server's address without user information or, of a passphrase, the address of the key file.
  std::string place;
  std::string user;
};

/// Where passwords and passphrases are kept between runs. Any thread; calls may wait for the user to unlock it.
class SecretStore {
 public:
  virtual ~SecretStore() = default;
  /// Absent where there is none.
  virtual qrb::Result<std::optional<std::string>> find(const SecretKey& key) = 0;
  /// In the place of one that is there. `label` is what the user sees of it elsewhere.
  virtual qrb::Error store(const SecretKey& key, const std::string& label, const std::string& secret) = 0;
  /// One that is not there is no error.
  virtual qrb::Error remove(const SecretKey& key) = 0;
};

/// The Secret Service of the user's session; null where there is no session bus, no such service on it, or no library
/// to reach it with.
std::shared_ptr<SecretStore> sessionSecretStore();

}  // namespace host
