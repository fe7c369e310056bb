#pragma once

#include <string>

namespace host {

struct PlugInFolder {
  /// Empty where there is none, or it is not to be trusted.
  std::string path;
  /// Why it is passed over, for the user; empty where it is not.
  std::string refusal;
};

/// The folder where the user keeps plug-ins of his own: qrbsourcecontrol/plug-ins where his programs have their data.
/// What lies there is executed, so it counts only where nobody else can have put it there.
PlugInFolder userPlugInFolder();

}  // namespace host
