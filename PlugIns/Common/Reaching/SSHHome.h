#pragma once

#include <string>
#include <vector>

namespace qrb {

/// Where the keys of servers are that the user trusts, whether or not the file is there.
std::string sshKnownHostsFile();

/// ssh looks for its files in the home that the user database tells, and this system in that of the environment, as
/// everything else does. Where they differ, the arguments that make ssh look here too; empty otherwise.
std::vector<std::string> sshHomeArguments();

/// Where they differ, the arguments that make ssh offer the user's usual keys; empty otherwise, since then it does so
/// by itself.
std::vector<std::string> sshHomeIdentityArguments();

}  // namespace qrb
