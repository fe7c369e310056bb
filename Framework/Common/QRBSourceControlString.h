#pragma once

#include <string>
#include <string_view>

#include <qrb/Export.h>

// Operations on paths, on URLs as text and on identifiers. Pure functions; any thread.

/// Without ".", "..", doubled and trailing slashes. A relative path stays relative, and ".." does not climb above its
/// start.
QRB_EXPORT std::string qrbscm_stringByStandardizingRelativePath(std::string_view path);

/// Without one trailing "/", if there is one.
QRB_EXPORT std::string qrbscm_stringByDeletingTrailingSlash(std::string_view path);

/// Both joined by one "/"; nothing else is changed or encoded.
QRB_EXPORT std::string qrbscm_urlStringByAppendingPathComponent(std::string_view urlString, std::string_view component);

/// An identifier as a title: the first letter in upper case, unless the identifier has an upper-case letter already.
QRB_EXPORT std::string qrbscm_displayString(std::string_view identifier);
