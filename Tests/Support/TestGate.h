#pragma once

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include "FileDescriptor.h"

namespace qrb::test {

/// A place where programs that a test starts, such as the scripts of its servers, wait until the test lets them go on:
/// so that the test can look around at a known moment. Open at first.
class TestGate {
 public:
  /// Works in the folder, which must exist.
  explicit TestGate(const std::string& folder) : _folder(folder) {
    for (const char* name : {"/arrived", "/released"}) {
      std::string path = folder + name;
      if (::mkfifo(path.c_str(), 0666) != 0 || ::chmod(path.c_str(), 0666) != 0) {
        throw std::runtime_error("cannot make " + path);
      }
    }
    // Open for both, so that no opening waits for the other side.
    _arrived = FileDescriptor(::open((folder + "/arrived").c_str(), O_RDWR | O_CLOEXEC));
    _released = FileDescriptor(::open((folder + "/released").c_str(), O_RDWR | O_CLOEXEC));
  }

  /// A line of a shell script that waits here while the gate is closed.
  std::string script() const {
    return "if [ -e '" + _folder + "/closed' ]; then echo x >'" + _folder + "/arrived'; read -r released <'" + _folder +
           "/released'; fi\n";
  }

  void close() const { std::ofstream(_folder + "/closed") << "x"; }
  /// Waits until a program is at the closed gate; false when none comes.
  bool awaitArrival() const {
    pollfd ready{_arrived.get(), POLLIN, 0};
    char line[2];
    constexpr int patienceInMilliseconds = 60'000;
    return ::poll(&ready, 1, patienceInMilliseconds) == 1 && ::read(_arrived.get(), line, sizeof line) > 0;
  }
  /// Opens the gate, for the one that waits and for those that come.
  void open() const {
    std::filesystem::remove(_folder + "/closed");
    writeFully(_released.get(), "x\n");
  }

 private:
  const std::string _folder;
  FileDescriptor _arrived;
  FileDescriptor _released;
};

}  // namespace qrb::test
