#pragma once

#include <chrono>
#include <filesystem>
#include <string>

#include "Session.h"

namespace host {

/// What is to be checked.
struct PlugInCheckOptions {
  /// The program, whose name is its identifier.
  std::filesystem::path plugIn;
  /// An example to look at; empty for none.
  std::filesystem::path workingCopy;
  /// An address to ask about; empty for none.
  std::string url;
  /// For each answer, and for each end of a process.
  std::chrono::milliseconds limit{5000};
};

/// Holds a plug-in against Documentation/protocol.md, and prints what holds and what does not. Fails where something
/// does not. What changes anything is asked about an empty folder only.
ExitStatus checkPlugIn(Session& session, const PlugInCheckOptions& options);

}  // namespace host
