#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace qrb {

/// Sorts names as readers of a language expect. Immutable; safe from any thread.
class Collator {
 public:
  /// The collator of the user's language, as the environment of the program says at the first call.
  static const Collator& ofUser();
  /// That of a language, such as "sv"; an unknown one sorts as the user's.
  explicit Collator(const std::string& language);
  ~Collator();
  Collator(const Collator&) = delete;
  Collator& operator=(const Collator&) = delete;

  /// Bytes that compare as the texts do: cheaper than comparing texts again and again. Bytes that are not UTF-8 count
  /// as one unknown letter each.
  std::string sortKey(std::string_view text) const;
  /// Below, equal to or above 0.
  int compare(std::string_view a, std::string_view b) const;

 private:
  struct Handle;
  std::unique_ptr<Handle> _handle;
};

}  // namespace qrb
