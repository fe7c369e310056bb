#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "Export.h"

namespace qrb {

class KeyedArchiver;
class KeyedUnarchiver;
class Object;

/// What the archive needs to know of a class: its name on the wire, its base, and how to make one from an archive.
///
/// One static instance per class, made by QRB_DEFINE_OBJECT; it registers itself, so that an archive can name any class
/// that is linked in. Immutable after static initialisation; read from any thread.
class QRB_EXPORT ClassInfo {
 public:
  using Decoder = std::shared_ptr<Object> (*)(KeyedUnarchiver&);

  /// `decoder` is null for a class that must not be archived.
  ClassInfo(const char* name, const ClassInfo* superclass, Decoder decoder) noexcept;
  ClassInfo(const ClassInfo&) = delete;
  ClassInfo& operator=(const ClassInfo&) = delete;

  std::string_view name() const noexcept { return _name; }
  const ClassInfo* superclass() const noexcept { return _superclass; }
  Decoder decoder() const noexcept { return _decoder; }
  bool supportsSecureCoding() const noexcept { return _decoder != nullptr; }
  /// Whether this is `other` or derives from it.
  bool isKindOf(const ClassInfo& other) const noexcept;

  /// The registered class of that archive name, or null.
  static const ClassInfo* named(std::string_view name) noexcept;

 private:
  const char* _name;
  const ClassInfo* _superclass;
  Decoder _decoder;
  const ClassInfo* _next;
};

/// The root of every model class.
class QRB_EXPORT Object {
 public:
  virtual ~Object() = default;

  virtual const ClassInfo& classInfo() const noexcept = 0;
  std::string_view className() const noexcept { return classInfo().name(); }

  /// True only for an object of exactly the same class (a subclass's instance never equals a base's) that the class's
  /// own rule accepts. Null is equal to nothing.
  bool isEqual(const Object* other) const {
    return other != nullptr && &other->classInfo() == &classInfo() && isEqualToSameClass(*other);
  }
  template <class T>
  bool isEqual(const std::shared_ptr<T>& other) const {
    return isEqual(static_cast<const Object*>(other.get()));
  }
  /// Equal objects have equal hashes.
  virtual std::size_t hash() const { return std::hash<const void*>()(this); }
  /// For logs; never holds a secret.
  virtual std::string description() const;
  /// A copy by the class's own rule; null for a class that cannot be copied.
  virtual std::shared_ptr<Object> copy() const { return nullptr; }
  /// Writes the object's keys. The default writes none.
  virtual void encodeWithCoder(KeyedArchiver& coder) const;

  /// The class that every class reached through `isKindOf` derives from.
  static const ClassInfo& staticClass() noexcept { return _classInfo; }

 protected:
  Object() = default;
  Object(const Object&) = default;
  Object& operator=(const Object&) = default;

  /// Called with an object of exactly this class. Identity, unless the class says otherwise.
  virtual bool isEqualToSameClass(const Object& other) const { return this == &other; }

 private:
  static const ClassInfo _classInfo;
};

/// Both absent, or both present and equal.
template <class A, class B>
bool areEqual(const std::shared_ptr<A>& a, const std::shared_ptr<B>& b) {
  return a == nullptr ? b == nullptr : a->isEqual(b);
}

}  // namespace qrb

/// In the class body of every Object subclass.
#define QRB_OBJECT                                              \
 public:                                                        \
  static const ::qrb::ClassInfo& staticClass() noexcept {       \
    return _classInfo;                                          \
  }                                                             \
  const ::qrb::ClassInfo& classInfo() const noexcept override { \
    return _classInfo;                                          \
  }                                                             \
                                                                \
 private:                                                       \
  static const ::qrb::ClassInfo _classInfo

/// In its source file: the class, its base, its archive name, and its decoder (null: it must not be archived).
#define QRB_DEFINE_OBJECT(Class, Base, name, decoder) \
  const ::qrb::ClassInfo Class::_classInfo {          \
    name, &Base::staticClass(), decoder               \
  }
