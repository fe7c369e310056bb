#include "HistoryBatches.h"

#include <algorithm>

#include "QRBSourceControlHistoryTypes.h"
#include "UnicodeText.h"

namespace qrb {
namespace {

/// Larger batches save nothing more and make a host wait.
constexpr std::size_t largestBatch = 1000;

}  // namespace

/// Rare finds go out one by one, while those of a fast history soon fill batches worth a message.
void HistoryBatches::send(bool isLast) {
  std::size_t waiting = _items.size() - _sent;
  std::size_t enough = isLast ? 1 : std::clamp<std::size_t>(_sent / 4, 1, largestBatch);
  if (waiting < enough || !_onBatch) return;
  double fraction =
      _maximum > 0 ? std::min(1.0, static_cast<double>(_items.size()) / static_cast<double>(_maximum)) : 0;
  auto begin = _items.begin() + static_cast<std::ptrdiff_t>(_sent);
  _sent = _items.size();
  _onBatch(Items(begin, _items.end()), fraction);
}

HistorySearch::HistorySearch(std::uint64_t type, std::string_view text)
    : _type(type), _text(lowercased(std::string(text))) {}

bool HistorySearch::contains(std::string_view text) const {
  return lowercased(text).find(_text) != std::string::npos;
}

bool HistorySearch::finds(const Entry& entry,
                          const std::function<bool(const std::function<bool(std::string_view path)>&)>& paths) const {
  switch (_type) {
    case QRBSourceControlHistorySearchAuthor:
      return contains(entry.authorName) || contains(entry.authorEmail);
    case QRBSourceControlHistorySearchPath:
      return paths([this](std::string_view path) { return contains(path); });
    case QRBSourceControlHistorySearchRevision:
      return entry.revision.starts_with(_text);
    default:
      return contains(entry.message);
  }
}

}  // namespace qrb
