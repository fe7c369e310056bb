#include "JSONDocument.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "UTF8.h"

namespace qrb {

namespace {

struct BeyondLimits {
  const char* problem;
};

// Thrown out of the parser, which has no other way to be stopped.
auto limitsCheck(const DocumentLimits& limits) {
  return [&limits, values = std::size_t{0}](int depth, Dictionary::parse_event_t event, Dictionary&) mutable {
    if (event == Dictionary::parse_event_t::array_end || event == Dictionary::parse_event_t::object_end) return true;
    if (static_cast<std::size_t>(depth) > limits.depth) throw BeyondLimits{"The text is nested too deeply."};
    if (++values > limits.values) throw BeyondLimits{"The text holds too many values."};
    return true;
  };
}

std::string problemAt(std::string_view text, std::size_t byte) {
  std::string_view before = text.substr(0, std::min(byte == 0 ? 0 : byte - 1, text.size()));
  auto line = 1 + std::count(before.begin(), before.end(), '\n');
  std::size_t lineStart = before.rfind('\n') + 1;
  return "The text is not JSON from line " + std::to_string(line) + ", column " +
         std::to_string(before.size() - lineStart + 1) + " on.";
}

}  // namespace

std::optional<Dictionary> valueFromJSON(std::string_view text, std::string& problem, const DocumentLimits& limits) {
  if (text.size() > limits.bytes) {
    problem = "The text is too large.";
    return std::nullopt;
  }
  try {
    return Dictionary::parse(text.begin(), text.end(), limitsCheck(limits));
  } catch (const Dictionary::parse_error& error) {
    // Its own text would quote what was read last.
    problem = problemAt(text, error.byte);
  } catch (const Dictionary::exception&) {
    problem = "The text holds a number that is too large.";
  } catch (const BeyondLimits& beyond) {
    problem = beyond.problem;
  }
  return std::nullopt;
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
