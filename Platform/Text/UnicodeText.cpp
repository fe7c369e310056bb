#include "UnicodeText.h"

#include <utf8proc.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

namespace qrb {

namespace {

// Beyond every code point, so that a byte that is no text equals only itself.
constexpr std::int32_t strayByte = 0x110000;

// Takes the next code point, or stray byte, off the front; never called with nothing left.
std::int32_t nextCodePoint(std::string_view& text) {
  auto first = static_cast<unsigned char>(text.front());
  std::int32_t codePoint = first;
  utf8proc_ssize_t length = 1;
  if (first >= 0x80) {
    length = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                              static_cast<utf8proc_ssize_t>(text.size()), &codePoint);
    if (length < 1) {
      length = 1;
      codePoint = strayByte + first;
    }
  }
  text.remove_prefix(static_cast<std::size_t>(length));
  return codePoint;
}

// A text reduced to what the search compares, and for each element where the letter it came from begins. A letter may
// give several elements (a ligature) or none (a mark).
struct Folded {
  std::vector<std::int32_t> elements;
  std::vector<std::size_t> starts;

  explicit Folded(std::string_view text) {
    elements.reserve(text.size());
    starts.reserve(text.size() + 1);
    std::string_view rest = text;
    while (!rest.empty()) {
      std::size_t start = text.size() - rest.size();
      append(nextCodePoint(rest), start);
    }
    starts.push_back(text.size());
  }

  bool isBoundary(std::size_t index) const {
    return index == 0 || index == elements.size() || starts[index] != starts[index - 1];
  }

 private:
  void append(std::int32_t codePoint, std::size_t start) {
    std::array<utf8proc_int32_t, 32> folded;
    utf8proc_ssize_t count = 1;
    if (codePoint < 0x80) {
      folded[0] = codePoint >= 'A' && codePoint <= 'Z' ? codePoint + ('a' - 'A') : codePoint;
    } else if (codePoint >= strayByte) {
      folded[0] = codePoint;
    } else {
      constexpr auto options =
          static_cast<utf8proc_option_t>(UTF8PROC_DECOMPOSE | UTF8PROC_CASEFOLD | UTF8PROC_STRIPMARK);
      int boundClass = UTF8PROC_BOUNDCLASS_START;
      count = utf8proc_decompose_char(codePoint, folded.data(), folded.size(), options, &boundClass);
    }
    for (utf8proc_ssize_t index = 0; index < count; ++index) {
      elements.push_back(folded[static_cast<std::size_t>(index)]);
      starts.push_back(start);
    }
  }
};

}  // namespace

std::string lowercased(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    std::string_view before = text;
    std::int32_t codePoint = nextCodePoint(text);
    if (codePoint >= strayByte) {
      result += before.front();
      continue;
    }
    std::array<utf8proc_uint8_t, 4> bytes;
    utf8proc_ssize_t length = utf8proc_encode_char(utf8proc_tolower(codePoint), bytes.data());
    result.append(reinterpret_cast<const char*>(bytes.data()), static_cast<std::size_t>(length));
  }
  return result;
}

std::string caseFolded(std::string_view text) {
  auto isASCII = [](char character) { return static_cast<unsigned char>(character) < 0x80; };
  if (std::all_of(text.begin(), text.end(), isASCII)) return lowercased(text);
  constexpr auto options = static_cast<utf8proc_option_t>(UTF8PROC_STABLE | UTF8PROC_CASEFOLD | UTF8PROC_COMPOSE);
  utf8proc_uint8_t* folded = nullptr;
  utf8proc_ssize_t size = utf8proc_map(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                                       static_cast<utf8proc_ssize_t>(text.size()), &folded, options);
  std::unique_ptr<utf8proc_uint8_t, decltype(&std::free)> owned(folded, &std::free);
  if (size < 0) return lowercased(text);
  return std::string(reinterpret_cast<const char*>(folded), static_cast<std::size_t>(size));
}

std::optional<TextRange> caseAndDiacriticInsensitiveFind(std::string_view term, std::string_view text) {
  Folded wanted(term);
  if (wanted.elements.empty()) return std::nullopt;
  Folded searched(text);
  auto from = searched.elements.begin();
  for (;;) {
    auto found = std::search(from, searched.elements.end(), wanted.elements.begin(), wanted.elements.end());
    if (found == searched.elements.end()) return std::nullopt;
    auto first = static_cast<std::size_t>(found - searched.elements.begin());
    std::size_t end = first + wanted.elements.size();
    if (searched.isBoundary(first) && searched.isBoundary(end)) {
      return TextRange{searched.starts[first], searched.starts[end] - searched.starts[first]};
    }
    from = found + 1;
  }
}

}  // namespace qrb
