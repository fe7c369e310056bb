#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "Export.h"

namespace qrb {

/// The text in lower case, letter by letter and without regard to a language; bytes that are not UTF-8 stay.
QRB_EXPORT std::string lowercased(std::string_view text);

/// What is equal for texts that differ in letter case only, or in how their letters are composed, whatever the
/// language. Bytes that are not UTF-8 stay.
QRB_EXPORT std::string caseFolded(std::string_view text);

/// A place in a text, in bytes.
struct TextRange {
  std::size_t location;
  std::size_t length;
  friend bool operator==(const TextRange&, const TextRange&) = default;
};

/// The first place where the term occurs, or nullopt. Case and diacritical marks make no difference, however either
/// text is composed; the place takes in the marks of the last letter and never divides a letter. A term without letters
/// of its own (empty, or marks only) occurs nowhere. Bytes that are not UTF-8 are equal to themselves only.
QRB_EXPORT std::optional<TextRange> caseAndDiacriticInsensitiveFind(std::string_view term, std::string_view text);

}  // namespace qrb
