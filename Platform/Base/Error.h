#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "Export.h"
#include "SharedString.h"
#include "StringMap.h"

namespace qrb {

/// User-info keys that every error may carry.
extern QRB_EXPORT const char* const kErrorLocalizedDescriptionKey;
extern QRB_EXPORT const char* const kErrorLocalizedRecoverySuggestionKey;

/// A failure, or none: domain, code, texts for the user, and the failure that caused it.
///
/// One pointer wide and immutable, so it is passed by value. A default-constructed error means success and is false;
/// its accessors answer absent, 0 and empty. Safe to read and copy from any thread.
class QRB_EXPORT Error {
 public:
  Error() noexcept = default;
  Error(String domain, std::int64_t code, StringMap<String> userInfo = {}, Error cause = {});

  explicit operator bool() const noexcept { return _details != nullptr; }

  String domain() const;
  std::int64_t code() const noexcept;
  const StringMap<String>& userInfo() const noexcept;
  /// The user-info entry, or absent.
  String userInfo(std::string_view key) const;
  /// What failed, for the user; falls back to domain and code when no text was given.
  std::string localizedDescription() const;
  /// What the user can do; absent when there is nothing to say.
  String localizedRecoverySuggestion() const;
  /// The failure behind this one, or none.
  Error cause() const;
  /// For logs: description, domain and code, and every cause after it.
  std::string description() const;

  /// Same domain and code, or both none. Texts and causes are not compared.
  bool isSameKindAs(const Error& other) const;
  /// Equal in every part.
  friend QRB_EXPORT bool operator==(const Error& a, const Error& b);

 private:
  struct Details;
  std::shared_ptr<const Details> _details;
};

}  // namespace qrb
