#include "LogItemPrinting.h"

#include <algorithm>

#include "QRBSourceControlAuthor.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlStatusValues.h"
#include "Text.h"

namespace host {

JSONValue jsonOfLogItem(const QRBSourceControlLogItem& item, const qrb::String& email) {
  JSONValue entry;
  entry["revision"] = item.revision() ? item.revision()->identifier().view() : "";
  entry["author"] = item.author() ? item.author()->displayName().view() : "";
  if (email) entry["email"] = email.view();
  entry["date"] = isoDate(item.date());
  entry["message"] = item.message().view();
  JSONValue paths = JSONValue::array();
  if (item.pathsWithStatus()) {
    for (const auto& [path, status] : *item.pathsWithStatus()) {
      JSONValue& element = paths.emplace_back(JSONValue::object());
      setPath(element, "path", path.view());
      element["status"] = QRBSourceControlStatusWords(status);
    }
  }
  entry["paths"] = std::move(paths);
  if (item.fileRenames() && !item.fileRenames()->empty()) {
    JSONValue& renames = entry["renames"] = JSONValue::array();
    for (const auto& [from, to] : *item.fileRenames()) {
      JSONValue& element = renames.emplace_back(JSONValue::object());
      setPath(element, "from", from.view());
      setPath(element, "to", to.view());
    }
  }
  return entry;
}

void writeLogItem(Output& output, const QRBSourceControlLogItem& item, bool withPaths) {
  if (item.revision()) output.write(Style::yellow, displayText(item.revision()->identifier().view()));
  output.write("  " + localDate(item.date()));
  if (item.author()) {
    output.write("  ");
    output.write(Style::bold, displayText(item.author()->displayName().view()));
  }
  output.write("\n");
  std::string message = displayText(item.message().view());
  while (message.ends_with('\n')) message.pop_back();
  for (std::size_t start = 0; start < message.size();) {
    std::size_t end = std::min(message.find('\n', start), message.size());
    if (end > start) output.write("    " + message.substr(start, end - start));
    output.write("\n");
    start = end + 1;
  }
  if (!withPaths || !item.pathsWithStatus()) return;
  for (const auto& [path, status] : *item.pathsWithStatus()) {
    std::string words;
    for (std::string_view word : QRBSourceControlStatusWords(status)) words += std::string(word) + " ";
    output.write("  ");
    output.write(Style::cyan, words);
    output.write(displayPath(path.view()) + "\n");
  }
}

}  // namespace host
