#include "SSHAddress.h"

#include "QRBSourceControlSSHKeysAuthenticationStrategy.h"
#include "QRBSourceControlURL.h"

bool SSHAddress::isSafeName(std::string_view name) {
  if (name.empty() || name.front() == '-') return false;
  for (char character : name) {
    if (static_cast<unsigned char>(character) <= ' ' || character == 0x7f) return false;
  }
  return name.find_first_of("'\"`$\\;&<>|(){}*?!@") == std::string_view::npos;
}

std::optional<SSHAddress> SSHAddress::parse(const qrb::URL& url) {
  if (!QRBSourceControlSSHKeysAuthenticationStrategy::strategyIsValidForURL(url)) return std::nullopt;
  bool isURL = !qrbscm_isSCPURI(url);
  SSHAddress address;
  address.host = (isURL ? url.host() : qrbscm_host(url)).str();
  address.user = (isURL ? url.user() : qrbscm_user(url)).str();
  if (isURL) address.port = url.port();
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
