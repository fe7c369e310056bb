#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "Export.h"
#include "SharedString.h"

namespace qrb {

class Object;

/// What a writer has already sent: the keys and objects that later messages of the same archive name by number.
///
/// One per archive, or one per direction of a connection that lives for one request. It holds every object it has
/// numbered, so that no number can come to mean another object. Not thread-safe.
class QRB_EXPORT ArchiveWriterTables {
 public:
  ArchiveWriterTables();
  ~ArchiveWriterTables();
  ArchiveWriterTables(const ArchiveWriterTables&) = delete;
  ArchiveWriterTables& operator=(const ArchiveWriterTables&) = delete;

  struct Mark {
    std::size_t keys;
    std::size_t objects;
  };
  Mark mark() const noexcept;
  /// Forgets all since the mark: for a message that could not be written whole and is not sent.
  void rollBack(Mark mark);

 private:
  friend class ArchiveWriter;
  struct Tables;
  std::unique_ptr<Tables> _tables;
};

/// Appends values in the archive form to a buffer. The form is described in Documentation/protocol.md.
class QRB_EXPORT ArchiveWriter {
 public:
  ArchiveWriter(std::string& output, ArchiveWriterTables& tables) noexcept;

  void writeNil();
  void writeBool(bool value);
  void writeInt(std::int64_t value);
  void writeUnsigned(std::uint64_t value);
  void writeDouble(double value);
  /// As text where the bytes are UTF-8, else as raw bytes (a file's name may be any bytes).
  void writeString(std::string_view value);
  void writeBytes(std::string_view value);
  void writeArrayHeader(std::size_t count);
  void writeMapHeader(std::size_t count);
  /// A map key that crosses once per archive: in full the first time, by number after that.
  void writeKey(std::string_view key);
  /// A map key written in full and not remembered: for maps whose keys do not recur.
  void writeLiteralKey(std::string_view key);
  /// The object in full, or a reference to it when this archive has it already; nil for null. Throws ArchiveError for
  /// an object whose class must not be archived.
  void writeObject(const std::shared_ptr<const Object>& object);

 private:
  static int append(void* output, const char* bytes, std::size_t count);

  std::string& _output;
  ArchiveWriterTables::Tables& _tables;
};

}  // namespace qrb
