#include "QRBSourceControlURL.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <vector>

#include "PathString.h"
#include "RegularExpression.h"

namespace {

// Numbers of the pattern's groups. The port's group holds only the last digit, the repetition standing outside it.
enum Group : std::size_t {
  server = 1,
  schemeWithSeparator = 2,
  scheme = 3,
  userInfoWithAt = 4,
  user = 5,
  password = 7,
  host = 8,
  lastPortDigit = 10,
  path = 12,
};

// An address matched against the pattern, with the groups as views into its text.
class Address {
 public:
  explicit Address(const qrb::URL& url) : _text(url.absoluteString()) {
    static const auto& pattern = *new qrb::RegularExpression(
        R"(^((([\da-z-+]+):\/\/)?(([a-z0-9_-]+)?(:([a-z0-9_-]+))?@)?(.+?)(:([0-9])+)?)([:|\/](.*))?$)",
        qrb::RegularExpression::Case::insensitive);
    if (_text) _groups = pattern.firstMatch(_text.view());
  }

  bool has(Group group) const { return _groups && (*_groups)[group]; }

  qrb::String operator[](Group group) const {
    if (!has(group)) return {};
    auto range = *(*_groups)[group];
    return _text.view().substr(range.location, range.length);
  }

  std::string without(Group group) const {
    std::string text = _text.str();
    if (has(group)) text.erase((*_groups)[group]->location, (*_groups)[group]->length);
    return text;
  }

 private:
  qrb::String _text;
  std::optional<qrb::RegularExpression::Groups> _groups;
};

qrb::String scpForm(const qrb::URL& url) {
  if (!url) return {};
  std::string text = Address(url).without(schemeWithSeparator);
  std::size_t slash = text.find('/');
  if (slash == std::string::npos) return {};
  std::string_view before(text.data(), slash);
  std::size_t at = before.rfind('@');
  std::size_t colon = before.rfind(':');
  bool isSCPForm = colon != std::string_view::npos && (at == std::string_view::npos || at <= colon);
  if (!isSCPForm) text.insert(slash, ":");
  return text;
}

}  // namespace

qrb::String qrbscm_scheme(const qrb::URL& url) {
  return Address(url)[scheme];
}

qrb::String qrbscm_user(const qrb::URL& url) {
  return Address(url)[user];
}

qrb::String qrbscm_password(const qrb::URL& url) {
  return Address(url)[password];
}

qrb::String qrbscm_host(const qrb::URL& url) {
  return Address(url)[host];
}

std::optional<int> qrbscm_port(const qrb::URL& url) {
  if (auto port = url.port()) return port;
  qrb::String digit = Address(url)[lastPortDigit];
  if (digit.empty()) return std::nullopt;
  return digit.view().front() - '0';
}

qrb::String qrbscm_path(const qrb::URL& url) {
  Address address(url);
  if (address.has(scheme)) {
    if (qrb::String parsed = url.path()) return parsed;
  }
  return address[path];
}

qrb::URL qrbscm_anonymousURL(const qrb::URL& url) {
  Address address(url);
  return address.has(userInfoWithAt) ? qrb::URL(qrb::String(address.without(userInfoWithAt))) : url;
}

qrb::URL qrbscm_scpURL(const qrb::URL& url) {
  qrb::String text = scpForm(url);
  return text ? qrb::URL(text) : url;
}

qrb::URL qrbscm_serverURL(const qrb::URL& url) {
  qrb::String text = Address(url)[server];
  return text ? qrb::URL(text) : url;
}

bool qrbscm_isSCPURI(const qrb::URL& url) {
  return !Address(url).has(scheme);
}

bool qrbscm_isValid(const qrb::URL& url) {
  Address address(url);
  return !address[address.has(scheme) ? scheme : user].empty() && !address[host].empty();
}

bool qrbscm_sameServerAs(const qrb::URL& url, const qrb::URL& other) {
  return qrbscm_serverURL(url) == qrbscm_serverURL(other);
}

qrb::String qrbscm_lastPathComponent(const qrb::URL& url) {
  qrb::String parsed = url.lastPathComponent();
  if (!parsed.empty() || !url) return parsed;
  std::string_view text = url.absoluteString().view();
  return text.substr(text.find_last_of(":/") + 1);
}

qrb::String qrbscm_lastPathComponentNoExtension(const qrb::URL& url) {
  qrb::String name = qrbscm_lastPathComponent(url);
  std::size_t dot = name.view().rfind('.');
  return dot == std::string_view::npos ? name : qrb::String(name.view().substr(0, dot));
}

std::string relativePathStringFromURL(const qrb::URL& url, const qrb::URL& baseURL) {
  std::string_view target = url.absoluteString().view();
  std::string_view base = baseURL.absoluteString().view();
  if (target.starts_with(base)) return std::string(target.substr(base.size()));

  std::vector<std::string> targetComponents = url.pathComponents();
  std::vector<std::string> baseComponents = baseURL.pathComponents();
  auto [targetEnd, baseEnd] =
      std::mismatch(targetComponents.begin(), targetComponents.end(), baseComponents.begin(), baseComponents.end());
  std::string common;
  for (auto component = targetComponents.begin(); component != targetEnd; ++component) {
    common = qrb::appendingPathComponent(common, *component);
  }
  std::string way;
  for (auto component = baseEnd; component != baseComponents.end(); ++component) {
    way = qrb::appendingPathComponent(way, "..");
  }
  target.remove_prefix(std::min(qrb::URL::fileURL(common).absoluteString().size(), target.size()));
  return qrb::appendingPathComponent(way, target);
}
