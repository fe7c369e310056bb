#pragma once

#include <gnutls/gnutls.h>

#include <string>
#include <vector>

/// Takes the authorities that the machine trusts, or those of the file that SSL_CERT_FILE names, as other programs do.
void takeAuthorities(gnutls_certificate_credentials_t credentials);

/// What is wrong with the certificates that a session's server has shown, in the words that ServerTrust knows; none
/// where an authority vouches for the server of that name. Throws std::runtime_error where that cannot be said.
std::vector<std::string> findFaults(gnutls_session_t session, const std::string& host);
