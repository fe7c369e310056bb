#include "Dictionary.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <ostream>

#include "Assertion.h"

namespace qrb {

// The kind is said last in each, when there is something to let go.

void Dictionary::hold(std::string text) {
  _payload.string = new std::string(std::move(text));
  _kind = Kind::string;
}

Dictionary Dictionary::array(Array elements) {
  Dictionary value;
  value._payload.array = new Array(std::move(elements));
  value._kind = Kind::array;
  return value;
}

Dictionary Dictionary::object(Object entries) {
  Dictionary value;
  value._payload.object = new Object(std::move(entries));
  value._kind = Kind::object;
  return value;
}

Dictionary::Dictionary(std::initializer_list<Entry> entries) : Dictionary(object()) {
  for (const Entry& entry : entries) (*_payload.object)[std::string(entry.key)] = std::move(entry.value);
}

Dictionary::Dictionary(const Dictionary& other) : _isNegative(other._isNegative), _payload(other._payload) {
  switch (other._kind) {
    case Kind::string:
      _payload.string = new std::string(*other._payload.string);
      break;
    case Kind::array:
      _payload.array = new Array(*other._payload.array);
      break;
    case Kind::object:
      _payload.object = new Object(*other._payload.object);
      break;
    default:
      break;
  }
  _kind = other._kind;
}

Dictionary::Dictionary(Dictionary&& other) noexcept
    : _kind(std::exchange(other._kind, Kind::null)),
      _isNegative(std::exchange(other._isNegative, false)),
      _payload(other._payload) {}

Dictionary& Dictionary::operator=(const Dictionary& other) {
  return *this = Dictionary(other);
}

Dictionary& Dictionary::operator=(Dictionary&& other) noexcept {
  // What is held may hold the other, so it ends last.
  Dictionary taken(std::move(other));
  std::swap(_kind, taken._kind);
  std::swap(_isNegative, taken._isNegative);
  std::swap(_payload, taken._payload);
  return *this;
}

void Dictionary::clear() noexcept {
  switch (_kind) {
    case Kind::string:
      delete _payload.string;
      break;
    case Kind::array:
      delete _payload.array;
      break;
    case Kind::object:
      delete _payload.object;
      break;
    default:
      break;
  }
}

bool Dictionary::boolean() const noexcept {
  if (isReal()) return _payload.real != 0;
  return (isBoolean() || isInteger()) && _payload.integer != 0;
}

namespace {

template <class Integer>
Integer limited(double number) {
  // The largest integer is no double, but the one after it is.
  constexpr double kEnd = static_cast<double>(std::numeric_limits<Integer>::max());
  if (std::isnan(number)) return 0;
  if (number >= kEnd) return std::numeric_limits<Integer>::max();
  if (number <= static_cast<double>(std::numeric_limits<Integer>::min())) return std::numeric_limits<Integer>::min();
  return static_cast<Integer>(number);
}

}  // namespace

std::int64_t Dictionary::integer() const noexcept {
  if (isReal()) return limited<std::int64_t>(_payload.real);
  return isInteger() ? static_cast<std::int64_t>(_payload.integer) : 0;
}

std::uint64_t Dictionary::unsignedInteger() const noexcept {
  if (isReal()) return limited<std::uint64_t>(_payload.real);
  return isInteger() ? _payload.integer : 0;
}

double Dictionary::real() const noexcept {
  if (isReal()) return _payload.real;
  if (!isInteger()) return 0;
  return _isNegative ? static_cast<double>(integer()) : static_cast<double>(_payload.integer);
}

const std::string& Dictionary::string() const& noexcept {
  static const auto& none = *new std::string;
  return isString() ? *_payload.string : none;
}

const Dictionary::Array& Dictionary::elements() const& noexcept {
  static const auto& none = *new Array;
  return isArray() ? *_payload.array : none;
}

const Dictionary::Object& Dictionary::entries() const& noexcept {
  static const auto& none = *new Object;
  return isObject() ? *_payload.object : none;
}

std::string Dictionary::string() && {
  return isString() ? std::move(*_payload.string) : std::string();
}

Dictionary::Array Dictionary::elements() && {
  return isArray() ? std::move(*_payload.array) : Array();
}

Dictionary::Object Dictionary::entries() && {
  return isObject() ? std::move(*_payload.object) : Object();
}

std::size_t Dictionary::size() const noexcept {
  return isArray() ? _payload.array->size() : entries().size();
}

const Dictionary* Dictionary::find(std::string_view key) const noexcept {
  if (!isObject()) return nullptr;
  auto entry = _payload.object->find(key);
  return entry == _payload.object->end() ? nullptr : &entry->second;
}

const Dictionary& Dictionary::operator[](std::string_view key) const noexcept {
  static const auto& none = *new Dictionary;
  const Dictionary* value = find(key);
  return value == nullptr ? none : *value;
}

void Dictionary::become(Kind kind) {
  if (_kind == kind) return;
  if (!isNull()) {
    assertionFailure(
        "Platform/Dictionary", __LINE__,
        kind == Kind::array ? "An element was put into what is no array" : "A key was set in what is no dictionary");
  }
  *this = kind == Kind::array ? array() : object();
}

Dictionary& Dictionary::operator[](std::string_view key) {
  become(Kind::object);
  auto entry = _payload.object->lower_bound(key);
  if (entry == _payload.object->end() || entry->first != key) {
    entry = _payload.object->emplace_hint(entry, std::string(key), Dictionary());
  }
  return entry->second;
}

Dictionary& Dictionary::append(Dictionary element) {
  become(Kind::array);
  return _payload.array->emplace_back(std::move(element));
}

bool Dictionary::remove(std::string_view key) {
  if (!isObject()) return false;
  auto entry = _payload.object->find(key);
  if (entry == _payload.object->end()) return false;
  _payload.object->erase(entry);
  return true;
}

bool Dictionary::operator==(const Dictionary& other) const noexcept {
  if (_kind != other._kind) return isNumber() && other.isNumber() && real() == other.real();
  switch (_kind) {
    case Kind::null:
      return true;
    case Kind::boolean:
    case Kind::integer:
      return _payload.integer == other._payload.integer && _isNegative == other._isNegative;
    case Kind::real:
      return _payload.real == other._payload.real;
    case Kind::string:
      return *_payload.string == *other._payload.string;
    case Kind::array:
      return *_payload.array == *other._payload.array;
    case Kind::object:
      return *_payload.object == *other._payload.object;
  }
  return false;
}

namespace {

// One text that grows as a value is written.
class JSONWriter {
 public:
  explicit JSONWriter(std::size_t indentation) : _indentation(indentation) {}

  void write(const Dictionary& value) {
    switch (value.kind()) {
      case Dictionary::Kind::null:
        _text += "null";
        return;
      case Dictionary::Kind::boolean:
        _text += value.boolean() ? "true" : "false";
        return;
      case Dictionary::Kind::integer:
        return value.isNegative() ? writeDigits(value.integer()) : writeDigits(value.unsignedInteger());
      case Dictionary::Kind::real:
        return writeReal(value.real());
      case Dictionary::Kind::string:
        return writeString(value.string());
      case Dictionary::Kind::array:
        return writeAll(value.elements(), "[]", [this](const Dictionary& element) { write(element); });
      case Dictionary::Kind::object:
        return writeAll(value.entries(), "{}", [this](const auto& entry) {
          writeString(entry.first);
          _text += _indentation == 0 ? ":" : ": ";
          write(entry.second);
        });
    }
  }
  std::string take() { return std::move(_text); }

 private:
  template <class Number>
  void writeDigits(Number number) {
    char digits[32];
    auto [end, failure] = std::to_chars(digits, digits + sizeof digits, number);
    _text.append(digits, end);
  }
  // Such that it is read as a real number again.
  void writeReal(double number) {
    if (!std::isfinite(number)) {
      _text += "null";
      return;
    }
    std::size_t begin = _text.size();
    writeDigits(number);
    if (_text.find_first_of(".e", begin) == std::string::npos) _text += ".0";
  }
  // Nearly all texts need no escapes, and are taken as a whole.
  void writeString(std::string_view string) {
    _text += '"';
    std::size_t begin = 0;
    for (std::size_t place = 0; place < string.size(); ++place) {
      char character = string[place];
      if (character != '"' && character != '\\' && static_cast<unsigned char>(character) >= 0x20) continue;
      _text += string.substr(begin, place - begin);
      writeEscape(character);
      begin = place + 1;
    }
    _text += string.substr(begin);
    _text += '"';
  }
  void writeEscape(char character) {
    constexpr std::string_view kNamed = "\"\\\b\f\n\r\t";
    constexpr std::string_view kNames = "\"\\bfnrt";
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::size_t place = kNamed.find(character);
    if (place != std::string_view::npos) {
      _text += {'\\', kNames[place]};
    } else {
      _text += {'\\', 'u', '0', '0', kDigits[static_cast<std::size_t>(character) >> 4], kDigits[character & 0xf]};
    }
  }
  template <class Container, class Write>
  void writeAll(const Container& container, std::string_view brackets, Write writeOne) {
    _text += brackets[0];
    ++_level;
    bool isFirst = true;
    for (const auto& element : container) {
      if (!isFirst) _text += ',';
      isFirst = false;
      writeLineFeed();
      writeOne(element);
    }
    --_level;
    if (!container.empty()) writeLineFeed();
    _text += brackets[1];
  }
  void writeLineFeed() {
    if (_indentation == 0) return;
    _text += '\n';
    _text.append(_level * _indentation, ' ');
  }

  std::size_t _indentation;
  std::size_t _level = 0;
  std::string _text;
};

}  // namespace

std::string Dictionary::jsonText(std::size_t indentation) const {
  JSONWriter writer(indentation);
  writer.write(*this);
  return writer.take();
}

std::ostream& operator<<(std::ostream& stream, const Dictionary& value) {
  return stream << value.jsonText();
}

}  // namespace qrb
