#include "Sandbox.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>

#include "FileDescriptor.h"

namespace qrb {
namespace {

// The kernel's interface. Its header on the machine that builds may be older than the kernel that runs.

constexpr long createRuleset = 444;
constexpr long addRule = 445;
constexpr long restrictSelf = 446;
constexpr unsigned askVersion = 1;
constexpr int ruleBeneathPath = 1;

struct RulesetAttributes {
  std::uint64_t handledFileAccess = 0;
  std::uint64_t handledNetworkAccess = 0;
  std::uint64_t scoped = 0;
};

struct __attribute__((packed)) PathRule {
  std::uint64_t allowedAccess = 0;
  std::int32_t parent = -1;
};

constexpr std::uint64_t execute = 1U << 0;
constexpr std::uint64_t writeFile = 1U << 1;
/// Removing folders and files; making devices, folders, files, sockets, pipes, block devices and links.
constexpr std::uint64_t changeFolders = 0x1ff0;
constexpr std::uint64_t removeFolder = 1U << 4;
constexpr std::uint64_t moveBetweenFolders = 1U << 13;
constexpr std::uint64_t truncate = 1U << 14;
constexpr std::uint64_t controlDevices = 1U << 15;
constexpr std::uint64_t bindAndConnectTCP = 3;
constexpr std::uint64_t scopeSocketsAndSignals = 3;

SandboxSupport askKernel() {
  SandboxSupport support;
  const long version = ::syscall(createRuleset, nullptr, 0, askVersion);
  if (version <= 0) return support;
  support.version = static_cast<int>(version);
  support.files = true;
  support.truncating = version >= 3;
  support.tcp = version >= 4;
  support.devices = version >= 5;
  support.signalsAndSockets = version >= 6;
  return support;
}

std::uint64_t writing(const SandboxSupport& support) {
  std::uint64_t access = writeFile | changeFolders;
  // The first version refuses moving between folders whatever the rules say.
  if (support.version >= 2) access |= moveBetweenFolders;
  if (support.truncating) access |= truncate;
  return access;
}

bool allow(int ruleset, const std::string& path, std::uint64_t access) {
  const FileDescriptor place(::open(path.c_str(), O_PATH | O_CLOEXEC));
  if (!place.valid()) return true;
  struct stat information {};
  if (::fstat(place.get(), &information) != 0) return false;
  if (!S_ISDIR(information.st_mode)) access &= execute | writeFile | truncate | controlDevices;
  const PathRule rule{access, place.get()};
  return ::syscall(addRule, ruleset, ruleBeneathPath, &rule, 0) == 0;
}

}  // namespace

const SandboxSupport& sandboxSupport() {
  static const SandboxSupport support = askKernel();
  return support;
}

int enterSandbox(const SandboxRules& rules) {
  if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) return errno;
  const SandboxSupport& support = sandboxSupport();
  if (!support.files) return 0;
  RulesetAttributes attributes;
  attributes.handledFileAccess = execute | writing(support) | (support.devices ? controlDevices : 0);
  if (support.tcp && !rules.mayUseTCP) attributes.handledNetworkAccess = bindAndConnectTCP;
  if (support.signalsAndSockets) attributes.scoped = scopeSocketsAndSignals;
  const FileDescriptor ruleset(static_cast<int>(::syscall(createRuleset, &attributes, sizeof attributes, 0)));
  if (!ruleset.valid()) return errno;
  const auto allowAll = [&ruleset](const std::vector<std::string>& paths, std::uint64_t access) {
    return std::ranges::all_of(paths, [&](const std::string& path) { return allow(ruleset.get(), path, access); });
  };
  const bool isComplete = allow(ruleset.get(), "/dev/null", writeFile) && allowAll(rules.executables, execute) &&
                          allowAll(rules.writableFolders, writing(support)) &&
                          allowAll(rules.emptyFolders, removeFolder);
  return isComplete && ::syscall(restrictSelf, ruleset.get(), 0) == 0 ? 0 : errno;
}

}  // namespace qrb
