#include "HTTPProxy.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <initializer_list>

#include "AsciiCase.h"
#include "URL.h"

namespace qrb {
namespace {

/// What libcurl takes where the address names none.
constexpr const char* usualProxyPort = "1080";

/// The bytes of an address in digits; none for a name.
std::string addressBytes(std::string_view text) {
  std::string digits(text);
  std::array<char, sizeof(in6_addr)> bytes;
  if (::inet_pton(AF_INET, digits.c_str(), bytes.data()) == 1) return {bytes.data(), sizeof(in_addr)};
  if (::inet_pton(AF_INET6, digits.c_str(), bytes.data()) == 1) return {bytes.data(), bytes.size()};
  return {};
}

/// Whether an address is in the range "10.0.0.0/8", or is the only one of the range "10.0.0.1".
bool isInRange(std::string_view address, std::string_view range) {
  std::size_t slash = range.find('/');
  std::string begin = addressBytes(range.substr(0, slash));
  if (begin.empty() || begin.size() != address.size()) return false;
  std::size_t bits = 8 * begin.size();
  if (slash != std::string_view::npos) {
    std::string_view digits = range.substr(slash + 1);
    std::size_t given = 0;
    auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), given);
    if (error != std::errc() || end != digits.data() + digits.size() || given > bits) return false;
    bits = given;
  }
  std::size_t whole = bits / 8;
  if (address.substr(0, whole) != std::string_view(begin).substr(0, whole)) return false;
  if (bits % 8 == 0) return true;
  unsigned difference = static_cast<unsigned char>(address[whole]) ^ static_cast<unsigned char>(begin[whole]);
  return difference >> (8 - bits % 8) == 0;
}

bool isNamedBy(std::string_view host, std::string_view entry) {
  if (entry.starts_with('.')) entry.remove_prefix(1);
  if (entry.ends_with('.')) entry.remove_suffix(1);
  if (entry.empty() || !host.ends_with(entry)) return false;
  return host.size() == entry.size() || host[host.size() - entry.size() - 1] == '.';
}

/// The value of the first variable that is there, be it empty.
std::optional<std::string> firstVariable(std::initializer_list<const char*> names) {
  for (const char* name : names) {
    if (const char* value = std::getenv(name)) return value;
  }
  return std::nullopt;
}

}  // namespace

std::string_view withoutBrackets(std::string_view host) {
  return host.starts_with('[') && host.ends_with(']') ? host.substr(1, host.size() - 2) : host;
}

bool HTTPProxy::parse(std::string_view text, std::optional<HTTPProxy>& proxy, std::string& reason) {
  proxy.reset();
  if (text.empty()) return true;
  bool hasScheme = text.find("://") != std::string_view::npos;
  URL url{(hasScheme ? "" : "http://") + std::string(text)};
  std::string shown = "The proxy “" + url.withoutPassword().absoluteString().str() + "” ";
  if (!url.host() || url.host().empty()) {
    reason = shown + "is no address that can be read.";
    return false;
  }
  if (asciiLowerCase(url.scheme().view()) != "http") {
    reason = shown + "is of another kind than HTTP, and no certificate can be fetched through it.";
    return false;
  }
  proxy = HTTPProxy{url.host().str(), url.port() ? std::to_string(*url.port()) : usualProxyPort,
                    url.user().valueOr("").str(), url.password().valueOr("").str()};
  return true;
}

bool isExemptFromProxies(std::string_view host, std::string_view list) {
  if (list == "*") return true;
  std::string name = asciiLowerCase(withoutBrackets(host));
  if (name.ends_with('.')) name.pop_back();
  std::string address = addressBytes(name);
  std::string entries = asciiLowerCase(list);
  constexpr std::string_view separators = ", \t";
  for (std::size_t begin = 0; (begin = entries.find_first_not_of(separators, begin)) != std::string::npos;) {
    std::size_t end = std::min(entries.find_first_of(separators, begin), entries.size());
    std::string_view entry = withoutBrackets(std::string_view(entries).substr(begin, end - begin));
    if (address.empty() ? isNamedBy(name, entry) : isInRange(address, entry)) return true;
    begin = end;
  }
  return false;
}

std::string proxyForServer(std::string_view host, const std::optional<std::string>& configured) {
  if (isExemptFromProxies(host, firstVariable({"no_proxy", "NO_PROXY"}).value_or(""))) return {};
  if (configured) return *configured;
  return firstVariable({"https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"}).value_or("");
}

}  // namespace qrb
