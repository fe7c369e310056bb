#pragma once

#include <string>
#include <vector>

#include <qrb/Export.h>

namespace qrb {

/// Where services are looked for: the directories that the host registered, in the order of registration, then the
/// library's own. No environment variable and no configuration file takes part, so nothing outside the host decides
/// what it runs. Any thread.
class QRB_EXPORT ServiceDirectories {
 public:
  /// `directory` is absolute. Services launched from now on are looked for there.
  static void registerDirectory(std::string directory);
  /// Takes back every registration.
  static void unregisterAll();
  /// The directories in order, the library's own last.
  static std::vector<std::string> directories();
  /// The executable of that name in the first directory that has a file of the name; empty when none has. The name is
  /// a bare one: with a slash in it nothing is found.
  static std::string executableNamed(const std::string& serviceName);
  /// The names of all that could be launched, each once: in the order of the directories, and of the names in each.
  static std::vector<std::string> executableNames();
  /// A program that was installed with the library, wherever a host has services looked for.
  static std::string ownProgram(const std::string& name);
  /// Whether a file lies in the library's own directory, as the services do that were installed with it.
  static bool isOwn(const std::string& path);
};

}  // namespace qrb
