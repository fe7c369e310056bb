#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <unordered_map>
#include <utility>

#include "Object.h"

namespace qrb {

namespace detail {

struct ObjectHash {
  template <class K>
  std::size_t operator()(const std::shared_ptr<K>& key) const {
    return key == nullptr ? 0 : key->hash();
  }
};
struct ObjectEqual {
  template <class K>
  bool operator()(const std::shared_ptr<K>& a, const std::shared_ptr<K>& b) const {
    return areEqual(a, b);
  }
};

}  // namespace detail

/// What is known about each of some objects. It keeps its keys alive and tells them apart as their class does: by
/// equality, which for most objects with identity is identity. Iterates pairs in no particular order. Not guarded.
template <class K, class V>
class MapTable {
  using Entries = std::unordered_map<std::shared_ptr<K>, V, detail::ObjectHash, detail::ObjectEqual>;

 public:
  using key_type = std::shared_ptr<K>;
  using mapped_type = V;
  using value_type = typename Entries::value_type;

  /// The value, or null; valid until the table changes.
  const V* find(const key_type& key) const {
    auto place = _entries.find(key);
    return place == _entries.end() ? nullptr : &place->second;
  }
  /// A value-initialised one (null, 0, absent) where there is none.
  V valueFor(const key_type& key) const {
    const V* value = find(key);
    return value == nullptr ? V{} : *value;
  }
  void set(key_type key, V value) { _entries.insert_or_assign(std::move(key), std::move(value)); }
  void remove(const key_type& key) { _entries.erase(key); }
  bool contains(const key_type& key) const { return find(key) != nullptr; }
  std::size_t size() const noexcept { return _entries.size(); }
  bool empty() const noexcept { return _entries.empty(); }
  auto begin() const noexcept { return _entries.begin(); }
  auto end() const noexcept { return _entries.end(); }

 private:
  Entries _entries;
};

/// As a MapTable, but keeps neither keys nor values alive: an entry is gone when either object is. Keys are told apart
/// by identity.
template <class K, class V>
class WeakMapTable {
 public:
  /// The value, or null.
  std::shared_ptr<V> valueFor(const std::shared_ptr<K>& key) const {
    auto place = _entries.find(key.get());
    // The address of a key that is gone may have gone to another object since.
    if (place == _entries.end() || place->second.first.lock() != key) return nullptr;
    return place->second.second.lock();
  }
  void set(const std::shared_ptr<K>& key, const std::shared_ptr<V>& value) {
    if (key != nullptr) _entries.insert_or_assign(key.get(), std::pair(std::weak_ptr<K>(key), std::weak_ptr<V>(value)));
  }

 private:
  std::unordered_map<const K*, std::pair<std::weak_ptr<K>, std::weak_ptr<V>>> _entries;
};

}  // namespace qrb
