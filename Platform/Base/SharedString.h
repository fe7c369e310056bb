#pragma once

#include <atomic>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "Export.h"

namespace qrb {

/// Immutable text that may be absent: one pointer wide, copied by counting references.
///
/// Absent and empty are different states: `String()` is absent, `String("")` is empty. The bytes are UTF-8, except
/// where they are a file's name, which carries whatever bytes the file system has. A copy shares its storage with the
/// original (`isIdenticalTo`), so that identity survives copying, and a history that names one path ten thousand times
/// holds it once. Copying, comparing and destroying are safe from any thread.
class QRB_EXPORT String {
 public:
  constexpr String() noexcept = default;
  constexpr String(std::nullptr_t) noexcept {}
  constexpr String(std::nullopt_t) noexcept {}
  /// Absent when `text` is null.
  String(const char* text) : _storage(text == nullptr ? nullptr : make(text)) {}
  String(std::string_view text) : _storage(make(text)) {}
  String(const std::string& text) : _storage(make(text)) {}
  String(const std::optional<std::string>& text) : _storage(text ? make(*text) : nullptr) {}
  String(const String& other) noexcept : _storage(other._storage) { retain(_storage); }
  String(String&& other) noexcept : _storage(other._storage) { other._storage = nullptr; }
  String& operator=(const String& other) noexcept {
    retain(other._storage);
    release(_storage);
    _storage = other._storage;
    return *this;
  }
  String& operator=(String&& other) noexcept {
    std::swap(_storage, other._storage);
    return *this;
  }
  ~String() { release(_storage); }

  bool has_value() const noexcept { return _storage != nullptr; }
  explicit operator bool() const noexcept { return has_value(); }
  /// The bytes; an empty view when absent. Valid as long as any copy of this string lives.
  std::string_view view() const noexcept {
    return _storage == nullptr ? std::string_view() : std::string_view(_storage->bytes(), _storage->size);
  }
  std::string str() const { return std::string(view()); }
  /// True when absent or without bytes.
  bool empty() const noexcept { return size() == 0; }
  std::size_t size() const noexcept { return _storage == nullptr ? 0 : _storage->size; }
  std::optional<std::string> optional() const { return has_value() ? std::optional<std::string>(str()) : std::nullopt; }
  /// `fallback` when absent.
  String valueOr(const String& fallback) const { return has_value() ? *this : fallback; }
  /// Whether both share one storage (two absent strings do).
  bool isIdenticalTo(const String& other) const noexcept { return _storage == other._storage; }
  std::size_t hash() const noexcept { return has_value() ? std::hash<std::string_view>()(view()) : 0; }

  /// Absent equals only absent; otherwise bytes are compared.
  friend bool operator==(const String& a, const String& b) noexcept {
    return a._storage == b._storage || (a.has_value() && b.has_value() && a.view() == b.view());
  }
  /// By bytes, absent first.
  friend std::strong_ordering operator<=>(const String& a, const String& b) noexcept {
    if (a.has_value() != b.has_value()) return a.has_value() <=> b.has_value();
    return a.view() <=> b.view();
  }

 private:
  struct Storage {
    std::atomic<std::uint32_t> references;
    std::uint32_t size;
    char* bytes() noexcept { return reinterpret_cast<char*>(this + 1); }
    const char* bytes() const noexcept { return reinterpret_cast<const char*>(this + 1); }
  };
  static Storage* make(std::string_view text);
  static void destroy(Storage* storage) noexcept;
  static void retain(Storage* storage) noexcept {
    if (storage != nullptr) storage->references.fetch_add(1, std::memory_order_relaxed);
  }
  static void release(Storage* storage) noexcept {
    if (storage != nullptr && storage->references.fetch_sub(1, std::memory_order_acq_rel) == 1) destroy(storage);
  }

  Storage* _storage = nullptr;
};

}  // namespace qrb

template <>
struct std::hash<qrb::String> {
  std::size_t operator()(const qrb::String& string) const noexcept { return string.hash(); }
};
