#pragma once

#include <optional>
#include <string>

#include "Process.h"

namespace qrb {

/// An empty folder to fill with a new working copy, which appears at its place when it is whole and else not at all:
/// a process of its own removes the folder when this object, or the process that has it, ends before keep(). One
/// thread.
class CheckoutGuard {
 public:
  /// For a working copy at an absolute path that is free, or an empty folder. Folders that lead there are made. None
  /// with the reason where that fails, and for a place, links followed, in a folder for metadata or instead of one.
  static std::optional<CheckoutGuard> begin(const std::string& target, std::string& reason);

  CheckoutGuard(CheckoutGuard&&) = default;
  CheckoutGuard& operator=(CheckoutGuard&&) = delete;
  /// Returns when nothing is left of a folder that was not kept.
  ~CheckoutGuard();

  /// The folder to fill, beside the target, so that moving it costs nothing.
  const std::string& folder() const { return _folder; }
  /// Moves the folder to the target. 0, or the number of the error, such as that something else is there by now.
  int keep();

 private:
  CheckoutGuard(Process process, FileDescriptor connection)
      : _process(std::move(process)), _connection(std::move(connection)) {}
  /// What the guard says next; where it ended with an error, that.
  std::string readAnswer();

  Process _process;
  FileDescriptor _connection;
  std::string _folder;
};

}  // namespace qrb
