#include "Sandbox.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <memory>
#include <string_view>

#include "FileDescriptor.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define QRB_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define QRB_SANITIZED 1
#endif
#endif

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
constexpr std::uint64_t openForReading = 1U << 2;
constexpr std::uint64_t listFolder = 1U << 3;
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
  long version = ::syscall(createRuleset, nullptr, 0, askVersion);
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

/// Rights of folders are passed over where the path is a file.
bool allow(int ruleset, const std::string& path, std::uint64_t access, bool isFolder = false) {
  FileDescriptor place(::open(path.c_str(), O_PATH | O_CLOEXEC));
  if (!place.valid()) return true;
  constexpr std::uint64_t ofFiles = execute | writeFile | openForReading | truncate | controlDevices;
  if ((access & ~ofFiles) != 0 && !isFolder) {
    struct stat information {};
    if (::fstat(place.get(), &information) != 0) return false;
    if (!S_ISDIR(information.st_mode)) access &= ofFiles;
  }
  PathRule rule{access, place.get()};
  return ::syscall(addRule, ruleset, ruleBeneathPath, &rule, 0) == 0;
}

/// Allows everything but the devices, whose content never ends or makes a reader wait; shared memory holds files like
/// any other. Each request waits for this, so it makes as few calls as it can.
bool allowReading(int ruleset, bool mayListRoot) {
  std::uint64_t all = mayListRoot ? openForReading : openForReading | listFolder;
  std::unique_ptr<DIR, int (*)(DIR*)> root(::opendir("/"), ::closedir);
  if (!root || !allow(ruleset, "/dev/shm", all)) return false;
  while (const dirent* entry = ::readdir(root.get())) {
    std::string_view name = entry->d_name;
    // Where links lead there is an entry of its own.
    if (name == "." || name == ".." || name == "dev" || entry->d_type == DT_LNK) continue;
    bool isOfKernel = name == "proc" || name == "sys";
    bool isFolder = entry->d_type == DT_DIR;
    if (!allow(ruleset, "/" + std::string(name), isOfKernel ? openForReading : all, isFolder)) return false;
  }
  return true;
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
  attributes.handledFileAccess = execute | openForReading | writing(support) | (support.devices ? controlDevices : 0);
  if (!rules.mayListRoot) attributes.handledFileAccess |= listFolder;
  if (support.tcp && !rules.mayUseTCP) attributes.handledNetworkAccess = bindAndConnectTCP;
  if (support.signalsAndSockets) attributes.scoped = scopeSocketsAndSignals;
  FileDescriptor ruleset(static_cast<int>(::syscall(createRuleset, &attributes, sizeof attributes, 0)));
  if (!ruleset.valid()) return errno;
  auto allowAll = [&ruleset](const std::vector<std::string>& paths, std::uint64_t access) {
    return std::ranges::all_of(paths, [&](const std::string& path) { return allow(ruleset.get(), path, access); });
  };
  // Tools that make files draw random names for them.
  bool isComplete = allow(ruleset.get(), "/dev/null", writeFile | openForReading) &&
                    allowReading(ruleset.get(), rules.mayListRoot) &&
                    (rules.writableFolders.empty() || allow(ruleset.get(), "/dev/urandom", openForReading)) &&
                    allowAll(rules.executables, execute) && allowAll(rules.writableFolders, writing(support)) &&
                    allowAll(rules.emptyFolders, removeFolder);
  return isComplete && ::syscall(restrictSelf, ruleset.get(), 0) == 0 ? 0 : errno;
}

void limitDataMemory() {
#if !defined(QRB_SANITIZED)  // Sanitizers reserve more than any machine has.
  constexpr rlim_t gibibyte = rlim_t{1} << 30;
  const auto machine = static_cast<rlim_t>(::sysconf(_SC_PHYS_PAGES)) * static_cast<rlim_t>(::sysconf(_SC_PAGESIZE));
  const rlim_t wanted = std::clamp(machine / 4, gibibyte, 4 * gibibyte);
  rlimit limit{};
  if (::getrlimit(RLIMIT_DATA, &limit) != 0 || limit.rlim_cur <= wanted) return;
  limit.rlim_cur = wanted;
  ::setrlimit(RLIMIT_DATA, &limit);
#endif
}

}  // namespace qrb
