#include "ArchiveWriter.h"

#include <msgpack.h>

#include <optional>
#include <vector>

#include "ArchiveError.h"
#include "ArchiveFormat.h"
#include "KeyedArchiver.h"
#include "Object.h"
#include "TextIndex.h"
#include "UTF8.h"

namespace qrb {

namespace {

// Pointer to number, open addressing: two look-ups per history entry, and a node per entry would cost more than they
// do.
class ObjectNumbers {
 public:
  /// The number under `object`, or -1.
  std::int64_t find(const Object* object) const {
    if (_slots.empty()) return -1;
    for (std::size_t slot = place(object);; slot = (slot + 1) & (_slots.size() - 1)) {
      if (_slots[slot].object == object) return _slots[slot].number;
      if (_slots[slot].object == nullptr) return -1;
    }
  }
  void insert(const Object* object, std::uint32_t number) {
    if ((_count + 1) * 2 > _slots.size()) grow();
    put(object, number);
    ++_count;
  }
  void clear() {
    _slots.clear();
    _count = 0;
  }

 private:
  struct Slot {
    const Object* object = nullptr;
    std::uint32_t number = 0;
  };
  std::size_t place(const Object* object) const {
    auto bits = reinterpret_cast<std::uintptr_t>(object);
    return (bits * 0x9e3779b97f4a7c15u >> 20) & (_slots.size() - 1);
  }
  void put(const Object* object, std::uint32_t number) {
    std::size_t slot = place(object);
    while (_slots[slot].object != nullptr) slot = (slot + 1) & (_slots.size() - 1);
    _slots[slot] = {object, number};
  }
  void grow() {
    std::vector<Slot> old = std::move(_slots);
    _slots.assign(old.empty() ? 16 : old.size() * 2, {});
    for (const Slot& slot : old) {
      if (slot.object != nullptr) put(slot.object, slot.number);
    }
  }
  std::vector<Slot> _slots;
  std::size_t _count = 0;
};

}  // namespace

struct ArchiveWriterTables::Tables {
  std::vector<std::string> keys;
  TextIndex keyNumbers;
  std::vector<std::shared_ptr<const Object>> objects;
  ObjectNumbers objectNumbers;

  std::optional<std::uint32_t> numberOfKey(std::string_view key) const {
    return keyNumbers.find(key, [this](std::uint32_t number) -> const std::string& { return keys[number]; });
  }
};

ArchiveWriterTables::ArchiveWriterTables() : _tables(std::make_unique<Tables>()) {}
ArchiveWriterTables::~ArchiveWriterTables() = default;

ArchiveWriterTables::Mark ArchiveWriterTables::mark() const noexcept {
  return {_tables->keys.size(), _tables->objects.size()};
}

void ArchiveWriterTables::rollBack(Mark mark) {
  _tables->keys.resize(mark.keys);
  _tables->keyNumbers.clear();
  for (const std::string& key : _tables->keys) _tables->keyNumbers.insert(key);
  _tables->objects.resize(mark.objects);
  _tables->objectNumbers.clear();
  for (std::size_t number = 0; number < _tables->objects.size(); ++number) {
    _tables->objectNumbers.insert(_tables->objects[number].get(), static_cast<std::uint32_t>(number));
  }
}

ArchiveWriter::ArchiveWriter(std::string& output, ArchiveWriterTables& tables) noexcept
    : _output(output), _tables(*tables._tables) {}

int ArchiveWriter::append(void* output, const char* bytes, std::size_t count) {
  static_cast<std::string*>(output)->append(bytes, count);
  return 0;
}

// The packer holds nothing but the sink, so making one per value costs nothing.
#define QRB_PACKER                   \
  msgpack_packer packer {            \
    &_output, &ArchiveWriter::append \
  }

void ArchiveWriter::writeNil() {
  QRB_PACKER;
  msgpack_pack_nil(&packer);
}

void ArchiveWriter::writeBool(bool value) {
  QRB_PACKER;
  value ? msgpack_pack_true(&packer) : msgpack_pack_false(&packer);
}

void ArchiveWriter::writeInt(std::int64_t value) {
  QRB_PACKER;
  msgpack_pack_int64(&packer, value);
}

void ArchiveWriter::writeUnsigned(std::uint64_t value) {
  QRB_PACKER;
  msgpack_pack_uint64(&packer, value);
}

void ArchiveWriter::writeDouble(double value) {
  QRB_PACKER;
  msgpack_pack_double(&packer, value);
}

void ArchiveWriter::writeString(std::string_view value) {
  if (!isValidUTF8(value)) return writeBytes(value);
  QRB_PACKER;
  msgpack_pack_str_with_body(&packer, value.data(), value.size());
}

void ArchiveWriter::writeBytes(std::string_view value) {
  QRB_PACKER;
  msgpack_pack_bin_with_body(&packer, value.data(), value.size());
}

void ArchiveWriter::writeArrayHeader(std::size_t count) {
  QRB_PACKER;
  msgpack_pack_array(&packer, count);
}

void ArchiveWriter::writeMapHeader(std::size_t count) {
  QRB_PACKER;
  msgpack_pack_map(&packer, count);
}

void ArchiveWriter::writeKey(std::string_view key) {
  if (auto known = _tables.numberOfKey(key)) return writeUnsigned(*known);
  if (_tables.keys.size() >= kMostArchiveKeys || !isValidUTF8(key)) return writeLiteralKey(key);
  QRB_PACKER;
  msgpack_pack_str_with_body(&packer, key.data(), key.size());
  _tables.keys.emplace_back(key);
  _tables.keyNumbers.insert(key);
}

void ArchiveWriter::writeLiteralKey(std::string_view key) {
  writeBytes(key);
}

void ArchiveWriter::writeObject(const std::shared_ptr<const Object>& object) {
  if (object == nullptr) return writeNil();
  if (std::int64_t number = _tables.objectNumbers.find(object.get()); number >= 0) {
    QRB_PACKER;
    unsigned char bytes[4];
    std::size_t size = encodeReferenceNumber(static_cast<std::uint32_t>(number), bytes);
    msgpack_pack_ext_with_body(&packer, bytes, size, kArchiveReferenceType);
    return;
  }
  if (!object->classInfo().supportsSecureCoding()) {
    throw ArchiveError("an object of class " + std::string(object->className()) + " must not be archived");
  }
  _tables.objectNumbers.insert(object.get(), static_cast<std::uint32_t>(_tables.objects.size()));
  _tables.objects.push_back(object);

  // How many keys the object writes is known only afterwards; nearly always they fit the one-byte header.
  std::size_t header = _output.size();
  _output.push_back('\x80');
  writeNil();
  writeKey(object->className());
  KeyedArchiver coder(*this);
  object->encodeWithCoder(coder);
  std::uint32_t count = coder.count() + 1;
  if (count <= 15) {
    _output[header] = static_cast<char>(0x80 | count);
  } else {
    if (count > 0xffff) throw ArchiveError("an object with too many keys");
    char wide[3] = {'\xde', static_cast<char>(count >> 8), static_cast<char>(count)};
    _output.replace(header, 1, wide, 3);
  }
}

#undef QRB_PACKER

}  // namespace qrb
