#include "QRBSourceControlString.h"

#include "PathString.h"

std::string qrbscm_stringByStandardizingRelativePath(std::string_view path) {
  if (path.starts_with('/')) return qrb::standardizedPath(path);
  return qrb::standardizedPath("/" + std::string(path)).substr(1);
}

std::string qrbscm_stringByDeletingTrailingSlash(std::string_view path) {
  if (path.ends_with('/')) path.remove_suffix(1);
  return std::string(path);
}

std::string qrbscm_urlStringByAppendingPathComponent(std::string_view urlString, std::string_view component) {
  if (component.starts_with('/')) component.remove_prefix(1);
  std::string joined(urlString);
  if (!joined.ends_with('/')) joined += '/';
  joined += component;
  return joined;
}

std::string qrbscm_displayString(std::string_view identifier) {
  std::string text(identifier);
  if (text.find_first_of("ABCDEFGHIJKLKMNOPQRSTUVWXYZ") != std::string::npos) return text;
  if (!text.empty() && text.front() >= 'a' && text.front() <= 'z') text.front() += 'A' - 'a';
  return text;
}
