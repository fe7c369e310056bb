#include "PercentCoding.h"

#include <array>
#include <charconv>

namespace qrb {

namespace {

constexpr std::array<bool, 256> makePathCharacters() {
  std::array<bool, 256> allowed{};
  constexpr std::string_view characters =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~!$&'()*+,;=:@/";
  for (char character : characters) allowed[static_cast<unsigned char>(character)] = true;
  return allowed;
}

constexpr std::array<bool, 256> pathCharacters = makePathCharacters();

}  // namespace

std::string percentEncodedPath(std::string_view path, bool encodingSlashes) {
  constexpr char digits[] = "0123456789ABCDEF";
  std::string text;
  text.reserve(path.size());
  for (char character : path) {
    auto byte = static_cast<unsigned char>(character);
    if (pathCharacters[byte] && !(encodingSlashes && character == '/')) {
      text += character;
    } else {
      text += {'%', digits[byte >> 4], digits[byte & 15]};
    }
  }
  return text;
}

std::string percentDecoded(std::string_view text) {
  std::string bytes;
  bytes.reserve(text.size());
  for (std::size_t index = 0; index < text.size(); ++index) {
    unsigned char byte = 0;
    const char* digits = text.data() + index + 1;
    if (text[index] == '%' && text.size() - index > 2 &&
        std::from_chars(digits, digits + 2, byte, 16).ptr == digits + 2) {
      bytes += static_cast<char>(byte);
      index += 2;
    } else {
      bytes += text[index];
    }
  }
  return bytes;
}

}  // namespace qrb
