#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "GitLogParser.h"

namespace {

void addChange(std::string& result, const GitChange& change) {
  result += change.letter + std::to_string(change.similarity);
  result.append(change.path).append(1, '\0').append(change.originalPath).append(1, '\0');
}

std::string outcome(const std::string& result, bool isWhole, const std::optional<qrb::ParseError>& error) {
  if (isWhole == error.has_value()) std::abort();
  return isWhole ? result : result + error->what + std::to_string(error->offset);
}

/// What a reading came to, so that two readings of the same bytes can be compared.
std::string readLog(std::string_view bytes, std::size_t cut) {
  GitLogParser parser;
  std::string result;
  auto sink = [&](const GitLogRecord& record) {
    for (std::string_view field :
         {record.hash, record.parents, record.authorName, record.authorEmail, record.message}) {
      result.append(field).append(1, '\0');
    }
    result += std::to_string(record.authorDate);
    for (const GitChange& change : record.changes) addChange(result, change);
  };
  bool isWhole = parser.feed(bytes.substr(0, cut), sink) && parser.feed(bytes.substr(cut), sink) && parser.finish(sink);
  return outcome(result, isWhole, parser.error());
}

std::string readChanges(std::string_view bytes, std::size_t cut) {
  GitNameStatusParser parser;
  std::string result;
  auto sink = [&](const GitChange& change) { addChange(result, change); };
  bool isWhole = parser.feed(bytes.substr(0, cut), sink) && parser.feed(bytes.substr(cut), sink) && parser.finish();
  return outcome(result, isWhole, parser.error());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view bytes(reinterpret_cast<const char*>(data), size);
  for (auto read : {readLog, readChanges}) {
    std::string whole = read(bytes, size);
    if (read(bytes, size / 2) != whole || read(bytes, size < 45 ? size : 45) != whole) std::abort();
  }
  return 0;
}
