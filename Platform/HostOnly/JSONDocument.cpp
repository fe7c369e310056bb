#include "JSONDocument.h"

#include <algorithm>
#include <nlohmann/json.hpp>

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

// Reads a text without keeping anything of it, until something is wrong. The parser that keeps values can be told to
// check them too, but looks through all of an array after each of its elements then.
class LimitsCheck final : public nlohmann::json_sax<Dictionary> {
 public:
  LimitsCheck(std::string_view text, const DocumentLimits& limits) : _text(text), _limits(limits) {}

  /// Empty where all is well.
  const std::string& problem() const { return _problem; }

  bool null() override { return value(); }
  bool boolean(bool) override { return value(); }
  bool number_integer(number_integer_t) override { return value(); }
  bool number_unsigned(number_unsigned_t) override { return value(); }
  bool number_float(number_float_t, const string_t&) override { return value(); }
  bool string(string_t&) override { return value(); }
  bool binary(binary_t&) override { return value(); }
  bool key(string_t&) override { return value(); }
  bool start_object(std::size_t) override { return start(); }
  bool start_array(std::size_t) override { return start(); }
  bool end_object() override { return end(); }
  bool end_array() override { return end(); }

  // The parser's own text would quote what was read last.
  bool parse_error(std::size_t position, const std::string&, const nlohmann::detail::exception&) override {
    return fail(problemAt(_text, position));
  }

 private:
  bool value() { return ++_values <= _limits.values || fail("The text holds too many values."); }
  bool start() { return (++_depth <= _limits.depth || fail("The text is nested too deeply.")) && value(); }
  bool end() {
    --_depth;
    return true;
  }
  bool fail(std::string problem) {
    _problem = std::move(problem);
    return false;
  }

  std::string_view _text;
  const DocumentLimits& _limits;
  std::string _problem;
  std::size_t _depth = 0;
  std::size_t _values = 0;
};

}  // namespace

std::optional<Dictionary> valueFromJSON(std::string_view text, std::string& problem, const DocumentLimits& limits) {
  if (text.size() > limits.bytes) {
    problem = "The text is too large.";
    return std::nullopt;
  }
  LimitsCheck check(text, limits);
  if (!Dictionary::sax_parse(text.begin(), text.end(), &check)) {
    problem = check.problem();
    return std::nullopt;
  }
  return Dictionary::parse(text.begin(), text.end());
}

std::optional<std::string> jsonFromValue(const Dictionary& value, std::string& problem) {
  if (auto place = placeOfTextThatFails(value, isValidUTF8)) {
    problem = "The text at " + *place + " is not UTF-8, and JSON has no way to hold it.";
    return std::nullopt;
  }
  return value.dump(2) + "\n";
}

std::optional<std::string> placeOfTextThatFails(const Dictionary& value, bool (*test)(std::string_view)) {
  if (value.is_string()) {
    return test(value.get_ref<const std::string&>()) ? std::nullopt : std::optional<std::string>("");
  }
  if (!value.is_structured()) return std::nullopt;
  std::size_t index = 0;
  for (auto entry = value.begin(); entry != value.end(); ++entry, ++index) {
    bool keyIsFine = !value.is_object() || test(entry.key());
    auto place = keyIsFine ? placeOfTextThatFails(*entry, test) : std::optional<std::string>("");
    if (!place) continue;
    std::string key = value.is_object() ? replacingInvalidUTF8(entry.key()) : std::to_string(index);
    return "\"" + key + "\"" + (place->empty() ? "" : " " + *place);
  }
  return std::nullopt;
}

}  // namespace qrb
