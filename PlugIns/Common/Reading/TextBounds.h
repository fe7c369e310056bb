#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace qrb {

/// How much of the texts that a repository brings (messages, names, paths) reaches the host. A small repository can
/// hold texts of any length, and neither the plug-in's memory nor the host's is the repository's to fill.
struct TextBounds {
  /// Bytes of one text.
  std::size_t each;
  /// Bytes of all texts of more than TextAllowance::shortText together. Once they are used up, further texts are
  /// shortened to that.
  std::size_t together;
};

inline constexpr TextBounds noTextBounds{~std::size_t{0}, ~std::size_t{0}};
/// The bounds of texts in lists.
inline constexpr TextBounds listedTextBounds{std::size_t{1} << 20, std::size_t{64} << 20};
/// The bounds of a message that is asked for on its own; names and paths remain as in lists. It has to fit into one
/// message to the host, with room for what else that holds.
inline constexpr TextBounds singleTextBounds{std::size_t{128} << 20, std::size_t{128} << 20};

/// Keeps account of the texts that have been read under some bounds.
class TextAllowance {
 public:
  /// A text of this length is never shortened.
  static constexpr std::size_t shortText = 4096;

  explicit TextAllowance(TextBounds bounds) : _bounds(bounds) {}
  void setEach(std::size_t length) { _bounds.each = length; }

  /// How long the next text may be.
  std::size_t next() const {
    std::size_t left = _bounds.together - _used;
    std::size_t most = left < _bounds.each ? left : _bounds.each;
    return most > shortText ? most : shortText;
  }
  /// To be called with the length of each text as it is kept.
  void take(std::size_t length) {
    if (length <= shortText) return;
    std::size_t left = _bounds.together - _used;
    _used += length < left ? length : left;
  }

 private:
  TextBounds _bounds;
  std::size_t _used = 0;
};

/// How much of the beginning of a text to keep within the bound, so that no UTF-8 character is cut. The text's first
/// bytes up to the bound are enough to tell.
std::size_t shortenedLength(std::string_view text, std::size_t bound);

/// What a shortened text ends with: it says how many bytes are missing.
std::string shorteningMark(std::uint64_t missing);

}  // namespace qrb
