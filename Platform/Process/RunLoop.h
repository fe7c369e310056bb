#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <vector>

#include "Export.h"

namespace qrb {

class FileHandle;

/// A thread's own loop: waits for many file handles at once and tells their observers, all on that thread.
class QRB_EXPORT RunLoop {
 public:
  /// The calling thread's.
  static RunLoop& current();
  RunLoop(const RunLoop&) = delete;
  RunLoop& operator=(const RunLoop&) = delete;

  /// Waits until at least one handle is ready, tells the observers of those that are, and returns how many handles that
  /// were; 0 when nothing is waited for, or not within the timeout. Without a timeout it waits for as long as it takes.
  /// What an observer throws comes out here; handles whose turn had not come yet keep waiting.
  std::size_t runOnce(std::optional<std::chrono::milliseconds> timeout = std::nullopt);
  /// Until nothing is waited for any more.
  void run();

 private:
  friend class FileHandle;
  RunLoop() = default;
  void wait(std::shared_ptr<FileHandle> handle);
  bool stopWaitingFor(const FileHandle* handle);

  std::vector<std::shared_ptr<FileHandle>> _waiting;
};

}  // namespace qrb
