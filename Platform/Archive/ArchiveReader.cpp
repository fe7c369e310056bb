#include "ArchiveReader.h"

#include <msgpack.h>

#include <limits>
#include <vector>

#include "ArchiveFormat.h"
#include "KeyedUnarchiver.h"
#include "MessageScanner.h"
#include "Object.h"
#include "PageAllocator.h"
#include "TextIndex.h"

namespace qrb {

struct ArchiveMessage::Parsed {
  std::string bytes;
  msgpack_zone zone{};
  bool hasZone = false;
  msgpack_object root{};
  ArchiveReaderTables* tables = nullptr;
  // The numbers [firstObject, firstObject + objectCount) belong to this message's objects.
  std::size_t firstObject = 0;
  std::size_t objectCount = 0;
  std::size_t made = 0;

  ~Parsed() {
    if (hasZone) msgpack_zone_destroy(&zone);
  }
};

struct ArchiveReaderTables::Tables {
  // One per object of the archive, so it is kept small. Waiting: `source` is set; made: `object` is; neither: in the
  // making.
  struct Slot {
    std::shared_ptr<Object> object;
    const msgpack_object* source = nullptr;
    ArchiveMessage::Parsed* message = nullptr;
  };
  struct Key {
    String text;
    const ClassInfo* classInfo = nullptr;
    bool classSought = false;
  };
  std::vector<Key> keys;
  TextIndex keyNumbers;
  std::vector<Slot, PageAllocator<Slot>> objects;
  std::vector<std::shared_ptr<ArchiveMessage>> kept;
  std::size_t keptBytes = 0;
  std::size_t keyBytes = 0;

  std::uint32_t numberOfKey(std::string_view text) {
    auto known = keyNumbers.find(text, [this](std::uint32_t number) { return keys[number].text.view(); });
    if (known) return *known;
    keyBytes += text.size();
    if (keys.size() >= kMostArchiveKeys || keyBytes > kMostArchiveKeyBytes) throw ArchiveError("too many shared keys");
    keys.push_back({String(text)});
    return keyNumbers.insert(text);
  }
  const ClassInfo* classOfKey(std::size_t number) {
    Key& key = keys[number];
    if (!key.classSought) {
      key.classInfo = ClassInfo::named(key.text.view());
      key.classSought = true;
    }
    return key.classInfo;
  }
};

namespace {

std::string_view bytesOf(const msgpack_object& value) {
  if (value.type == MSGPACK_OBJECT_STR) return {value.via.str.ptr, value.via.str.size};
  return {value.via.bin.ptr, value.via.bin.size};
}

bool isObjectMap(const msgpack_object& value) {
  return value.type == MSGPACK_OBJECT_MAP && value.via.map.size > 0 &&
         value.via.map.ptr[0].key.type == MSGPACK_OBJECT_NIL;
}

std::size_t referenceNumber(const msgpack_object& value) {
  const msgpack_object_ext& ext = value.via.ext;
  if (ext.type != kArchiveReferenceType || (ext.size != 1 && ext.size != 2 && ext.size != 4)) {
    throw ArchiveError("an extension value that is no object reference");
  }
  std::size_t number = 0;
  for (std::uint32_t index = 0; index < ext.size; ++index) {
    number = number << 8 | static_cast<unsigned char>(ext.ptr[index]);
  }
  return number;
}

[[noreturn]] void refuseClass(std::string_view found, const ClassInfo& admitted, const void* value) {
  throw ArchiveError("an object of class " + std::string(admitted.name()) + " was expected, and one of class " +
                         std::string(found) + " found",
                     value);
}

/// Counts values in the order in which they stand in the bytes until `wanted` is met.
bool countUntil(const msgpack_object& value, const void* wanted, std::size_t& count) {
  if (&value == wanted) return true;
  ++count;
  if (value.type == MSGPACK_OBJECT_ARRAY) {
    for (std::uint32_t i = 0; i < value.via.array.size; ++i) {
      if (countUntil(value.via.array.ptr[i], wanted, count)) return true;
    }
  } else if (value.type == MSGPACK_OBJECT_MAP) {
    for (std::uint32_t i = 0; i < value.via.map.size; ++i) {
      if (countUntil(value.via.map.ptr[i].key, wanted, count) || countUntil(value.via.map.ptr[i].val, wanted, count)) {
        return true;
      }
    }
  }
  return false;
}

}  // namespace

// Goes over a new message once, in the order in which it was written, since that order gives the numbers.
class ArchiveIndexer {
 public:
  using Tables = ArchiveReaderTables::Tables;

  ArchiveIndexer(Tables& tables, ArchiveMessage::Parsed& message) : _tables(tables), _message(message) {}

  void index(msgpack_object& value) {
    switch (value.type) {
      case MSGPACK_OBJECT_ARRAY:
        for (std::uint32_t i = 0; i < value.via.array.size; ++i) index(value.via.array.ptr[i]);
        break;
      case MSGPACK_OBJECT_MAP:
        indexMap(value);
        break;
      case MSGPACK_OBJECT_EXT:
        if (referenceNumber(value) >= _tables.objects.size()) throw ArchiveError("a reference to no object");
        break;
      default:
        break;
    }
  }

 private:
  void indexMap(msgpack_object& value) {
    std::uint32_t first = 0;
    if (isObjectMap(value)) {
      msgpack_object_kv& head = value.via.map.ptr[0];
      // The slot's number is kept in the nil key itself, which has no other use for it.
      head.key.via.u64 = _tables.objects.size();
      if (_tables.objects.size() >= kMostArchiveObjects) throw ArchiveError("too many objects");
      _tables.objects.push_back({nullptr, &value, &_message});
      numberKey(head.val);
      first = 1;
    }
    for (std::uint32_t i = first; i < value.via.map.size; ++i) {
      msgpack_object_kv& entry = value.via.map.ptr[i];
      if (entry.key.type != MSGPACK_OBJECT_BIN) numberKey(entry.key);
      index(entry.val);
    }
  }

  // Turns a text in key position into its number, in place, so that later look-ups hash nothing.
  void numberKey(msgpack_object& key) {
    if (key.type == MSGPACK_OBJECT_STR) {
      std::uint32_t number = _tables.numberOfKey(bytesOf(key));
      key.type = MSGPACK_OBJECT_POSITIVE_INTEGER;
      key.via.u64 = number;
    } else if (key.type != MSGPACK_OBJECT_POSITIVE_INTEGER || key.via.u64 >= _tables.keys.size()) {
      throw ArchiveError("a dictionary key that is no text and no known number");
    }
  }

  Tables& _tables;
  ArchiveMessage::Parsed& _message;
};

ArchiveMessage::ArchiveMessage() : _parsed(std::make_unique<Parsed>()) {}
ArchiveMessage::~ArchiveMessage() = default;

std::shared_ptr<ArchiveMessage> ArchiveMessage::parse(std::string bytes, ArchiveReaderTables& tables) {
  std::shared_ptr<ArchiveMessage> message(new ArchiveMessage);
  Parsed& parsed = *message->_parsed;
  parsed.bytes = std::move(bytes);
  parsed.tables = &tables;
  parsed.hasZone = msgpack_zone_init(&parsed.zone, MSGPACK_ZONE_CHUNK_SIZE);
  if (!parsed.hasZone) throw std::bad_alloc();
  std::size_t offset = 0;
  msgpack_unpack_return outcome =
      msgpack_unpack(parsed.bytes.data(), parsed.bytes.size(), &offset, &parsed.zone, &parsed.root);
  if (outcome == MSGPACK_UNPACK_NOMEM_ERROR) throw std::bad_alloc();
  if (outcome != MSGPACK_UNPACK_SUCCESS && outcome != MSGPACK_UNPACK_EXTRA_BYTES) {
    throw ArchiveError("bytes that are no MessagePack value");
  }
  if (offset != parsed.bytes.size()) throw ArchiveError("bytes after the message's end");
  parsed.firstObject = tables._tables->objects.size();
  ArchiveIndexer(*tables._tables, parsed).index(parsed.root);
  parsed.objectCount = tables._tables->objects.size() - parsed.firstObject;
  return message;
}

ArchiveNode ArchiveMessage::root() const noexcept {
  return ArchiveNode(&_parsed->root, _parsed->tables);
}

std::size_t ArchiveMessage::objectCount() const noexcept {
  return _parsed->objectCount;
}

std::optional<std::size_t> ArchiveMessage::offsetOf(const void* value) const {
  std::size_t before = 0;
  if (value == nullptr || !countUntil(_parsed->root, value, before)) return std::nullopt;
  return offsetOfValue(_parsed->bytes, before);
}

ArchiveReaderTables::ArchiveReaderTables() : _tables(std::make_unique<Tables>()) {}
ArchiveReaderTables::~ArchiveReaderTables() = default;

void ArchiveReaderTables::retire(const std::shared_ptr<ArchiveMessage>& message) {
  if (message->_parsed->made == message->_parsed->objectCount) return;
  _tables->keptBytes += message->_parsed->bytes.size();
  if (_tables->keptBytes > kMostKeptMessageBytes) throw ArchiveError("too much that nothing asked for");
  _tables->kept.push_back(message);
}

ArchiveNode::Kind ArchiveNode::kind() const {
  if (_value == nullptr) return Kind::nil;
  switch (_value->type) {
    case MSGPACK_OBJECT_NIL:
      return Kind::nil;
    case MSGPACK_OBJECT_BOOLEAN:
      return Kind::boolean;
    case MSGPACK_OBJECT_POSITIVE_INTEGER:
    case MSGPACK_OBJECT_NEGATIVE_INTEGER:
      return Kind::integer;
    case MSGPACK_OBJECT_FLOAT32:
    case MSGPACK_OBJECT_FLOAT64:
      return Kind::real;
    case MSGPACK_OBJECT_STR:
      return Kind::string;
    case MSGPACK_OBJECT_BIN:
      return Kind::bytes;
    case MSGPACK_OBJECT_ARRAY:
      return Kind::array;
    case MSGPACK_OBJECT_MAP:
      return isObjectMap(*_value) ? Kind::object : Kind::map;
    case MSGPACK_OBJECT_EXT:
      return Kind::object;
  }
  throw ArchiveError("a value of no known kind");
}

void ArchiveNode::expected(const char* what) const {
  const char* found = "nothing";
  switch (kind()) {
    case Kind::nil:
      break;
    case Kind::boolean:
      found = "a boolean";
      break;
    case Kind::integer:
      found = isNegative() ? "a negative integer" : "an integer";
      break;
    case Kind::real:
      found = "a number with a fraction";
      break;
    case Kind::string:
      found = "a string";
      break;
    case Kind::bytes:
      found = "bytes";
      break;
    case Kind::array:
      found = "an array";
      break;
    case Kind::map:
      found = "a dictionary";
      break;
    case Kind::object:
      found = "an object";
      break;
  }
  throw ArchiveError(std::string(what) + " was expected, and " + found + " found", _value);
}

bool ArchiveNode::isNil() const noexcept {
  return _value == nullptr || _value->type == MSGPACK_OBJECT_NIL;
}

bool ArchiveNode::boolean() const {
  if (kind() != Kind::boolean) expected("a boolean");
  return _value->via.boolean;
}

std::int64_t ArchiveNode::integer() const {
  if (kind() != Kind::integer) expected("an integer");
  if (_value->type == MSGPACK_OBJECT_POSITIVE_INTEGER &&
      _value->via.u64 > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
    throw ArchiveError("an integer out of range");
  }
  return _value->via.i64;
}

bool ArchiveNode::isNegative() const noexcept {
  return _value != nullptr && _value->type == MSGPACK_OBJECT_NEGATIVE_INTEGER;
}

std::uint64_t ArchiveNode::unsignedInteger() const {
  if (_value == nullptr || _value->type != MSGPACK_OBJECT_POSITIVE_INTEGER) {
    expected("an unsigned integer");
  }
  return _value->via.u64;
}

double ArchiveNode::real() const {
  if (_value != nullptr && _value->type == MSGPACK_OBJECT_POSITIVE_INTEGER) {
    return static_cast<double>(_value->via.u64);
  }
  if (_value != nullptr && _value->type == MSGPACK_OBJECT_NEGATIVE_INTEGER) {
    return static_cast<double>(_value->via.i64);
  }
  if (kind() != Kind::real) expected("a number");
  return _value->via.f64;
}

std::string_view ArchiveNode::stringView() const {
  Kind is = kind();
  if (is != Kind::string && is != Kind::bytes) expected("a string");
  return bytesOf(*_value);
}

String ArchiveNode::string() const {
  return String(stringView());
}

std::size_t ArchiveNode::count() const {
  if (_value != nullptr && _value->type == MSGPACK_OBJECT_ARRAY) return _value->via.array.size;
  if (_value != nullptr && _value->type == MSGPACK_OBJECT_MAP) return _value->via.map.size;
  expected("a collection");
}

ArchiveNode ArchiveNode::element(std::size_t index) const {
  if (kind() != Kind::array) expected("an array");
  if (index >= _value->via.array.size) {
    throw ArchiveError("at least " + std::to_string(index + 1) + " values were expected in an array, and " +
                           std::to_string(_value->via.array.size) + " found",
                       _value);
  }
  return ArchiveNode(&_value->via.array.ptr[index], _tables);
}

std::pair<String, ArchiveNode> ArchiveNode::entry(std::size_t index) const {
  if (kind() != Kind::map || index >= _value->via.map.size) expected("a dictionary");
  const msgpack_object_kv& pair = _value->via.map.ptr[index];
  ArchiveNode value(&pair.val, _tables);
  if (pair.key.type == MSGPACK_OBJECT_BIN) return {String(bytesOf(pair.key)), value};
  return {_tables->_tables->keys[pair.key.via.u64].text, value};
}

ArchiveNode ArchiveNode::valueForKey(std::string_view key) const {
  if (_value == nullptr || _value->type != MSGPACK_OBJECT_MAP) expected("a dictionary");
  for (std::uint32_t i = isObjectMap(*_value) ? 1 : 0; i < _value->via.map.size; ++i) {
    const msgpack_object_kv& pair = _value->via.map.ptr[i];
    std::string_view name =
        pair.key.type == MSGPACK_OBJECT_BIN ? bytesOf(pair.key) : _tables->_tables->keys[pair.key.via.u64].text.view();
    if (name == key) return ArchiveNode(&pair.val, _tables);
  }
  return {};
}

std::shared_ptr<Object> ArchiveNode::object(const ClassInfo& admitted) const {
  if (isNil()) return nullptr;
  if (kind() != Kind::object) expected("an object");
  ArchiveReaderTables::Tables& tables = *_tables->_tables;
  std::size_t number =
      _value->type == MSGPACK_OBJECT_EXT ? referenceNumber(*_value) : _value->via.map.ptr[0].key.via.u64;
  if (const auto& known = tables.objects[number].object; known != nullptr) {
    if (!known->classInfo().isKindOf(admitted)) refuseClass(known->classInfo().name(), admitted, _value);
    return known;
  }
  const msgpack_object* source = tables.objects[number].source;
  if (source == nullptr) throw ArchiveError("an object that holds itself");
  const ClassInfo* info = tables.classOfKey(source->via.map.ptr[0].val.via.u64);
  if (info == nullptr || !info->isKindOf(admitted) || !info->supportsSecureCoding()) {
    refuseClass(tables.keys[source->via.map.ptr[0].val.via.u64].text.view(), admitted, source);
  }
  tables.objects[number].source = nullptr;
  std::shared_ptr<Object> made;
  try {
    KeyedUnarchiver coder{ArchiveNode(source, _tables)};
    made = readAt([&] { return "an object of " + std::string(info->name()); }, [&] { return info->decoder()(coder); });
  } catch (...) {
    tables.objects[number].source = source;
    throw;
  }
  if (made == nullptr) throw ArchiveError("an object that could not be made");
  // The decoder may have made further objects; the vector may have moved.
  auto& slot = tables.objects[number];
  slot.object = made;
  ++slot.message->made;
  return made;
}

}  // namespace qrb
