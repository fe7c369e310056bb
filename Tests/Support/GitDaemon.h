#pragma once

#include <stdlib.h>

#include <string>

#include "ConnectionServer.h"

namespace qrb::test {

/// git's own daemon over the folder of a test.
class GitDaemon {
 public:
  explicit GitDaemon(const std::string& folder)
      : _server({"git", "daemon", "--inetd", "--export-all", "--enable=receive-pack", "--base-path=" + folder, folder},
                {std::string("PATH=") + ::getenv("PATH"), "HOME=" + folder, "GIT_CONFIG_NOSYSTEM=1"}) {}
  std::string url(const std::string& name) const {
    return "git://127.0.0.1:" + std::to_string(_server.port()) + "/" + name;
  }

 private:
  ConnectionServer _server;
};

}  // namespace qrb::test
