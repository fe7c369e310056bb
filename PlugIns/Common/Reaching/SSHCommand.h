#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "RemoteAccess.h"

namespace qrb {

/// The options with which ssh is run to reach a remote repository: it takes servers for what they are only by the
/// user's known hosts or by the trusted fingerprint, offers what the request brought and nothing else where it brought
/// something, and asks nobody but `askpass`. The user's own configuration of ssh holds where it contradicts none of
/// that. Pure but for the look at the user's home.
std::vector<std::string> sshArguments(const RemoteAccess& access, const std::string& askpass);

/// A command for a shell: `program`, a text for the shell itself, with arguments that it takes as they are.
std::string shellCommand(std::string program, const std::vector<std::string>& arguments);

}  // namespace qrb
