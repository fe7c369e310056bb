#pragma once

#include <optional>
#include <string>
#include <vector>

#include "URL.h"

/// Where an SSH remote is, as git reads its address. Pure; any thread.
struct SSHAddress {
  std::string host;
  /// Empty where the address names none.
  std::string user;
  std::optional<int> port;

  /// Absent for an address that does not go over SSH, and for one whose host or user ssh could take for an option or a
  /// shell for a command: addresses come out of repositories, which need not be friendly.
  static std::optional<SSHAddress> parse(const qrb::URL& url);
  /// Whether a text may be handed to ssh as a host's or a user's name.
  static bool isSafeName(std::string_view name);

  /// The arguments that make ssh connect there, the host last.
  std::vector<std::string> arguments() const;
};
