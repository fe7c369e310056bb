#pragma once

#include <string>

#include "Error.h"
#include "QRBSourceControlForward.h"
#include "URL.h"

namespace host {

/// What the user can be asked for, so that a request that a server refused may be let in.
enum class AuthenticationRemedy {
  none,
  /// User name and password.
  password,
  /// An SSH key or, for servers that take one, a password.
  key,
  /// The passphrase of the key that was used.
  passphrase,
  /// Whether to trust the server, which showed the fingerprint that the error carries.
  trust,
};

/// `strategy` is what the request was made with, and the system says by its URL hints which schemes are its own.
/// Nothing is offered that would lay the user open: no password over a connection that others can read, and no trust in
/// a server that shows another key than it did before.
AuthenticationRemedy remedyFor(const qrb::Error& error, const qrb::URL& url,
                               const QRBSourceControlAuthenticationStrategyPtr& strategy,
                               const QRBSourceControlSystemPtr& system);

/// Whether what is sent to that address can be read on the way: it is known not to be encrypted, and goes to another
/// machine. A scheme that nobody here knows but a plug-in is left to that plug-in.
bool isReadableOnTheWay(const qrb::URL& url);

/// What a user whom nobody can ask can do about a failure of that kind; empty where nothing beyond what the error says.
std::string adviceFor(const qrb::Error& error);

}  // namespace host
