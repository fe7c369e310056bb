#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <iosfwd>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Export.h"

namespace qrb {

/// A plain value whose layout is not fixed by a type: progress reports, file attributes, stored forms. It is null, a
/// boolean, a number, a text, an array of such values, or a dictionary of them under texts, which is what most are:
///
///     qrb::Dictionary entry = {{"path", "a/b"}, {"lines", 3}, {"modes", qrb::Dictionary::array({1, "x"})}};
///     for (const auto& [key, value] : entry.entries()) …
///
/// Copied deeply. Reading never fails: what a value is not reads as empty, so whoever must know asks first. As with the
/// standard's containers, readers may share one that nobody changes. It ends without taking memory, by one call within
/// another for each level that it is deep.
class QRB_EXPORT Dictionary {
 public:
  /// An integer is one kind, whatever its sign and whichever C++ type it came from.
  enum class Kind : std::uint8_t { null, boolean, integer, real, string, array, object };
  using Array = std::vector<Dictionary>;
  /// In the order of the keys' bytes.
  using Object = std::map<std::string, Dictionary, std::less<>>;
  /// What stands in braces for one entry.
  struct Entry;

  Dictionary() noexcept = default;
  Dictionary(std::nullptr_t) noexcept {}
  template <std::integral Number>
  Dictionary(Number number) noexcept : _payload{.integer = static_cast<std::uint64_t>(number)} {
    if constexpr (std::same_as<Number, bool>) {
      _kind = Kind::boolean;
    } else {
      _kind = Kind::integer;
      if constexpr (std::signed_integral<Number>) _isNegative = number < 0;
    }
  }
  template <std::floating_point Number>
  Dictionary(Number number) noexcept : _kind(Kind::real), _payload{.real = number} {}
  /// A text, which may hold any bytes. A template, so that no list in braces is taken for one.
  template <class Text>
  requires(std::convertible_to<const Text&, std::string_view> && !std::same_as<Text, std::nullptr_t>)
      Dictionary(const Text& text) {
    hold(std::string(std::string_view(text)));
  }
  template <class Text>
  requires std::same_as<Text, std::string> Dictionary(Text&& text) { hold(std::move(text)); }
  /// A dictionary of these entries. Of those with one key, the last.
  Dictionary(std::initializer_list<Entry> entries);
  Dictionary(const Dictionary& other);
  Dictionary(Dictionary&& other) noexcept;
  Dictionary& operator=(const Dictionary& other);
  Dictionary& operator=(Dictionary&& other) noexcept;
  ~Dictionary() { clear(); }

  static Dictionary array(Array elements = {});
  static Dictionary object(Object entries = {});

  Kind kind() const noexcept { return _kind; }
  bool isNull() const noexcept { return _kind == Kind::null; }
  bool isBoolean() const noexcept { return _kind == Kind::boolean; }
  bool isInteger() const noexcept { return _kind == Kind::integer; }
  bool isReal() const noexcept { return _kind == Kind::real; }
  /// An integer or a real number; a boolean is none.
  bool isNumber() const noexcept { return isInteger() || isReal(); }
  /// Whether it is a number below 0.
  bool isNegative() const noexcept { return isReal() ? _payload.real < 0 : _isNegative; }
  bool isString() const noexcept { return _kind == Kind::string; }
  bool isArray() const noexcept { return _kind == Kind::array; }
  bool isObject() const noexcept { return _kind == Kind::object; }

  /// The boolean; of a number, whether it is another than 0; else false.
  bool boolean() const noexcept;
  /// The number without what is behind its point; of a real one that is out of range, the end of the range that is
  /// nearer; of an integer that is out of range, what is left of it modulo 2^64. Else 0.
  std::int64_t integer() const noexcept;
  std::uint64_t unsignedInteger() const noexcept;
  /// The number, or the nearest that a double can hold; else 0.
  double real() const noexcept;
  /// The text; else an empty one. It is valid until the value changes or ends, as what the following give; what a value
  /// that is about to end holds is the caller's.
  const std::string& string() const& noexcept;
  std::string string() &&;
  /// What an array holds; else nothing.
  const Array& elements() const& noexcept;
  Array elements() &&;
  /// What a dictionary holds; else nothing.
  const Object& entries() const& noexcept;
  Object entries() &&;

  /// How many elements or entries it has; 0 where it can have none.
  std::size_t size() const noexcept;
  bool empty() const noexcept { return size() == 0; }
  /// The value under a key; null where there is none.
  const Dictionary* find(std::string_view key) const noexcept;
  bool contains(std::string_view key) const noexcept { return find(key) != nullptr; }
  /// The value under a key; a null value where there is none.
  const Dictionary& operator[](std::string_view key) const noexcept;
  /// Places of an array are those of `elements()`. A literal 0 would be a text at no address.
  void operator[](std::size_t place) const = delete;

  /// The value under a key, made where there is none. A null value becomes a dictionary. With any other it is a
  /// programming error, after which it is a dictionary too.
  Dictionary& operator[](std::string_view key);
  /// Puts an element at the end. A null value becomes an array. With any other it is a programming error, after which
  /// it is an array too. Returns the element.
  Dictionary& append(Dictionary element);

  /// Takes the entry of a key away. Returns whether there was one.
  bool remove(std::string_view key);

  /// The value in JSON: on one line, or on several, where each level stands in by so many blanks. Keys are in order, so
  /// that equal values give equal bytes. JSON has UTF-8 alone: where a text is other bytes, they stand here as they
  /// are. What is no finite number is `null`.
  std::string jsonText(std::size_t indentation = 0) const;

  /// Numbers are equal by their value, so 1 equals 1.0.
  bool operator==(const Dictionary& other) const noexcept;

 private:
  // What it is and holds. A null value holds nothing, whatever stands here.
  union Payload {
    std::uint64_t integer;
    double real;
    std::string* string;
    Array* array;
    Object* object;
  };

  void hold(std::string text);
  void clear() noexcept;
  void become(Kind kind);

  Kind _kind = Kind::null;
  bool _isNegative = false;
  Payload _payload{.integer = 0};
};

struct Dictionary::Entry {
  Entry(std::string_view entryKey, Dictionary entryValue) : key(entryKey), value(std::move(entryValue)) {}

  std::string_view key;
  // The elements of a list in braces are constant, but this one is moved out of it.
  mutable Dictionary value;
};

/// Writes it as JSON on one line.
QRB_EXPORT std::ostream& operator<<(std::ostream& stream, const Dictionary& value);

}  // namespace qrb
