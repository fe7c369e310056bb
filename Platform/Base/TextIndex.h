#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace qrb {

/// Finds the number under a text, for tables that number texts in the order in which they come (0, 1, 2 …) and keep
/// them themselves. Flat, since histories look up a path for every change: most look-ups touch one slot here and the
/// text itself, where a map of nodes would touch four places in memory.
class TextIndex {
 public:
  /// `textOf(number)` gives the text of a number that was inserted.
  template <class TextOf>
  std::optional<std::uint32_t> find(std::string_view text, TextOf&& textOf) const {
    if (_slots.empty()) return std::nullopt;
    std::uint32_t hash = hashOf(text);
    for (std::size_t place = hash & (_slots.size() - 1);; place = (place + 1) & (_slots.size() - 1)) {
      const Slot& slot = _slots[place];
      if (slot.numberPlusOne == 0) return std::nullopt;
      if (slot.hash == hash && std::string_view(textOf(slot.numberPlusOne - 1)) == text) return slot.numberPlusOne - 1;
    }
  }

  /// The text must not be in it yet; its number is that of the texts so far. Returns the number.
  std::uint32_t insert(std::string_view text) {
    if ((std::size_t{_count} + 1) * 2 > _slots.size()) grow();
    put({hashOf(text), ++_count});
    return _count - 1;
  }

  void clear() {
    _slots.clear();
    _count = 0;
  }

 private:
  struct Slot {
    std::uint32_t hash = 0;
    std::uint32_t numberPlusOne = 0;
  };

  static std::uint32_t hashOf(std::string_view text) {
    return static_cast<std::uint32_t>(std::hash<std::string_view>()(text));
  }
  void put(Slot added) {
    std::size_t place = added.hash & (_slots.size() - 1);
    while (_slots[place].numberPlusOne != 0) place = (place + 1) & (_slots.size() - 1);
    _slots[place] = added;
  }
  void grow() {
    std::vector<Slot> old = std::exchange(_slots, std::vector<Slot>(_slots.empty() ? 16 : _slots.size() * 2));
    for (const Slot& slot : old) {
      if (slot.numberPlusOne != 0) put(slot);
    }
  }

  std::vector<Slot> _slots;
  std::uint32_t _count = 0;
};

}  // namespace qrb
