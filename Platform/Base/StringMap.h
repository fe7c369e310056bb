#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>
#include <vector>

#include "SharedString.h"

namespace qrb {

/// A dictionary with text keys, kept as one sorted array: small, cheap to walk, made once and read often.
template <class V>
class StringMap {
 public:
  using value_type = std::pair<String, V>;
  using const_iterator = typename std::vector<value_type>::const_iterator;

  StringMap() = default;
  /// The entries may come in any order; where a key occurs twice the later one wins.
  explicit StringMap(std::vector<value_type> entries) : _entries(std::move(entries)) {
    auto ascending = [](const value_type& a, const value_type& b) { return a.first < b.first; };
    auto notAscending = [](const value_type& a, const value_type& b) { return !(a.first < b.first); };
    if (std::adjacent_find(_entries.begin(), _entries.end(), notAscending) == _entries.end()) return;
    std::stable_sort(_entries.begin(), _entries.end(), ascending);
    auto last = std::unique(_entries.rbegin(), _entries.rend(),
                            [](const value_type& a, const value_type& b) { return a.first == b.first; });
    _entries.erase(_entries.begin(), last.base());
  }
  StringMap(std::initializer_list<value_type> entries) : StringMap(std::vector<value_type>(entries)) {}

  /// The value under `key`, or null. Valid until the map changes.
  const V* find(std::string_view key) const {
    auto place = lowerBound(key);
    return place != _entries.end() && place->first.view() == key ? &place->second : nullptr;
  }
  void set(String key, V value) {
    auto place = lowerBound(key.view());
    if (place != _entries.end() && place->first == key) {
      place->second = std::move(value);
    } else {
      _entries.insert(place, {std::move(key), std::move(value)});
    }
  }
  bool contains(std::string_view key) const { return find(key) != nullptr; }
  std::size_t size() const noexcept { return _entries.size(); }
  bool empty() const noexcept { return _entries.empty(); }
  /// In ascending order of the keys' bytes.
  const_iterator begin() const noexcept { return _entries.begin(); }
  const_iterator end() const noexcept { return _entries.end(); }

  friend bool operator==(const StringMap&, const StringMap&) = default;

 private:
  auto lowerBound(std::string_view key) const {
    return std::lower_bound(_entries.begin(), _entries.end(), key,
                            [](const value_type& entry, std::string_view k) { return entry.first.view() < k; });
  }
  auto lowerBound(std::string_view key) {
    return std::lower_bound(_entries.begin(), _entries.end(), key,
                            [](const value_type& entry, std::string_view k) { return entry.first.view() < k; });
  }

  std::vector<value_type> _entries;
};

}  // namespace qrb
