#pragma once

#include <string>
#include <string_view>

namespace qrb {

// Case as protocols and configuration files mean it: that of A to Z, whatever the locale. Other bytes stay as they are.

constexpr char asciiLowerCase(char byte) {
  return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte - 'A' + 'a') : byte;
}

inline std::string asciiLowerCase(std::string_view text) {
  std::string result(text);
  for (char& byte : result) byte = asciiLowerCase(byte);
  return result;
}

}  // namespace qrb
