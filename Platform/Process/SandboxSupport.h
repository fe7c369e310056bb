#pragma once

#include "Export.h"

namespace qrb {

/// Which of a sandbox's limits the running kernel enforces.
struct SandboxSupport {
  /// The version of the kernel's interface (Landlock); 0 where there is none.
  int version = 0;
  /// Making, changing, removing and executing files. Without `truncating`, files may still be cut short.
  bool files = false;
  bool truncating = false;
  bool tcp = false;
  /// Control calls to devices.
  bool devices = false;
  /// Signals to processes outside, and abstract sockets of theirs.
  bool signalsAndSockets = false;
};

/// Asks the kernel once. Any thread.
QRB_EXPORT const SandboxSupport& sandboxSupport();

}  // namespace qrb
