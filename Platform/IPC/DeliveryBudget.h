#pragma once

#include <atomic>
#include <cstddef>

namespace qrb {

/// What a peer may make this side hold for one request: the bytes that it sends, and for each value and each object
/// what reading it takes beyond its bytes. An object costs one byte on the wire and hundreds in memory, so bytes alone
/// would bound nothing. Documentation/protocol.md has the numbers and how they were chosen.
inline constexpr std::size_t kValueCost = 24;
inline constexpr std::size_t kObjectCost = 256;

/// For a request whose reply is as long as a history.
inline constexpr std::size_t kHistoryBudget = std::size_t{4} << 30;
/// For every other request.
inline constexpr std::size_t kRequestBudget = std::size_t{512} << 20;

/// What has been spent of a budget. The limit may be set from any thread; the rest belongs to the reader.
class DeliveryBudget {
 public:
  explicit DeliveryBudget(std::size_t limit) noexcept : _limit(limit) {}

  void setLimit(std::size_t limit) noexcept { _limit = limit; }
  std::size_t limit() const noexcept { return _limit; }
  /// Whether that much more would still be within it.
  bool admits(std::size_t cost) const noexcept {
    std::size_t limit = _limit;
    return _spent <= limit && cost <= limit - _spent;
  }
  /// False when that was more than there was.
  bool spend(std::size_t cost) noexcept {
    bool admitted = admits(cost);
    _spent += cost;
    return admitted;
  }
  void startAgain() noexcept { _spent = 0; }

 private:
  std::atomic<std::size_t> _limit;
  std::size_t _spent = 0;
};

}  // namespace qrb
