#include "QRBSourceControlIdentifiers.h"

#include "Digest.h"
#include "Localization.h"
#include "PathString.h"
#include "QRBSourceControlURL.h"
#include "UnicodeText.h"

qrb::String identifierFromURL(const qrb::URL& url, const qrb::String& salt) {
  qrb::String path = qrbscm_path(url);
  qrb::String name = path ? qrb::String(qrb::deletingPathExtension(qrb::lastPathComponent(path.view()))) : path;
  std::string text = qrb::lowercased(qrb::format("%@-%@-%@", {qrbscm_host(url), name, salt}));
  return qrb::String(qrb::sha1Hex(text).substr(0, 7));
}

void splitIdentifier(const qrb::String& identifier, qrb::String* primary, qrb::String* secondary) {
  constexpr std::string_view separator = QRBSourceControlWorkspaceBlueprintIdentifierSplit;
  // Kept alive: a slot may be the identifier itself.
  qrb::String whole = identifier;
  std::string_view text = whole.view();
  std::size_t place = text.find(separator);
  if (place == std::string_view::npos) {
    if (primary != nullptr) *primary = whole;
    return;
  }
  if (primary != nullptr) *primary = text.substr(0, place);
  if (secondary != nullptr) {
    std::string_view rest = text.substr(place + separator.size());
    *secondary = rest.empty() ? qrb::String() : qrb::String(rest);
  }
}

qrb::String primaryIdentifier(const qrb::String& identifier) {
  qrb::String primary;
  splitIdentifier(identifier, &primary, nullptr);
  return primary;
}

qrb::String secondaryIdentifier(const qrb::String& identifier) {
  qrb::String secondary;
  splitIdentifier(identifier, nullptr, &secondary);
  return secondary;
}

qrb::String mergeIdentifiers(const qrb::String& primary, const qrb::String& secondary) {
  if (!secondary) return primary;
  return qrb::String(qrb::format("%@%@%@", {primary, QRBSourceControlWorkspaceBlueprintIdentifierSplit, secondary}));
}
