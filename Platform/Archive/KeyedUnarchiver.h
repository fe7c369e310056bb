#pragma once

#include <memory>
#include <string_view>

#include "ArchiveReader.h"
#include "Codec.h"
#include "Object.h"

namespace qrb {

/// Reads one object's keys; handed to a class's decoder. Lives for that call only.
class QRB_EXPORT KeyedUnarchiver {
 public:
  explicit KeyedUnarchiver(ArchiveNode object) noexcept : _object(object) {}

  /// The value under a key, or the type's absent value (null, absent, false, 0, empty) when the key is missing. Throws
  /// ArchiveError when the value is of another type or an object of a class that `T` does not admit.
  template <class T>
  T decode(std::string_view key) const {
    ArchiveNode node = _object.valueForKey(key);
    if (node.isNil()) return T();
    return readAt([&] { return "key \"" + std::string(key) + "\""; }, [&] { return Codec<T>::read(node); });
  }
  bool contains(std::string_view key) const { return !_object.valueForKey(key).isNil(); }

  /// The object that `archivedData` wrote. Throws ArchiveError when the bytes are malformed or hold another class.
  template <class T>
  static std::shared_ptr<T> unarchivedObject(std::string_view data) {
    return std::static_pointer_cast<T>(unarchivedObjectOfClass(T::staticClass(), data));
  }
  static std::shared_ptr<Object> unarchivedObjectOfClass(const ClassInfo& admitted, std::string_view data);

 private:
  ArchiveNode _object;
};

}  // namespace qrb
