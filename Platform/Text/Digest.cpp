#include "Digest.h"

#include <nettle/sha1.h>

#include <array>

namespace qrb {

std::string sha1Hex(std::string_view bytes) {
  sha1_ctx context;
  sha1_init(&context);
  sha1_update(&context, bytes.size(), reinterpret_cast<const std::uint8_t*>(bytes.data()));
  std::array<std::uint8_t, SHA1_DIGEST_SIZE> digest;
  sha1_digest(&context, digest.size(), digest.data());
  constexpr char digits[] = "0123456789ABCDEF";
  std::string text;
  text.reserve(2 * digest.size());
  for (std::uint8_t byte : digest) text += {digits[byte >> 4], digits[byte & 15]};
  return text;
}

}  // namespace qrb
