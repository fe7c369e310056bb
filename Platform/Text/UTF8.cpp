#include "UTF8.h"

#include <utf8proc.h>

#include <cstdint>
#include <cstring>

namespace qrb {

namespace {

// Nearly all text here is ASCII; eight bytes at a time it costs next to nothing to know so.
std::size_t asciiPrefix(std::string_view bytes) {
  std::size_t position = 0;
  while (bytes.size() - position >= sizeof(std::uint64_t)) {
    std::uint64_t word;
    std::memcpy(&word, bytes.data() + position, sizeof(word));
    if ((word & 0x8080808080808080u) != 0) break;
    position += sizeof(word);
  }
  while (position < bytes.size() && static_cast<unsigned char>(bytes[position]) < 0x80) ++position;
  return position;
}

// Length of the well-formed sequence that `bytes` begins with, or 0.
std::size_t sequenceLength(std::string_view bytes) {
  utf8proc_int32_t codePoint = 0;
  auto length = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(bytes.data()),
                                 static_cast<utf8proc_ssize_t>(bytes.size()), &codePoint);
  return length > 0 ? static_cast<std::size_t>(length) : 0;
}

}  // namespace

bool isValidUTF8(std::string_view bytes) {
  for (;;) {
    bytes.remove_prefix(asciiPrefix(bytes));
    if (bytes.empty()) return true;
    std::size_t length = sequenceLength(bytes);
    if (length == 0) return false;
    bytes.remove_prefix(length);
  }
}

std::string replacingInvalidUTF8(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size());
  while (!bytes.empty()) {
    std::size_t length = asciiPrefix(bytes);
    if (length == 0) length = sequenceLength(bytes);
    if (length == 0) {
      text += "\xef\xbf\xbd";
      length = 1;
    } else {
      text += bytes.substr(0, length);
    }
    bytes.remove_prefix(length);
  }
  return text;
}

}  // namespace qrb
