#pragma once

#include <optional>
#include <string>

#include <qrb/Export.h>
#include <qrb/SharedString.h>
#include <qrb/URL.h>

// Addresses of repositories come as URLs and as scp-style addresses (user@server:path), which a generic parser does not
// understand. These take both apart by one pattern. Pure functions; any thread. A part that the address does not have
// is absent; nothing is percent-decoded unless said.

/// What stands before "://", in the letter case it has; absent for an scp-style address.
QRB_EXPORT qrb::String qrbscm_scheme(const qrb::URL& url);
/// The user's name, which is of letters, digits, "_" and "-" only. Where user or password has any other character both
/// are absent, and what stands there counts as the host and what follows.
QRB_EXPORT qrb::String qrbscm_user(const qrb::URL& url);
/// The password, to which the same restriction applies as to the user; absent too where there is only a user.
QRB_EXPORT qrb::String qrbscm_password(const qrb::URL& url);
/// The host, as it is written. A file URL has the first component of its path, with its slash, in this place.
QRB_EXPORT qrb::String qrbscm_host(const qrb::URL& url);
/// The port of a URL. An scp-style address that has a number and no path gives the number's last digit.
QRB_EXPORT std::optional<int> qrbscm_port(const qrb::URL& url);
/// The path of a URL, percent-decoded, with its leading slash; what follows the first separator in an scp-style
/// address.
QRB_EXPORT qrb::String qrbscm_path(const qrb::URL& url);
/// Without user, password and "@"; the URL itself when it has none of them.
QRB_EXPORT qrb::URL qrbscm_anonymousURL(const qrb::URL& url);
/// The address in scp form, its port, if any, kept in the place of the separator; the URL itself when it has no path.
QRB_EXPORT qrb::URL qrbscm_scpURL(const qrb::URL& url);
/// Everything before the path, user information included.
QRB_EXPORT qrb::URL qrbscm_serverURL(const qrb::URL& url);
/// Whether the address has no scheme.
QRB_EXPORT bool qrbscm_isSCPURI(const qrb::URL& url);
/// Whether there is a host, and with it a scheme or, for an scp-style address, a user.
QRB_EXPORT bool qrbscm_isValid(const qrb::URL& url);
/// Whether the server URLs are the same text: another user is another server.
QRB_EXPORT bool qrbscm_sameServerAs(const qrb::URL& url, const qrb::URL& other);
/// The URL's, percent-decoded, "/" for the root; of an address that the generic syntax gives none, what follows the
/// last ":" or "/", which may be empty.
QRB_EXPORT qrb::String qrbscm_lastPathComponent(const qrb::URL& url);
/// Cut before its last ".".
QRB_EXPORT qrb::String qrbscm_lastPathComponentNoExtension(const qrb::URL& url);

/// The way from `baseURL` to `url`, both file URLs: "../../x/y". Where the text of `url` begins with that of `baseURL`
/// it is the rest of the text as it stands, leading "/" included.
QRB_EXPORT std::string relativePathStringFromURL(const qrb::URL& url, const qrb::URL& baseURL);
