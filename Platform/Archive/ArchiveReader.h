#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "ArchiveError.h"
#include "Export.h"
#include "SharedString.h"

struct msgpack_object;

namespace qrb {

class ClassInfo;
class Object;
class ArchiveReaderTables;

/// One value of a message that is being read. Cheap to copy; valid while its message lives. Every accessor throws
/// ArchiveError when the value is of another type.
class QRB_EXPORT ArchiveNode {
 public:
  ArchiveNode() noexcept = default;
  ArchiveNode(const msgpack_object* value, ArchiveReaderTables* tables) noexcept : _value(value), _tables(tables) {}

  enum class Kind { nil, boolean, integer, real, string, bytes, array, map, object };
  Kind kind() const;
  bool isNil() const noexcept;
  bool boolean() const;
  std::int64_t integer() const;
  /// Whether it is an integer below zero.
  bool isNegative() const noexcept;
  std::uint64_t unsignedInteger() const;
  /// Any number.
  double real() const;
  /// Text or raw bytes.
  String string() const;
  std::string_view stringView() const;

  /// Elements of an array, or entries of a map.
  std::size_t count() const;
  ArchiveNode element(std::size_t index) const;
  /// The key and value of a map's entry. Keys that the archive shares share one string.
  std::pair<String, ArchiveNode> entry(std::size_t index) const;
  /// The value under a key of a map or an object; nil when there is none.
  ArchiveNode valueForKey(std::string_view key) const;

  /// The object, made on first use and shared after that; null for nil. Throws when its class is not `admitted` or a
  /// class derived from it, before anything of it is made.
  std::shared_ptr<Object> object(const ClassInfo& admitted) const;
  /// Throws ArchiveError with `what`, such as "a string", and what there is instead.
  [[noreturn]] void expected(const char* what) const;

 private:
  const msgpack_object* _value = nullptr;
  ArchiveReaderTables* _tables = nullptr;
};

/// One whole message, parsed. Its nodes refer to it.
class QRB_EXPORT ArchiveMessage {
 public:
  /// Takes over the bytes of exactly one value that `MessageScanner` has found complete. Numbers its keys and objects
  /// in the tables. Throws ArchiveError when it is not well-formed.
  static std::shared_ptr<ArchiveMessage> parse(std::string bytes, ArchiveReaderTables& tables);
  ~ArchiveMessage();
  ArchiveMessage(const ArchiveMessage&) = delete;
  ArchiveMessage& operator=(const ArchiveMessage&) = delete;

  ArchiveNode root() const noexcept;
  /// How many objects it holds in full; none of them is made yet after `parse`.
  std::size_t objectCount() const noexcept;
  /// Where in the message's bytes a value begins that an ArchiveError speaks of; absent where it is not of this
  /// message.
  std::optional<std::size_t> offsetOf(const void* value) const;

 private:
  friend class ArchiveReaderTables;
  friend class ArchiveIndexer;
  ArchiveMessage();
  struct Parsed;
  std::unique_ptr<Parsed> _parsed;
};

/// The reading side's twin of ArchiveWriterTables: what each number of this archive stands for. Not thread-safe.
class QRB_EXPORT ArchiveReaderTables {
 public:
  ArchiveReaderTables();
  ~ArchiveReaderTables();
  ArchiveReaderTables(const ArchiveReaderTables&) = delete;
  ArchiveReaderTables& operator=(const ArchiveReaderTables&) = delete;

  /// Call when a message has been read. Objects that nothing asked for (under a key that this side does not know) may
  /// still be named by a later message, so a message that holds such is kept.
  void retire(const std::shared_ptr<ArchiveMessage>& message);

 private:
  friend class ArchiveNode;
  friend class ArchiveMessage;
  friend class ArchiveIndexer;
  struct Tables;
  std::unique_ptr<Tables> _tables;
};

}  // namespace qrb
