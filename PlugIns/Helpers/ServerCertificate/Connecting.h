#pragma once

#include <string>

/// The way through an HTTP proxy.
struct Proxy {
  /// Empty where there is none.
  std::string host;
  std::string port;
  /// "user:password"; empty where nobody logs in.
  std::string login;
};

/// A socket that blocks and from which the server is heard, through the proxy where there is one. Throws
/// std::runtime_error with the reason.
int connectToServer(const std::string& host, const std::string& port, const Proxy& proxy);
