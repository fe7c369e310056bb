#include "GitHistoryReader.h"

#include <algorithm>
#include <chrono>

#include "QRBSourceControlAuthor.h"
#include "QRBSourceControlHistoryTypes.h"
#include "QRBSourceControlLogItem.h"
#include "QRBSourceControlRevision.h"
#include "UnicodeText.h"

namespace {

/// Larger batches save nothing more and make a host wait.
constexpr std::size_t largestBatch = 1000;

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

GitHistoryFilter::GitHistoryFilter(const GitHistoryRequest& request)
    : _searchType(request.searchType), _searchString(qrb::lowercased(request.searchString)) {}

bool GitHistoryFilter::contains(std::string_view text) const {
  return qrb::lowercased(text).find(_searchString) != std::string::npos;
}

bool GitHistoryFilter::accepts(const GitLogRecord& record) const {
  switch (_searchType) {
    case QRBSourceControlHistorySearchAuthor:
      return contains(record.authorName) || contains(record.authorEmail);
    case QRBSourceControlHistorySearchPath:
      return std::ranges::any_of(record.changes, [this](const GitChange& change) {
        return contains(change.path) || contains(change.originalPath);
      });
    case QRBSourceControlHistorySearchRevision:
      return record.hash.starts_with(_searchString);
    default:
      return contains(record.message);
  }
}

GitHistoryReader::GitHistoryReader(const GitHistoryRequest& request, bool filters,
                                   QRBSourceControlWorkingCopyPtr workingCopy, OnBatch onBatch)
    : _inclusionType(request.inclusionType),
      _maximum(request.maximum),
      _filter(filters ? std::optional<GitHistoryFilter>(request) : std::nullopt),
      _workingCopy(std::move(workingCopy)),
      _onBatch(std::move(onBatch)),
      _parser(boundsFor(request.maximum)) {}

bool GitHistoryReader::feed(std::string_view bytes) {
  bool isReadable = _parser.feed(bytes, [this](const GitLogRecord& record) { take(record); });
  sendBatch(false);
  return isReadable && !isFull();
}

bool GitHistoryReader::finish() {
  bool isReadable = isFull() || _parser.finish([this](const GitLogRecord& record) { take(record); });
  sendBatch(true);
  return isReadable;
}

bool GitHistoryReader::isFull() const {
  return _maximum > 0 && _items.size() >= static_cast<std::uint64_t>(_maximum);
}

void GitHistoryReader::take(const GitLogRecord& record) {
  _hasSome = true;
  if (isFull() || (_filter && !_filter->accepts(record))) return;
  _items.push_back(makeItem(record));
}

/// Rare finds go out one by one, while those of a fast history soon fill batches worth a message.
void GitHistoryReader::sendBatch(bool isLast) {
  std::size_t waiting = _items.size() - _sent;
  std::size_t enough = isLast ? 1 : std::clamp<std::size_t>(_sent / 4, 1, largestBatch);
  if (waiting < enough || !_onBatch) return;
  const double fraction =
      _maximum > 0 ? std::min(1.0, static_cast<double>(_items.size()) / static_cast<double>(_maximum)) : 0;
  auto begin = _items.begin() + static_cast<std::ptrdiff_t>(_sent);
  _sent = _items.size();
  _onBatch(Items(begin, _items.end()), fraction);
}

const QRBSourceControlAuthorPtr& GitHistoryReader::authorOf(const GitLogRecord& record) {
  _authorKey.assign(record.authorName).push_back('\0');
  _authorKey.append(record.authorEmail);
  QRBSourceControlAuthorPtr& author = _authors[_authorKey];
  if (!author) author = QRBSourceControlAuthor::initWithUsername(record.authorName, record.authorEmail);
  return author;
}

QRBSourceControlLogItemPtr GitHistoryReader::makeItem(const GitLogRecord& record) {
  const QRBSourceControlAuthorPtr& author = authorOf(record);
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
