#pragma once

#include <optional>
#include <string>

#include "GuardProcess.h"
#include "Guarded.h"
#include "QRBSourceControlForward.h"
#include "URL.h"

namespace qrb {

/// Stands beside a request that makes a working copy, whoever's plug-in serves it: what the request leaves is removed
/// unless it succeeds. A process of its own does that (`qrb-guard`), so it happens when this program is killed, too.
/// The folder is there while the plug-in works, so that nobody else's can be taken for it. Any thread.
class WorkingCopyGuard {
 public:
  /// What is not on this machine, and what is there already, is left to the plug-in to refuse.
  explicit WorkingCopyGuard(const URL& place);
  /// As giveUp(), without waiting.
  ~WorkingCopyGuard();
  WorkingCopyGuard(const WorkingCopyGuard&) = delete;
  WorkingCopyGuard& operator=(const WorkingCopyGuard&) = delete;

  /// Claims the folder for one attempt, whose plug-in leads the process group. An error where no working copy can be
  /// made there, and the plug-in is not to be asked then.
  Error begin(const QRBSourceControlSystemPtr& system, pid_t processGroup);
  /// The working copy is the caller's from now on.
  void keep();
  enum class Waiting { untilRemoved, no };
  /// Has all removed that is in the folder, once the attempt's processes, which are to be told to end before this, are
  /// gone. Without effect where keep() was called, or begin() was not.
  void giveUp(Waiting waiting);

 private:
  std::optional<GuardProcess> take();

  const URL _place;
  Guarded<std::optional<GuardProcess>> _guard;
};

}  // namespace qrb
