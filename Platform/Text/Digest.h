#pragma once

#include <string>
#include <string_view>

namespace qrb {

/// The SHA-1 digest of the bytes as 40 upper-case hexadecimal digits. It names things; it protects nothing.
std::string sha1Hex(std::string_view bytes);

/// The SHA-256 digest of the bytes as 64 upper-case hexadecimal digits.
std::string sha256Hex(std::string_view bytes);

}  // namespace qrb
