#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "GitDiffParser.h"

namespace {

/// What a reading came to, so that two readings of the same bytes can be compared.
std::string read(std::string_view bytes, std::size_t cut) {
  GitDiffParser parser;
  bool isWhole = parser.feed(bytes.substr(0, cut)) && parser.feed(bytes.substr(cut)) && parser.finish();
  if (isWhole == parser.error().has_value()) std::abort();
  std::string result;
  for (const GitDiffFile& file : parser.files()) {
    // Of what could be read to its end every file has a path and what was promised of it.
    if (isWhole && (file.path.empty() || (file.patch.empty() && !file.isPatchLeftOut))) std::abort();
    result += file.letter + std::to_string(file.similarity) + ' ' + std::to_string(file.additions) + ' ' +
              std::to_string(file.deletions) + ' ' + std::to_string(int{file.isBinary});
    result.append(file.path).append(1, '\0').append(file.originalPath).append(1, '\0').append(file.patch);
  }
  return isWhole ? result : result + parser.error()->what + std::to_string(parser.error()->offset);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view bytes(reinterpret_cast<const char*>(data), size);
  std::string whole = read(bytes, size);
  if (read(bytes, size / 2) != whole || read(bytes, size < 3 ? size : 3) != whole) std::abort();
  return 0;
}
