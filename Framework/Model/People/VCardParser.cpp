#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <utility>

#include "UTF8.h"
#include "UnicodeText.h"
#include "VCardParserPrivate.h"

namespace qrb {

namespace {

// A line as it is meant, its folded pieces joined.
struct Line {
  std::size_t number;
  std::string text;
};

struct Property {
  std::string name;
  // In the order given; names and values in lower case.
  std::vector<std::pair<std::string, std::string>> parameters;
  std::string_view value;
};

std::vector<Line> unfold(std::string_view bytes) {
  if (bytes.starts_with("\xEF\xBB\xBF")) bytes.remove_prefix(3);
  std::vector<Line> lines;
  for (std::size_t number = 1; !bytes.empty(); ++number) {
    std::size_t end = std::min(bytes.find('\n'), bytes.size());
    std::string_view text = bytes.substr(0, end);
    bytes.remove_prefix(std::min(end + 1, bytes.size()));
    if (text.ends_with('\r')) text.remove_suffix(1);
    bool continues = !lines.empty() && (text.starts_with(' ') || text.starts_with('\t'));
    if (continues) {
      lines.back().text += text.substr(1);
    } else {
      lines.push_back({number, std::string(text)});
    }
  }
  return lines;
}

// The place of a character outside double quotes.
std::size_t findUnquoted(std::string_view text, std::string_view characters) {
  bool quoted = false;
  for (std::size_t index = 0; index < text.size(); ++index) {
    if (text[index] == '"') quoted = !quoted;
    if (!quoted && characters.find(text[index]) != std::string_view::npos) return index;
  }
  return std::string_view::npos;
}

std::optional<Property> parseProperty(std::string_view line) {
  std::size_t colon = findUnquoted(line, ":");
  if (colon == std::string_view::npos) return std::nullopt;
  Property property;
  property.value = line.substr(colon + 1);
  std::string_view head = line.substr(0, colon);
  bool isName = true;
  while (true) {
    std::size_t end = std::min(findUnquoted(head, ";"), head.size());
    std::string_view part = head.substr(0, end);
    if (isName) {
      // What stands before a dot groups properties and says nothing of this one.
      property.name = lowercased(part.substr(part.rfind('.') + 1));
      isName = false;
    } else {
      std::size_t equals = std::min(part.find('='), part.size());
      std::string value = lowercased(part.substr(std::min(equals + 1, part.size())));
      std::erase(value, '"');
      property.parameters.emplace_back(lowercased(part.substr(0, equals)), std::move(value));
    }
    if (end == head.size()) break;
    head.remove_prefix(end + 1);
  }
  if (property.name.empty()) return std::nullopt;
  return property;
}

// One element of a value: up to a separator that is not escaped, which is taken off the front together with it.
std::string takeElement(std::string_view& value, char separator) {
  std::string element;
  while (!value.empty()) {
    char character = value.front();
    value.remove_prefix(1);
    if (character == separator) return element;
    if (character == '\\' && !value.empty()) {
      character = value.front();
      value.remove_prefix(1);
      if (character == 'n' || character == 'N') character = '\n';
    }
    element += character;
  }
  return element;
}

std::string trimmed(std::string_view text) {
  constexpr std::string_view space = " \t\r\n";
  std::size_t first = text.find_first_not_of(space);
  if (first == std::string_view::npos) return {};
  return replacingInvalidUTF8(text.substr(first, text.find_last_not_of(space) - first + 1));
}

std::string firstElement(std::string_view value, char separator) {
  return trimmed(takeElement(value, separator));
}

// A value that is one text, in which separators mean nothing.
std::string wholeText(std::string_view value) {
  return firstElement(value, '\0');
}

String orAbsent(const std::string& text) {
  return text.empty() ? String() : String(text);
}

// The lower number is preferred: 1 to 100 where the card says so, in the form of either version.
int preferenceOf(const Property& property) {
  int preference = 101;
  for (const auto& [name, value] : property.parameters) {
    if (name == "pref") {
      int given = 0;
      auto [end, failure] = std::from_chars(value.data(), value.data() + value.size(), given);
      if (failure == std::errc() && given >= 1 && given <= 100) preference = std::min(preference, given);
    }
    bool isPreferred = (name == "type" && ("," + value + ",").find(",pref,") != std::string::npos) ||
                       (name == "pref" && value.empty());
    if (isPreferred) preference = 1;
  }
  return preference;
}

// A card between its BEGIN and its END.
class Card {
 public:
  explicit Card(std::size_t line) : _line(line) {}

  /// Where it begins.
  std::size_t line() const { return _line; }

  void add(const Property& property) {
    std::string_view value = property.value;
    if (property.name == "version") {
      _version = trimmed(value);
    } else if (property.name == "kind") {
      _kind = lowercased(trimmed(value));
    } else if (property.name == "fn") {
      keepFirst(_formattedName, wholeText(value));
    } else if (property.name == "n") {
      keepFirst(_family, firstElement(takeComponent(value), ','));
      keepFirst(_given, firstElement(takeComponent(value), ','));
    } else if (property.name == "nickname") {
      keepFirst(_nickname, firstElement(value, ','));
    } else if (property.name == "org") {
      keepFirst(_organization, firstElement(value, ';'));
    } else if (property.name == "uid") {
      keepFirst(_uniqueId, wholeText(value));
    } else if (property.name == "email") {
      if (std::string address = wholeText(value); !address.empty())
        _emails.emplace_back(preferenceOf(property), address);
    }
  }

  /// What is wrong with it; nothing where it can be used.
  std::string problem() const {
    if (_version == "3.0" || _version == "4.0") return {};
    return _version.empty() ? "the card has no version" : "version \"" + _version + "\" is not understood";
  }
  bool isOfSomebody() const {
    return _kind.empty() || _kind == "individual" || _kind == "org" || _kind.starts_with("x-");
  }

  QRBSourceControlPerson person() const {
    QRBSourceControlPerson person;
    person.uniqueId = orAbsent(_uniqueId);
    person.nickname = orAbsent(_nickname);
    person.organization = orAbsent(_organization);
    name(person);
    auto byPreference = [](const auto& a, const auto& b) { return a.first < b.first; };
    auto emails = _emails;
    std::stable_sort(emails.begin(), emails.end(), byPreference);
    for (const auto& email : emails) person.emails.emplace_back(email.second);
    return person;
  }

 private:
  static void keepFirst(std::string& field, std::string value) {
    if (field.empty()) field = std::move(value);
  }

  // With its escapes, which still matter to the list within it.
  static std::string_view takeComponent(std::string_view& value) {
    std::size_t end = 0;
    while (end < value.size() && value[end] != ';') end += value[end] == '\\' ? 2 : 1;
    std::string_view component = value.substr(0, std::min(end, value.size()));
    value.remove_prefix(std::min(end + 1, value.size()));
    return component;
  }

  // An author is named by a first name, with or without a last name, or by an organization that is shown as such; the
  // formatted name fills in where the parts do not say, and tells which part the person puts first.
  void name(QRBSourceControlPerson& person) const {
    bool isNamed = !_given.empty() || !_family.empty();
    bool isOrganization = _kind == "org" || (!isNamed && (_formattedName.empty() || _formattedName == _organization));
    if (isOrganization && !(_organization.empty() && _formattedName.empty())) {
      person.flags |= 1;
      if (_organization.empty()) person.organization = _formattedName;
      return;
    }
    if (_given.empty()) {
      person.firstName = orAbsent(_formattedName.empty() ? _family : _formattedName);
      return;
    }
    person.firstName = _given;
    person.lastName = orAbsent(_family);
    if (_formattedName == _family + " " + _given) person.flags |= QRBSourceControlPerson::kLastNameFirst;
  }

  std::size_t _line;
  std::string _version, _kind, _formattedName, _family, _given, _nickname, _organization, _uniqueId;
  std::vector<std::pair<int, std::string>> _emails;
};

}  // namespace

VCardFile parseVCards(std::string_view bytes) {
  VCardFile file;
  std::optional<Card> card;
  auto tell = [&](std::size_t line, std::string text) { file.problems.push_back({line, std::move(text)}); };
  for (const Line& line : unfold(bytes)) {
    if (trimmed(line.text).empty()) continue;
    auto property = parseProperty(line.text);
    bool isMark = property && (property->name == "begin" || property->name == "end");
    bool isCards = isMark && lowercased(trimmed(property->value)) == "vcard";
    if (!property) {
      tell(line.number, "this is no property");
    } else if (isCards && property->name == "begin") {
      if (card) tell(card->line(), "the card has no end");
      card.emplace(line.number);
    } else if (isCards && card) {
      if (std::string problem = card->problem(); !problem.empty()) {
        tell(card->line(), problem);
      } else if (card->isOfSomebody()) {
        file.people.push_back(card->person());
      }
      card.reset();
    } else if (!card) {
      tell(line.number, "this stands outside of any card");
    } else if (!isMark) {
      card->add(*property);
    }
  }
  if (card) tell(card->line(), "the card has no end");
  return file;
}

}  // namespace qrb
