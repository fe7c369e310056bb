#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "QRBSourceControlForward.h"

namespace qrb {

/// Keeps the items of a history and hands them on in batches while it is read: the first as soon as there is one, later
/// ones the larger the more there have been.
class HistoryBatches {
 public:
  using Items = std::vector<QRBSourceControlLogItemPtr>;
  /// Gets the items since the last call, and the fraction done: 0 where nobody knows the whole.
  using OnBatch = std::function<void(const Items& batch, double fraction)>;

  /// A maximum of 0 or below is none.
  HistoryBatches(std::int64_t maximum, OnBatch onBatch) : _maximum(maximum), _onBatch(std::move(onBatch)) {}

  void add(QRBSourceControlLogItemPtr item) { _items.push_back(std::move(item)); }
  bool isFull() const { return _maximum > 0 && _items.size() >= static_cast<std::uint64_t>(_maximum); }
  /// Hands on what is worth a message; the last time whatever is there.
  void send(bool isLast);
  /// Every item so far, those handed on included.
  const Items& items() const { return _items; }

 private:
  const std::int64_t _maximum;
  const OnBatch _onBatch;
  Items _items;
  std::size_t _sent = 0;
};

/// Searches a history for a text where the tool itself does not, as QRBSourceControlHistoryTypes.h says. Views.
class HistorySearch {
 public:
  HistorySearch(std::uint64_t type, std::string_view text);

  struct Entry {
    std::string_view revision;
    std::string_view authorName;
    std::string_view authorEmail;
    std::string_view message;
  };
  /// `paths` calls what it is given for each path of the entry until that returns true, and says whether it has.
  bool finds(const Entry& entry,
             const std::function<bool(const std::function<bool(std::string_view path)>&)>& paths) const;

 private:
  bool contains(std::string_view text) const;

  const std::uint64_t _type;
  const std::string _text;
};

}  // namespace qrb
