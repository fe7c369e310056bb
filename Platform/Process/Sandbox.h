#pragma once

#include <string>
#include <vector>

#include "SandboxSupport.h"

namespace qrb {

/// What a process may still do after it has entered a sandbox, besides reading.
struct SandboxRules {
  /// Files that may be executed, and folders below which everything may be. What is not there is passed over.
  std::vector<std::string> executables;
  /// Folders below which files may be made, changed, moved and removed. What is not there is passed over.
  std::vector<std::string> writableFolders;
  /// Folders below which empty folders may be removed.
  std::vector<std::string> emptyFolders;
  /// Listing the root folder, and with it those of processes, devices and the kernel, which else cannot be listed: they
  /// have no end where links lead through them.
  bool mayListRoot = false;
  /// TCP connections and listening on TCP ports.
  bool mayUseTCP = false;
};

/// Takes from the calling thread and from all threads and processes that it starts from now on, for good, what the
/// rules do not name: executing, changing the file system, listing /proc, /sys and /dev, opening devices but /dev/null
/// (and, where files may be made, /dev/urandom), TCP, control calls to devices, signals to processes outside and
/// abstract sockets made outside; and privileges by set-user-ID programs. What is open already stays usable. A
/// limit that the kernel does not know does not hold: see sandboxSupport().
///
/// Returns 0, or the error number with which the kernel refused what it should know; nothing is limited then but
/// privileges. A kernel that has no such interface, or forbids it to this process, is no error.
int enterSandbox(const SandboxRules& rules);

/// Limits the memory that this process, and each that it starts from now on, may fill with data of its own: to a
/// quarter of the machine's, 1 GiB at least and 4 GiB at most. Files mapped into memory do not count. What wants more
/// is told that there is none. A lower limit stays as it is.
void limitDataMemory();

}  // namespace qrb
