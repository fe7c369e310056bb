#include "Digest.h"

#include <nettle/sha1.h>
#include <nettle/sha2.h>

#include <array>
#include <span>

namespace qrb {
namespace {

std::string upperHex(std::span<const std::uint8_t> bytes) {
  constexpr char digits[] = "0123456789ABCDEF";
  std::string text;
  text.reserve(2 * bytes.size());
  for (std::uint8_t byte : bytes) text += {digits[byte >> 4], digits[byte & 15]};
  return text;
}

}  // namespace

std::string sha1Hex(std::string_view bytes) {
  sha1_ctx context;
  sha1_init(&context);
  sha1_update(&context, bytes.size(), reinterpret_cast<const std::uint8_t*>(bytes.data()));
  std::array<std::uint8_t, SHA1_DIGEST_SIZE> digest;
  sha1_digest(&context, digest.size(), digest.data());
  return upperHex(digest);
}

std::string sha256Hex(std::string_view bytes) {
  sha256_ctx context;
  sha256_init(&context);
  sha256_update(&context, bytes.size(), reinterpret_cast<const std::uint8_t*>(bytes.data()));
  std::array<std::uint8_t, SHA256_DIGEST_SIZE> digest;
  sha256_digest(&context, digest.size(), digest.data());
  return upperHex(digest);
}

}  // namespace qrb
