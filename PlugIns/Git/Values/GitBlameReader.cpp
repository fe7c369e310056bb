#include "GitBlameReader.h"

#include <algorithm>

#include "QRBSourceControlBlameItem.h"
#include "QRBSourceControlLogItem.h"
#include "QRBSourceControlRevision.h"

bool GitBlameReader::feed(std::string_view bytes) {
  return _parser.feed(bytes, [this](const GitBlameRecord& record) { take(record); });
}

void GitBlameReader::take(const GitBlameRecord& record) {
  _runs.push_back({record.line, record.count, record.isUncommitted() ? uncommitted : numberOf(record.hash)});
}

std::uint32_t GitBlameReader::numberOf(std::string_view hash) {
  auto known = _numbers.find(hash, [this](std::uint32_t number) -> const std::string& { return _hashes[number]; });
  if (known) return *known;
  _hashes.emplace_back(hash);
  return _numbers.insert(hash);
}

std::string GitBlameReader::hashes() const {
  std::string result;
  for (const std::string& hash : _hashes) result.append(hash).push_back('\n');
  return result;
}

/// Git finds runs in the order of their commits, and may find neighbours of one commit apart from each other.
void GitBlameReader::order() {
  std::ranges::sort(_runs, {}, &Run::line);
  std::size_t kept = 0;
  for (std::size_t index = 1; index < _runs.size(); ++index) {
    Run& last = _runs[kept];
    if (last.commit == _runs[index].commit && last.line + last.count == _runs[index].line) {
      last.count += _runs[index].count;
    } else {
      _runs[++kept] = _runs[index];
    }
  }
  if (!_runs.empty()) _runs.resize(kept + 1);
}

std::optional<std::vector<QRBSourceControlBlameItemPtr>> GitBlameReader::items(
    const std::vector<QRBSourceControlLogItemPtr>& logItems) {
  if (logItems.size() != _hashes.size()) return std::nullopt;
  for (std::size_t number = 0; number < logItems.size(); ++number) {
    if (logItems[number]->revision()->identifier().view() != _hashes[number]) return std::nullopt;
  }
  order();
  std::vector<QRBSourceControlBlameItemPtr> result;
  result.reserve(_runs.size());
  for (const Run& run : _runs) {
    result.push_back(QRBSourceControlBlameItem::initWithLineRange(
        {run.line, run.count},
        run.commit == uncommitted ? QRBSourceControlLogItem::sharedUnversionedLogItem() : logItems[run.commit]));
  }
  return result;
}
