#include "SubversionAddresses.h"

#include <algorithm>
#include <array>

#include "QRBSourceControlError.h"
#include "RemoteAddress.h"

std::string_view subversionAddressFault(std::string_view address) {
  bool hasControl = std::ranges::any_of(address, [](unsigned char byte) { return byte < 0x20 || byte == 0x7f; });
  if (address.empty() || hasControl) return "is no address";
  constexpr std::array<std::string_view, 5> schemes{"file", "svn", "svn+ssh", "http", "https"};
  std::size_t end = address.find("://");
  if (end == std::string_view::npos) return "names no way to a server, as in svn://server/repository";
  qrb::RemoteAddress parsed = qrb::RemoteAddress::parse(address);
  if (std::ranges::find(schemes, parsed.scheme) == schemes.end()) {
    return "is reached in a way that is not used here: file, svn, svn+ssh, http and https are";
  }
  if (parsed.scheme == "file") return parsed.isLocalFile() ? "" : "is a file of another machine";
  if (parsed.host.empty()) return "names no server";
  if (parsed.host.starts_with('-') || parsed.host.find_first_of(" \t@\"'`$\\;&<>|(){}") != std::string::npos) {
    return "names a server that none can be called";
  }
  return {};
}

std::string subversionAddressOf(const qrb::URL& url) {
  std::string text = qrb::addressWithoutPassword(url.absoluteString().view());
  return text.starts_with('/') ? qrb::URL::fileURL(text).absoluteString().str() : text;
}

qrb::Error subversionRefuseURL(const qrb::URL& url) {
  std::string address = subversionAddressOf(url);
  std::string_view fault = subversionAddressFault(address);
  if (fault.empty()) return {};
  return QRBSourceControlError_InvalidURL(qrb::URL(address), "Subversion",
                                          "“" + address + "” " + std::string(fault) + ".");
}
