#include "SubversionHistoryItems.h"

#include <algorithm>
#include <unordered_set>

#include "QRBSourceControlHistoryTypes.h"
#include "QRBSourceControlLogItem.h"
#include "QRBSourceControlRevision.h"
#include "SubversionLayout.h"
#include "SubversionRevisions.h"
#include "SubversionStatusBits.h"

namespace {

/// Two: hosts show a revision with the one that it was made from.
constexpr std::int64_t mostSingleItems = 2;

std::optional<qrb::HistorySearch> searchOf(const SubversionHistoryRequest& request) {
  if (request.searchString.empty()) return std::nullopt;
  std::string_view text = request.searchString;
  bool isRevision = request.searchType == QRBSourceControlHistorySearchRevision;
  if (isRevision && text.size() > 1 && (text.front() == 'r' || text.front() == 'R')) text.remove_prefix(1);
  return qrb::HistorySearch(request.searchType, text);
}

/// The folder itself or below it; paths begin with a slash.
bool isWithin(std::string_view path, std::string_view folder) {
  std::string_view trimmed = subversionTrimmed(path);
  return trimmed == folder || subversionBelow(trimmed, folder);
}

std::string_view withoutLineFeedsAtTheEnd(std::string_view text) {
  while (text.ends_with('\n') || text.ends_with('\r')) text.remove_suffix(1);
  return text;
}

}  // namespace

std::string subversionShortened(std::string_view text, qrb::TextAllowance& allowance) {
  std::size_t bound = allowance.next();
  if (text.size() <= bound) {
    allowance.take(text.size());
    return std::string(text);
  }
  std::size_t length = qrb::shortenedLength(text, bound);
  allowance.take(length);
  return std::string(text.substr(0, length)) + qrb::shorteningMark(text.size() - length);
}

std::string_view subversionAuthorName(std::string_view author) {
  return author.empty() ? "(no author)" : author;
}

SubversionHistoryItems::SubversionHistoryItems(const SubversionHistoryRequest& request,
                                               QRBSourceControlWorkingCopyPtr workingCopy,
                                               qrb::HistoryBatches::OnBatch onBatch)
    : _request(request),
      _search(searchOf(request)),
      _workingCopy(std::move(workingCopy)),
      _allowance(request.maximum > 0 && request.maximum <= mostSingleItems ? qrb::singleTextBounds
                                                                           : qrb::listedTextBounds),
      _batches(request.maximum, std::move(onBatch)) {}

bool SubversionHistoryItems::needsMessages() const {
  return (_request.inclusionType & QRBSourceControlHistoryWithoutMessage) == 0 ||
         (_search && _request.searchType <= QRBSourceControlHistorySearchMessage);
}

bool SubversionHistoryItems::needsChanges() const {
  constexpr std::uint64_t without = QRBSourceControlHistoryWithoutMessage | QRBSourceControlHistoryWithoutPaths;
  return (_request.inclusionType & without) == 0 ||
         (_search && _request.searchType == QRBSourceControlHistorySearchPath);
}

bool SubversionHistoryItems::take(const SubversionLogEntry& entry) {
  std::string revision = std::to_string(entry.revision);
  if (isWanted(entry, revision)) _batches.add(makeItem(entry, revision));
  _batches.send(false);
  return !_batches.isFull();
}

bool SubversionHistoryItems::isWanted(const SubversionLogEntry& entry, const std::string& revision) const {
  if (!_search) return true;
  // Numbers are no abbreviations of each other.
  if (_request.searchType == QRBSourceControlHistorySearchRevision) {
    std::string_view text = _request.searchString;
    if (text.front() == 'r' || text.front() == 'R') text.remove_prefix(1);
    return revision == text;
  }
  return _search->finds({revision, entry.author, {}, entry.message},
                        [&](const std::function<bool(std::string_view)>& found) {
                          return std::ranges::any_of(entry.changes, [&](const SubversionChange& change) {
                            return found(change.path) || found(change.copiedFrom);
                          });
                        });
}

std::string_view SubversionHistoryItems::folderOf(const SubversionLogEntry& entry) {
  bool isBySameName = std::ranges::any_of(
      entry.changes, [this](const SubversionChange& change) { return isWithin(change.path, _request.folder); });
  if (!_segments && (isBySameName || !_request.segments)) return _request.folder;
  if (!_segments) _segments = _request.segments();
  for (const SubversionSegment& segment : *_segments) {
    if (segment.first <= entry.revision && entry.revision <= segment.last) return segment.path;
  }
  return _request.folder;
}

QRBSourceControlLogItemPtr SubversionHistoryItems::makeItem(const SubversionLogEntry& entry,
                                                            const std::string& revision) {
  auto author = _authors.get(subversionAuthorName(entry.author), {});
  auto identified = QRBSourceControlRevision::initWithIdentifier(revision);
  if ((_request.inclusionType & QRBSourceControlHistoryWithoutMessage) != 0) {
    return QRBSourceControlLogItem::initIncompleteLogItemWithAuthor(author, std::move(identified), entry.date,
                                                                    _workingCopy);
  }
  qrb::String message(subversionShortened(withoutLineFeedsAtTheEnd(entry.message), _allowance));
  if ((_request.inclusionType & QRBSourceControlHistoryWithoutPaths) != 0) {
    return QRBSourceControlLogItem::initWithAuthor(author, std::move(identified), entry.date, std::move(message),
                                                   _workingCopy);
  }
  std::unordered_set<std::string_view> gone;
  for (const SubversionChange& change : entry.changes) {
    if (change.action == 'D' || change.action == 'R') gone.insert(change.path);
  }
  std::vector<QRBSourceControlPathStatuses::value_type> statuses;
  std::vector<QRBSourceControlFileRenames::value_type> renames;
  std::string_view folder = folderOf(entry);
  auto pathOf = [&](std::string_view path) -> const qrb::String& {
    return _paths.get(subversionBelow(subversionTrimmed(path), folder).value_or("."));
  };
  for (const SubversionChange& change : entry.changes) {
    if (!isWithin(change.path, folder)) continue;
    bool wasMoved = change.action == 'A' && gone.contains(change.copiedFrom);
    statuses.emplace_back(pathOf(change.path), subversionChangeStatus(change, wasMoved));
    bool isRename = wasMoved && isWithin(change.copiedFrom, folder);
    if (isRename) renames.emplace_back(pathOf(change.copiedFrom), statuses.back().first);
  }
  return QRBSourceControlLogItem::initWithAuthor(
      author, std::move(identified), entry.date, std::move(message),
      std::make_shared<QRBSourceControlPathStatuses>(std::move(statuses)), _workingCopy,
      renames.empty() ? nullptr : std::make_shared<QRBSourceControlFileRenames>(std::move(renames)));
}
