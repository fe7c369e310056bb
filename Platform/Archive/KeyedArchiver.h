#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "ArchiveWriter.h"
#include "Codec.h"
#include "Object.h"

namespace qrb {

/// Writes one object's keys; handed to `Object::encodeWithCoder`. Lives for that call only.
class QRB_EXPORT KeyedArchiver {
 public:
  explicit KeyedArchiver(ArchiveWriter& writer) noexcept : _writer(writer) {}

  /// Writes a value under a key. Absent values (null pointers, absent strings, URLs, optionals) write nothing, so that
  /// reading finds them absent again.
  template <class T>
  void encode(std::string_view key, const T& value) {
    if (Codec<T>::isAbsent(value)) return;
    _writer.writeKey(key);
    Codec<T>::write(_writer, value);
    ++_count;
  }

  /// A map whose keys recur from object to object (the paths of a history): each key crosses once per archive.
  template <class V>
  void encodeSharingKeys(std::string_view key, const std::shared_ptr<const StringMap<V>>& map) {
    if (map == nullptr) return;
    _writer.writeKey(key);
    Codec<StringMap<V>>::writeSharingKeys(_writer, *map);
    ++_count;
  }

  std::uint32_t count() const noexcept { return _count; }

  /// An object and all it holds, as bytes that `KeyedUnarchiver::unarchivedObject` reads. Throws ArchiveError when an
  /// object among them must not be archived.
  static std::string archivedData(const std::shared_ptr<const Object>& object);

 private:
  ArchiveWriter& _writer;
  std::uint32_t _count = 0;
};

}  // namespace qrb
