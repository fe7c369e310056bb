#pragma once

#include <optional>
#include <string>

#include "Error.h"
#include "RemoteAccess.h"
#include "ServerTrust.h"
#include "ServerTrustQuery.h"

namespace qrb {

/// The path of the program that asks servers for their certificates.
std::string certificateProgram();

/// Asks the server of a request for its certificates, once: what it shows is judged for all systems in the same way.
/// None where there is nothing to be had, with the reason. `proxy` and `hostConnection` are as for ServerTrustQuery.
std::optional<ServerTrust> trustOfServer(const RemoteAddress& server, std::optional<HTTPProxy> proxy,
                                         int hostConnection, std::string& reason);

/// Whether what a server shows is enough for a request by itself: by the fingerprint that the request brings, alone
/// where that is enforced.
bool isAcceptable(const ServerTrust& trust, const RemoteAccess& access);

/// The error that the server's certificate is not trusted, after `message`. It carries fingerprints for a user to
/// compare where trusting them would help, and none where it would not.
Error untrustedCertificateError(const ServerTrust& trust, const std::string& message);

}  // namespace qrb
