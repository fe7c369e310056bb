#pragma once

#include "Checks.h"

namespace host {

/// A plug-in that is asked by the library, as any host asks it, about an example that the user has named.
struct PlugInAtWork {
  Session& session;
  PlugInUnderCheck& plugIn;
  std::chrono::milliseconds limit{};
  std::filesystem::path folder;
  std::string url;

  QRBSourceControlWorkingCopyPtr workingCopy = {};
  QRBSourceControlRevisionLocationPtr location = {};
  /// One that is there, of the history where that is served; empty for none.
  std::string file = {};
  /// The user wants to stop.
  bool isStopped = false;
};

/// A check of what a plug-in says of an example. Main thread.
struct ExampleCheck : CheckText {
  Verdict (*run)(PlugInAtWork& work);
};

/// Those that look at a working copy; the first finds it.
std::span<const ExampleCheck> workingCopyChecks();
/// What it sends while it works on a working copy.
Verdict checkCallbacks(PlugInUnderCheck& plugIn, const QRBSourceControlWorkingCopyPtr& workingCopy);
extern const CheckText callbacksCheck;
/// Those of an address.
std::span<const ExampleCheck> addressChecks();

}  // namespace host
