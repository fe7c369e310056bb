#include "JSONDocument.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

#include "UTF8.h"

namespace qrb {

namespace {

std::string problemAt(std::string_view text, std::size_t byte) {
  std::string_view before = text.substr(0, std::min(byte == 0 ? 0 : byte - 1, text.size()));
  auto line = 1 + std::count(before.begin(), before.end(), '\n');
  std::size_t lineStart = before.rfind('\n') + 1;
  return "The text is not JSON from line " + std::to_string(line) + ", column " +
         std::to_string(before.size() - lineStart + 1) + " on.";
}

// Makes values of what the parser tells, until something is wrong.
class Reading final : public nlohmann::json_sax<nlohmann::json> {
 public:
  Reading(std::string_view text, const DocumentLimits& limits) : _text(text), _limits(limits) {}

  /// Empty where all is well.
  const std::string& problem() const { return _problem; }
  Dictionary take() { return std::move(_value); }

  bool null() override { return add(nullptr); }
  bool boolean(bool value) override { return add(value); }
  bool number_integer(number_integer_t value) override { return add(value); }
  bool number_unsigned(number_unsigned_t value) override { return add(value); }
  bool number_float(number_float_t value, const string_t&) override { return add(value); }
  bool string(string_t& value) override { return add(std::move(value)); }
  bool binary(binary_t&) override { return fail("The text holds what is no JSON."); }
  bool key(string_t& value) override {
    _key = std::move(value);
    return count();
  }
  bool start_object(std::size_t) override { return start(Dictionary::object()); }
  bool start_array(std::size_t) override { return start(Dictionary::array()); }
  bool end_object() override { return end(); }
  bool end_array() override { return end(); }

  // The parser's own text would quote what was read last.
  bool parse_error(std::size_t position, const std::string&, const nlohmann::detail::exception&) override {
    return fail(problemAt(_text, position));
  }

 private:
  bool count() { return ++_values <= _limits.values || fail("The text holds too many values."); }
  bool add(Dictionary value) {
    put(std::move(value));
    return count();
  }
  bool start(Dictionary container) {
    if (_open.size() == _limits.depth) return fail("The text is nested too deeply.");
    _open.push_back(&put(std::move(container)));
    return count();
  }
  bool end() {
    _open.pop_back();
    return true;
  }
  // What is open is the last element of what holds it, which grows no more until that is closed.
  Dictionary& put(Dictionary value) {
    if (_open.empty()) return _value = std::move(value);
    if (_open.back()->isArray()) return _open.back()->append(std::move(value));
    return (*_open.back())[_key] = std::move(value);
  }
  bool fail(std::string problem) {
    _problem = std::move(problem);
    return false;
  }

  std::string_view _text;
  const DocumentLimits& _limits;
  std::string _problem;
  std::size_t _values = 0;
  Dictionary _value;
  std::vector<Dictionary*> _open;
  std::string _key;
};

std::string placeWithin(const std::string& key, const std::string& place) {
  return "\"" + key + "\"" + (place.empty() ? "" : " " + place);
}

}  // namespace

std::optional<Dictionary> valueFromJSON(std::string_view text, std::string& problem, const DocumentLimits& limits) {
  if (text.size() > limits.bytes) {
    problem = "The text is too large.";
    return std::nullopt;
  }
  Reading reading(text, limits);
  if (!nlohmann::json::sax_parse(text.begin(), text.end(), &reading)) {
    problem = reading.problem();
    return std::nullopt;
  }
  return reading.take();
}

std::optional<std::string> jsonFromValue(const Dictionary& value, std::string& problem) {
  if (auto place = placeOfTextThatFails(value, isValidUTF8)) {
    problem = "The text at " + *place + " is not UTF-8, and JSON has no way to hold it.";
    return std::nullopt;
  }
  return value.jsonText(2) + "\n";
}

std::optional<std::string> placeOfTextThatFails(const Dictionary& value, bool (*test)(std::string_view)) {
  if (!test(value.string())) return "";
  std::size_t index = 0;
  for (const Dictionary& element : value.elements()) {
    if (auto place = placeOfTextThatFails(element, test)) return placeWithin(std::to_string(index), *place);
    ++index;
  }
  for (const auto& [key, element] : value.entries()) {
    if (!test(key)) return placeWithin(replacingInvalidUTF8(key), "");
    if (auto place = placeOfTextThatFails(element, test)) return placeWithin(replacingInvalidUTF8(key), *place);
  }
  return std::nullopt;
}

}  // namespace qrb
