#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "HTTPProxy.h"
#include "ServerTrust.h"

namespace qrb {

/// How long a server has, from the beginning to the end, to show its certificates: finding and reaching it, and its
/// proxy, included.
inline constexpr std::chrono::milliseconds kServerTrustPatience{30'000};

/// Asks a TLS server for its certificates, through `qrb-server-certificate`, a program of its own: what a stranger
/// sends is read there and cannot harm this process, and the TLS library is loaded there alone.
struct ServerTrustQuery {
  /// The path of the program.
  std::string program;
  /// An IPv6 address with or without its brackets.
  std::string host;
  std::string port;
  std::optional<HTTPProxy> proxy;
  std::chrono::milliseconds patience = kServerTrustPatience;
  /// As for ToolRunner; -1 for none.
  int hostConnection = -1;

  /// What the server shows, judged by this machine's authorities (or those in the file that SSL_CERT_FILE names). None
  /// where there is nothing to be had in time, with the reason. Blocks the calling thread. Any thread.
  std::optional<ServerTrust> ask(std::string& reason) const;
};

}  // namespace qrb
