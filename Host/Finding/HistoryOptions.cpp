#include "HistoryOptions.h"

#include <charconv>

namespace host {

namespace {

// For the parser: what is wrong, or nothing.
std::string refuseNegative(std::string& number) {
  std::int64_t value = -1;
  const char* end = number.data() + number.size();
  auto result = std::from_chars(number.data(), end, value);
  if (result.ec == std::errc() && result.ptr == end && value >= 0) return {};
  return "\"" + number + "\" is not a number of entries: 0 or more are";
}

}  // namespace

qrb::String HistoryOptions::search() const {
  if (!author.empty()) return author;
  return searchText.empty() ? qrb::String() : qrb::String(searchText);
}

QRBSourceControlHistorySearchType HistoryOptions::searchType() const {
  if (!author.empty()) return QRBSourceControlHistorySearchAuthor;
  return searchText.empty() ? QRBSourceControlHistorySearchDefault : QRBSourceControlHistorySearchMessage;
}

QRBSourceControlHistoryInclusionType HistoryOptions::inclusionType(bool needsPaths) const {
  QRBSourceControlHistoryInclusionType type = QRBSourceControlHistoryIncludeAll;
  if (!needsPaths && !paths) type |= QRBSourceControlHistoryWithoutPaths;
  return type;
}

void addHistoryOptions(CommandDeclaration& command, HistoryOptions& options) {
  command
      .option("-n,--max-count", options.wanted,
              "Show at most so many entries; 0 shows all. Default: 30 on a terminal, else all")
      .text("N")
      .checkedBy(refuseNegative);
  auto& search =
      command.option("--search", options.searchText, "Show entries whose message contains the text").text("TEXT");
  command.option("--author", options.author, "Show entries whose author's name or e-mail address contains the text")
      .text("TEXT")
      .excludes(search);
  command.flag("--paths", options.paths, "Show also what each entry did to which path (always with --json)");
}

}  // namespace host
