#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "GitStatusParser.h"

namespace {

/// What a reading came to, so that two readings of the same bytes can be compared.
std::string read(std::string_view bytes, std::size_t cut) {
  GitStatusParser parser;
  std::string result;
  auto sink = [&](const GitStatusRecord& record) {
    result += std::to_string(static_cast<int>(record.kind)) + ' ' + std::to_string(record.status) + ' ';
    result.append(record.path).append(1, '\0').append(record.originalPath).append(1, '\0');
  };
  bool isWhole = parser.feed(bytes.substr(0, cut), sink) && parser.feed(bytes.substr(cut), sink) && parser.finish();
  if (isWhole == parser.error().has_value()) std::abort();
  return isWhole ? result : result + parser.error()->what + std::to_string(parser.error()->offset);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view bytes(reinterpret_cast<const char*>(data), size);
  std::string whole = read(bytes, size);
  if (read(bytes, size / 2) != whole || read(bytes, size < 3 ? size : 3) != whole) std::abort();
  return 0;
}
