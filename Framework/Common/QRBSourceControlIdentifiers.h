#pragma once

#include <string_view>

#include <qrb/Export.h>
#include <qrb/SharedString.h>
#include <qrb/URL.h>

// A repository is known by the identifier its plug-in gives and, to tell apart those that share one, by a secondary one
// made from its URL. Serialized, both are one text.

/// What stands between the two in a serialized identifier.
inline constexpr std::string_view QRBSourceControlWorkspaceBlueprintIdentifierSplit = "+++";

/// An identifier of seven upper-case hexadecimal digits made from the URL's host, the name at the end of its path
/// without extension, and the salt. Letter case makes no difference, nor does anything else in the URL.
QRB_EXPORT qrb::String identifierFromURL(const qrb::URL& url, const qrb::String& salt);

/// Divides at the first separator. Either slot may be null. Without a separator the whole is primary and the secondary
/// slot is left as it is; with nothing after the separator the secondary is absent.
QRB_EXPORT void splitIdentifier(const qrb::String& identifier, qrb::String* primary, qrb::String* secondary);
/// Everything before the first separator; the whole without one, absent as it may be.
QRB_EXPORT qrb::String primaryIdentifier(const qrb::String& identifier);
/// Everything behind the first separator; absent without one and where nothing follows it.
QRB_EXPORT qrb::String secondaryIdentifier(const qrb::String& identifier);

/// The serialized form; the primary alone when the secondary is absent.
QRB_EXPORT qrb::String mergeIdentifiers(const qrb::String& primary, const qrb::String& secondary);
