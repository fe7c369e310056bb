#include "TextBounds.h"

namespace qrb {

std::size_t shortenedLength(std::string_view text, std::size_t bound) {
  std::string_view kept = text.substr(0, bound);
  auto byteAt = [kept](std::size_t back) { return static_cast<unsigned char>(kept[kept.size() - back]); };
  // The first byte of a character of several bytes says how many there are; three of them at most are here.
  for (std::size_t back = 1; back <= 3 && back <= kept.size(); ++back) {
    unsigned char byte = byteAt(back);
    if (byte < 0x80) break;
    if (byte < 0xc0) continue;
    std::size_t length = byte < 0xe0 ? 2 : byte < 0xf0 ? 3 : 4;
    return length > back ? kept.size() - back : kept.size();
  }
  return kept.size();
}

std::string shorteningMark(std::uint64_t missing) {
  return "… [" + std::to_string(missing) + " bytes more]";
}

}  // namespace qrb
