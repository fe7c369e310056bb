#include "SSHAddress.h"

#include <charconv>

#include "PercentCoding.h"
#include "RemoteAddress.h"

bool SSHAddress::isSafeName(std::string_view name) {
  if (name.empty() || name.front() == '-') return false;
  for (char character : name) {
    if (static_cast<unsigned char>(character) <= ' ' || character == 0x7f) return false;
  }
  return name.find_first_of("'\"`$\\;&<>|(){}*?!@") == std::string_view::npos;
}

std::optional<SSHAddress> SSHAddress::parse(const qrb::URL& url) {
  qrb::RemoteAddress read = qrb::RemoteAddress::parse(url.absoluteString().view());
  if (!read.isSSH()) return std::nullopt;
  SSHAddress address;
  address.user = read.user.value_or("");
  address.host = qrb::percentDecoded(read.hostAsWritten);
  if (address.host.starts_with('[') && address.host.ends_with(']')) {
    address.host = address.host.substr(1, address.host.size() - 2);
  }
  if (read.namesPort) {
    int number = 0;
    auto [end, error] = std::from_chars(read.port.data(), read.port.data() + read.port.size(), number);
    if (error != std::errc() || end != read.port.data() + read.port.size() || number <= 0) return std::nullopt;
    address.port = number;
  }
  if (!isSafeName(address.host) || (!address.user.empty() && !isSafeName(address.user))) return std::nullopt;
  return address;
}

std::vector<std::string> SSHAddress::arguments() const {
  std::vector<std::string> result;
  if (!user.empty()) result.insert(result.end(), {"-l", user});
  if (port) result.insert(result.end(), {"-p", std::to_string(*port)});
  result.push_back(host);
  return result;
}
