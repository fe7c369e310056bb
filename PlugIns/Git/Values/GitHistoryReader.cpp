#include "GitHistoryReader.h"

#include <algorithm>
#include <chrono>

#include "QRBSourceControlHistoryTypes.h"
#include "QRBSourceControlLogItem.h"
#include "QRBSourceControlRevision.h"

namespace {

/// Two: hosts show a revision with the one that it was made from.
constexpr std::int64_t mostSingleItems = 2;

qrb::TextBounds boundsFor(std::int64_t maximum) {
  return maximum > 0 && maximum <= mostSingleItems ? qrb::singleTextBounds : qrb::listedTextBounds;
}

std::string_view withoutLineFeedsAtEnd(std::string_view text) {
  while (text.ends_with('\n')) text.remove_suffix(1);
  return text;
}

}  // namespace

GitHistoryReader::GitHistoryReader(const GitHistoryRequest& request, bool filters,
                                   QRBSourceControlWorkingCopyPtr workingCopy, OnBatch onBatch)
    : _inclusionType(request.inclusionType),
      _search(filters ? std::optional<qrb::HistorySearch>(std::in_place, request.searchType, request.searchString)
                      : std::nullopt),
      _workingCopy(std::move(workingCopy)),
      _parser(boundsFor(request.maximum)),
      _batches(request.maximum, std::move(onBatch)) {}

bool GitHistoryReader::feed(std::string_view bytes) {
  bool isReadable = _parser.feed(bytes, [this](const GitLogRecord& record) { take(record); });
  _batches.send(false);
  return isReadable && !_batches.isFull();
}

bool GitHistoryReader::finish() {
  bool isReadable = _batches.isFull() || _parser.finish([this](const GitLogRecord& record) { take(record); });
  _batches.send(true);
  return isReadable;
}

bool GitHistoryReader::isWanted(const GitLogRecord& record) const {
  if (!_search) return true;
  return _search->finds({record.hash, record.authorName, record.authorEmail, record.message},
                        [&](const std::function<bool(std::string_view)>& found) {
                          return std::ranges::any_of(record.changes, [&](const GitChange& change) {
                            return found(change.path) || found(change.originalPath);
                          });
                        });
}

void GitHistoryReader::take(const GitLogRecord& record) {
  _hasSome = true;
  if (!_batches.isFull() && isWanted(record)) _batches.add(makeItem(record));
}

QRBSourceControlLogItemPtr GitHistoryReader::makeItem(const GitLogRecord& record) {
  const QRBSourceControlAuthorPtr& author = _authors.get(record.authorName, record.authorEmail);
  auto revision = QRBSourceControlRevision::initWithIdentifier(record.hash);
  qrb::Date date{std::chrono::seconds(record.authorDate)};
  if ((_inclusionType & QRBSourceControlHistoryWithoutMessage) != 0) {
    return QRBSourceControlLogItem::initIncompleteLogItemWithAuthor(author, std::move(revision), date, _workingCopy);
  }
  qrb::String message(withoutLineFeedsAtEnd(record.message));
  if ((_inclusionType & QRBSourceControlHistoryWithoutPaths) != 0) {
    return QRBSourceControlLogItem::initWithAuthor(author, std::move(revision), date, std::move(message), _workingCopy);
  }
  std::vector<QRBSourceControlPathStatuses::value_type> statuses;
  std::vector<QRBSourceControlFileRenames::value_type> renames;
  statuses.reserve(record.changes.size());
  for (const GitChange& change : record.changes) {
    statuses.emplace_back(_paths.get(change.path), gitChangeStatus(change.letter));
    if (change.letter == 'R') renames.emplace_back(_paths.get(change.originalPath), statuses.back().first);
  }
  return QRBSourceControlLogItem::initWithAuthor(
      author, std::move(revision), date, std::move(message),
      std::make_shared<QRBSourceControlPathStatuses>(std::move(statuses)), _workingCopy,
      renames.empty() ? nullptr : std::make_shared<QRBSourceControlFileRenames>(std::move(renames)));
}
