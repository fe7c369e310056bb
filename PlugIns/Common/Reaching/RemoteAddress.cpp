#include "RemoteAddress.h"

#include <algorithm>
#include <array>

#include "AsciiCase.h"
#include "PercentCoding.h"
#include "URL.h"

namespace qrb {
namespace {

constexpr std::string_view schemeSeparator = "://";

std::string_view usualPort(std::string_view scheme) {
  constexpr std::array<std::pair<std::string_view, std::string_view>, 6> known = {
      {{"http", "80"}, {"https", "443"}, {"ssh", "22"}, {"git", "9418"}, {"svn", "3690"}, {"svn+ssh", "22"}}};
  const auto* found = std::ranges::find(known, scheme, &std::pair<std::string_view, std::string_view>::first);
  return found == known.end() ? std::string_view() : found->second;
}

/// Where user information ends in what stands between "://" and the path; npos without any. The last "@" counts: the
/// tools take what is before it, as it stands, for a name and a password.
std::size_t userInfoEnd(std::string_view authority) {
  return authority.rfind('@');
}

/// The place of what stands between "://" and the path.
std::pair<std::size_t, std::size_t> authorityOf(std::string_view address) {
  std::size_t begin = address.find(schemeSeparator) + schemeSeparator.size();
  return {begin, std::min(address.find_first_of("/?#", begin), address.size())};
}

void takeHost(RemoteAddress& result, std::string_view hostAndPort) {
  std::size_t bracket = hostAndPort.rfind(']');
  std::size_t colon = hostAndPort.find(':', bracket == std::string_view::npos ? 0 : bracket);
  result.hostAsWritten = hostAndPort.substr(0, colon);
  result.host = asciiLowerCase(result.hostAsWritten);
  if (colon != std::string_view::npos) result.port = hostAndPort.substr(colon + 1);
  result.namesPort = !result.port.empty();
  if (!result.namesPort) result.port = usualPort(result.scheme);
}

RemoteAddress parseURL(std::string_view address) {
  RemoteAddress result;
  result.scheme = asciiLowerCase(address.substr(0, address.find(schemeSeparator)));
  auto [begin, end] = authorityOf(address);
  std::string_view authority = address.substr(begin, end - begin);
  if (std::size_t at = userInfoEnd(authority); at != std::string_view::npos) {
    std::string_view userInfo = authority.substr(0, at);
    authority.remove_prefix(at + 1);
    std::size_t colon = userInfo.find(':');
    result.user = percentDecoded(userInfo.substr(0, colon));
    if (colon != std::string_view::npos) result.password = percentDecoded(userInfo.substr(colon + 1));
  }
  takeHost(result, authority);
  result.path = address.substr(end);
  if (result.scheme == "file") result.path = percentDecoded(result.path);
  return result;
}

/// Without what tells no repositories apart.
std::string_view bare(std::string_view path) {
  while (path.size() > 1 && path.ends_with('/')) path.remove_suffix(1);
  return path;
}

}  // namespace

RemoteAddress RemoteAddress::parse(std::string_view address) {
  if (address.find(schemeSeparator) != std::string_view::npos) return parseURL(address);
  RemoteAddress result;
  std::size_t bracket = address.find(']');
  std::size_t colon = address.find(':', bracket == std::string_view::npos ? 0 : bracket);
  if (address.starts_with('/') || colon == std::string_view::npos || address.find('/') < colon) {
    result.scheme = "file";
    result.path = address;
    return result;
  }
  result.scheme = "ssh";
  std::string_view server = address.substr(0, colon);
  if (std::size_t at = userInfoEnd(server); at != std::string_view::npos) {
    result.user = std::string(server.substr(0, at));
    server.remove_prefix(at + 1);
  }
  result.hostAsWritten = server;
  result.host = asciiLowerCase(server);
  result.port = usualPort(result.scheme);
  result.path = address.substr(colon + 1);
  return result;
}

bool RemoteAddress::mayShareSecretsWith(const RemoteAddress& other) const {
  if (host.empty() || host != other.host) return false;
  if (scheme == other.scheme) return port == other.port;
  return scheme == "http" && other.scheme == "https" && port == "80" && other.port == "443";
}

bool RemoteAddress::isSamePlaceAs(const RemoteAddress& other) const {
  return scheme == other.scheme && host == other.host && port == other.port && bare(path) == bare(other.path);
}

std::string addressWithoutPassword(std::string_view address) {
  if (!RemoteAddress::parse(address).password) return std::string(address);
  return URL(String(address)).withoutPassword().absoluteString().str();
}

std::string addressWithUser(std::string_view address, std::string_view user) {
  auto [begin, end] = authorityOf(address);
  std::size_t at = userInfoEnd(address.substr(begin, end - begin));
  std::size_t host = at == std::string_view::npos ? begin : begin + at + 1;
  std::string name;
  for (char byte : percentEncodedPath(user, true)) {
    // Allowed in a path, and a divider here.
    if (byte == ':' || byte == '@') {
      name.append(byte == ':' ? "%3A" : "%40");
    } else {
      name.push_back(byte);
    }
  }
  return std::string(address.substr(0, begin)).append(name).append(1, '@').append(address.substr(host));
}

}  // namespace qrb
