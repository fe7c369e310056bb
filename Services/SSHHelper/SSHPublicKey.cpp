#include "SSHPublicKey.h"

#include <nettle/base64.h>
#include <nettle/sha2.h>

#include <cstdint>

namespace {

std::optional<std::string> decodeBase64(std::string_view text) {
  base64_decode_ctx context;
  base64_decode_init(&context);
  std::string bytes(BASE64_DECODE_LENGTH(text.size()), '\0');
  std::size_t length = bytes.size();
  auto* out = reinterpret_cast<std::uint8_t*>(bytes.data());
  if (!base64_decode_update(&context, &length, out, text.size(), text.data()) || !base64_decode_final(&context)) {
    return std::nullopt;
  }
  bytes.resize(length);
  return bytes;
}

// A key begins with the name of its type: four bytes of length, then the text.
std::string_view typeWithin(std::string_view blob) {
  if (blob.size() < 4) return {};
  std::uint32_t length = 0;
  for (char byte : blob.substr(0, 4)) length = length << 8 | static_cast<std::uint8_t>(byte);
  return length <= blob.size() - 4 ? blob.substr(4, length) : std::string_view();
}

}  // namespace

std::vector<std::string_view> splitWords(std::string_view line) {
  std::vector<std::string_view> words;
  constexpr std::string_view blanks = " \t\r\n";
  for (;;) {
    std::size_t begin = line.find_first_not_of(blanks);
    if (begin == std::string_view::npos) return words;
    line.remove_prefix(begin);
    words.push_back(line.substr(0, line.find_first_of(blanks)));
    line.remove_prefix(words.back().size());
  }
}

std::optional<SSHPublicKey> SSHPublicKey::parse(std::string_view text) {
  std::vector<std::string_view> words = splitWords(text.substr(0, text.find('\n')));
  if (words.size() < 2) return std::nullopt;
  std::optional<std::string> blob = decodeBase64(words[1]);
  if (!blob || words[0] != typeWithin(*blob)) return std::nullopt;
  return SSHPublicKey{std::string(words[0]), std::move(*blob)};
}

std::string SSHPublicKey::fingerprint() const {
  sha256_ctx context;
  sha256_init(&context);
  sha256_update(&context, blob.size(), reinterpret_cast<const std::uint8_t*>(blob.data()));
  std::uint8_t digest[SHA256_DIGEST_SIZE];
  sha256_digest(&context, sizeof digest, digest);
  std::string text(BASE64_ENCODE_RAW_LENGTH(sizeof digest), '\0');
  base64_encode_raw(text.data(), sizeof digest, digest);
  return "SHA256:" + text.substr(0, text.find('='));
}
