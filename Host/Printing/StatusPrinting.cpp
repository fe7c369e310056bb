#include "StatusPrinting.h"

#include <algorithm>

#include "QRBSourceControlStatusValues.h"
#include "Text.h"

namespace host {

namespace {

constexpr std::uint64_t kRenames = QRBSourceControlStatusRenamed | QRBSourceControlStatusStagedRenamed;

// A report says which paths are new names and which are old ones, not which belong together; with one of each there is
// no doubt.
std::pair<qrb::String, qrb::String> onlyRename(const StatusEntries& entries) {
  const std::pair<qrb::String, std::uint64_t>* found[2] = {nullptr, nullptr};
  for (const auto& entry : entries) {
    for (int side = 0; side < 2; ++side) {
      if ((entry.second & (side == 0 ? QRBSourceControlStatusMovedAway : kRenames)) == 0) continue;
      if (found[side] != nullptr) return {};
      found[side] = &entry;
    }
  }
  if (found[0] == nullptr || found[1] == nullptr || found[0] == found[1]) return {};
  return {found[0]->first, found[1]->first};
}

Style styleOf(std::uint64_t status) {
  if ((status & QRBSourceControlStatusConflicted) != 0) return Style::red;
  if ((status & (QRBSourceControlStatusUntracked | QRBSourceControlStatusIgnored)) != 0) return Style::dim;
  if ((status & ~(QRBSourceControlStatusStagedMask | QRBSourceControlStatusMovedAway)) == 0) return Style::green;
  return Style::yellow;
}

std::string joinedWords(std::uint64_t status) {
  std::string text;
  // That it is a folder is shown by a slash.
  for (std::string_view word : QRBSourceControlStatusWords(status & ~QRBSourceControlStatusDirectory)) {
    if (!text.empty()) text += ", ";
    text += word;
  }
  return text;
}

/// Null where nothing is known of a lock.
const qrb::Dictionary* lockOf(const StatusLocks& locks, const qrb::String& path) {
  const qrb::Dictionary* found = locks.find(path.view());
  return found != nullptr && found->isObject() ? found : nullptr;
}

JSONValue jsonOfLock(const qrb::Dictionary& lock) {
  JSONValue json;
  for (const char* key : {"owner", "comment"}) json[key] = lock[key].string();
  const qrb::Dictionary& created = lock["created"];
  // Until the end of the year 9999: what is later is no date that anybody can read.
  constexpr std::uint64_t latest = 253402300799;
  if (created.isInteger() && !created.isNegative() && created.unsignedInteger() <= latest) {
    json["created"] = isoDate(qrb::Date(std::chrono::seconds(created.integer())));
  }
  return json;
}

}  // namespace

StatusEntries mergedStatus(const QRBSourceControlPathStatusesPtr& local, const QRBSourceControlPathStatusesPtr& remote,
                           bool withIgnored) {
  // The bits of the two reports never overlap, so a path that both name is one entry.
  static const QRBSourceControlPathStatuses none;
  StatusEntries entries;
  const auto& here = local ? *local : none;
  const auto& there = remote ? *remote : none;
  auto other = there.begin();
  auto add = [&](const qrb::String& path, std::uint64_t status) {
    if (withIgnored || (status & QRBSourceControlStatusIgnored) == 0) entries.emplace_back(path, status);
  };
  for (const auto& [path, status] : here) {
    for (; other != there.end() && other->first < path; ++other) add(other->first, other->second);
    bool isInBoth = other != there.end() && other->first == path;
    add(path, status | (isInBoth ? other->second : 0));
    if (isInBoth) ++other;
  }
  for (; other != there.end(); ++other) add(other->first, other->second);
  return entries;
}

std::vector<JSONValue> jsonOfStatus(const StatusEntries& entries, const StatusLocks& locks) {
  std::vector<JSONValue> elements;
  auto [original, renamed] = onlyRename(entries);
  for (const auto& [path, status] : entries) {
    JSONValue& entry = elements.emplace_back();
    setPath(entry, "path", path.view());
    entry["status"] = QRBSourceControlStatusWords(status);
    if (renamed && path == renamed) setPath(entry, "originalPath", original.view());
    if (const auto* lock = lockOf(locks, path)) entry["lock"] = jsonOfLock(*lock);
  }
  return elements;
}

void writeStatus(Output& output, const StatusEntries& entries, const std::string& indent, const StatusLocks& locks) {
  constexpr std::size_t kWidest = 32;
  std::size_t width = 0;
  for (const auto& entry : entries) width = std::max(width, std::min(kWidest, joinedWords(entry.second).size()));
  auto [original, renamed] = onlyRename(entries);
  for (const auto& [path, status] : entries) {
    std::string words = joinedWords(status);
    output.write(indent);
    output.write(styleOf(status), words);
    output.write(std::string(words.size() < width ? width - words.size() : 0, ' ') + "  ");
    if (renamed && path == renamed) output.write(displayPath(original.view()) + " -> ");
    bool isFolder = (status & QRBSourceControlStatusDirectory) != 0 && !path.view().ends_with('/');
    output.write(displayPath(isFolder ? path.str() + "/" : path.str()));
    if (const auto* lock = lockOf(locks, path)) {
      const std::string& comment = (*lock)["comment"].string();
      output.write("  (locked by " + displayText((*lock)["owner"].string()) +
                   (comment.empty() ? "" : ": " + displayText(comment.substr(0, comment.find('\n')))) + ")");
    }
    output.write("\n");
  }
}

}  // namespace host
