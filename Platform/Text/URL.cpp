#include "URL.h"

#include <strings.h>
#include <uriparser/Uri.h>

#include <algorithm>
#include <charconv>

#include "PathString.h"
#include "PercentCoding.h"

namespace qrb {

namespace {

constexpr std::string_view schemeSeparator = "://";

// A text taken apart; its ranges point into the text. Converts to false where the text has no scheme or cannot be
// parsed.
class ParsedURL {
 public:
  explicit ParsedURL(std::string_view text) {
    if (text.find(schemeSeparator) == std::string_view::npos) return;
    _parsed = uriParseSingleUriExA(&_uri, text.data(), text.data() + text.size(), nullptr) == URI_SUCCESS;
    // "a:b://c" has the separator, but no authority after its scheme.
    _usable = _parsed && _uri.scheme.first != nullptr && _uri.hostText.first != nullptr;
  }
  ParsedURL(const ParsedURL&) = delete;
  ParsedURL& operator=(const ParsedURL&) = delete;
  ~ParsedURL() {
    if (_parsed) uriFreeUriMembersA(&_uri);
  }

  explicit operator bool() const { return _usable; }
  const UriUriA* operator->() const { return &_uri; }

  static std::optional<std::string_view> view(const UriTextRangeA& range) {
    if (range.first == nullptr) return std::nullopt;
    return std::string_view(range.first, static_cast<std::size_t>(range.afterLast - range.first));
  }

  std::string encodedPath() const {
    std::string path;
    for (const UriPathSegmentA* segment = _uri.pathHead; segment != nullptr; segment = segment->next) {
      path += '/';
      path += view(segment->text).value_or(std::string_view());
    }
    return path;
  }

 private:
  UriUriA _uri{};
  bool _parsed = false;
  bool _usable = false;
};

String decoded(std::optional<std::string_view> part) {
  return part ? String(percentDecoded(*part)) : String();
}

// User information is one range to the parser; it divides at the first ":".
String userInfoPart(std::string_view text, bool password) {
  ParsedURL url(text);
  if (!url) return {};
  auto userInfo = ParsedURL::view(url->userInfo);
  if (!userInfo) return {};
  std::size_t colon = userInfo->find(':');
  if (!password) return decoded(userInfo->substr(0, colon));
  return colon == std::string_view::npos ? String() : decoded(userInfo->substr(colon + 1));
}

bool hasScheme(std::string_view text) {
  return text.find(schemeSeparator) != std::string_view::npos;
}

// Where the path begins in the text of a URL or an scp-style address.
std::size_t pathStart(std::string_view text) {
  std::size_t separator = text.find(schemeSeparator);
  if (separator != std::string_view::npos) {
    return std::min(text.find('/', separator + schemeSeparator.size()), text.size());
  }
  std::size_t place = text.find_first_of(":/");
  return place != std::string_view::npos && text[place] == ':' ? place + 1 : 0;
}

}  // namespace

URL URL::fileURL(std::string_view path, bool isDirectory) {
  if (path.empty() || path.front() != '/') return {};
  std::string text = "file://" + percentEncodedPath(path);
  if (isDirectory && text.back() != '/') text += '/';
  return URL(String(text));
}

bool URL::isFileURL() const {
  return ::strcasecmp(scheme().str().c_str(), "file") == 0;
}

String URL::scheme() const {
  ParsedURL url(_text.view());
  return url ? decoded(ParsedURL::view(url->scheme)) : String();
}

String URL::user() const {
  return userInfoPart(_text.view(), false);
}

String URL::password() const {
  return userInfoPart(_text.view(), true);
}

String URL::host() const {
  ParsedURL url(_text.view());
  return url ? decoded(ParsedURL::view(url->hostText)) : String();
}

std::optional<int> URL::port() const {
  ParsedURL url(_text.view());
  if (!url) return std::nullopt;
  std::string_view digits = ParsedURL::view(url->portText).value_or(std::string_view());
  int number = 0;
  auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return error == std::errc() ? std::optional<int>(number) : std::nullopt;
}

String URL::path() const {
  ParsedURL url(_text.view());
  if (!url) return {};
  std::string path = percentDecoded(url.encodedPath());
  if (path.size() > 1 && path.back() == '/') path.pop_back();
  return String(path);
}

String URL::lastPathComponent() const {
  String whole = path();
  return whole ? String(qrb::lastPathComponent(whole.view())) : String();
}

std::vector<std::string> URL::pathComponents() const {
  return qrb::pathComponents(path().view());
}

URL URL::withoutPassword() const {
  std::string_view text = _text.view();
  bool isSCP = !hasScheme(text);
  std::size_t begin = isSCP ? 0 : text.find(schemeSeparator) + schemeSeparator.size();
  std::string_view rest = text.substr(begin);
  std::string_view authority = rest.substr(0, rest.find_first_of(isSCP ? "/" : "/?#"));
  std::size_t colon = authority.find(':');
  std::size_t at = authority.rfind('@');
  // A host in brackets has colons of its own.
  bool isBracketed = authority.starts_with('[') && (isSCP || at == std::string_view::npos);
  if (colon == std::string_view::npos || isBracketed) return *this;
  bool hasPort = authority.find_first_not_of("0123456789", colon + 1) == std::string_view::npos;
  // What is no port is a password with a "/" that ought to have been encoded.
  if (!isSCP && at == std::string_view::npos && !hasPort) at = rest.rfind('@');
  if (at == std::string_view::npos || colon > at) return *this;
  return URL(String(std::string(text.substr(0, begin + colon)) + std::string(rest.substr(at))));
}

URL URL::appendingPathComponent(std::string_view component, bool isDirectory) const {
  if (!_text) return {};
  while (!component.empty() && component.front() == '/') component.remove_prefix(1);
  std::string text = _text.str();
  bool joined = !text.empty() && (text.back() == '/' || (!hasScheme(text) && pathStart(text) == text.size()));
  if (!joined) text += '/';
  text += hasScheme(_text.view()) ? percentEncodedPath(component) : std::string(component);
  if (isDirectory && text.back() != '/') text += '/';
  return URL(String(text));
}

URL URL::appendingPathExtension(std::string_view extension) const {
  if (!_text) return {};
  std::string text = _text.str();
  std::size_t start = pathStart(text);
  std::size_t end = text.size();
  while (end > start && text[end - 1] == '/') --end;
  if (end == start) return *this;
  text.insert(end, "." + (hasScheme(text) ? percentEncodedPath(extension) : std::string(extension)));
  return URL(String(text));
}

URL URL::deletingLastPathComponent() const {
  if (!_text) return {};
  std::string_view text = _text.view();
  std::size_t start = pathStart(text);
  std::size_t end = text.size();
  while (end > start && text[end - 1] == '/') --end;
  if (end == start) return *this;
  while (end > start && text[end - 1] != '/') --end;
  return URL(String(text.substr(0, end)));
}

}  // namespace qrb
