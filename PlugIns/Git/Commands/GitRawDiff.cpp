#include "GitRawDiff.h"

#include <algorithm>
#include <charconv>

#include "GitCommandParts.h"

namespace {

/// Takes the text before a delimiter off the front, with it.
std::string_view take(std::string_view& text, char delimiter) {
  std::size_t end = std::min(text.find(delimiter), text.size());
  std::string_view result = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return result;
}

bool readMode(std::string_view text, std::uint32_t& mode) {
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), mode, 8);
  return error == std::errc() && end == text.data() + text.size();
}

}  // namespace

GitCommand gitRawDiffCommand(std::string_view from, std::string_view to) {
  return gitMakeComparison({"diff-tree", "-r", "-z", "--raw", "--no-renames", "--no-abbrev"}, from, to);
}

/// ":<old mode> <new mode> <old object> <new object> <letter>\0<path>\0".
std::vector<GitRawChange> gitReadRawDiff(std::string_view output) {
  std::vector<GitRawChange> changes;
  while (output.starts_with(':')) {
    output.remove_prefix(1);
    std::string_view head = take(output, '\0');
    GitRawChange change;
    bool isRead = readMode(take(head, ' '), change.oldMode) && readMode(take(head, ' '), change.newMode);
    take(head, ' ');
    change.newObject = take(head, ' ');
    change.path = take(output, '\0');
    if (!isRead || change.newObject.empty() || change.path.empty()) break;
    changes.push_back(std::move(change));
  }
  return changes;
}
