#pragma once

#include <functional>
#include <memory>
#include <string>
#include <system_error>

#include "Export.h"
#include "FileDescriptor.h"
#include "Observer.h"

namespace qrb {

/// What FileHandle throws when it is closed or the system refuses to read.
class QRB_EXPORT FileHandleError : public std::system_error {
 public:
  using std::system_error::system_error;
};

/// A descriptor that is read piece by piece when something has come. One thread at a time.
class QRB_EXPORT FileHandle : public std::enable_shared_from_this<FileHandle> {
 public:
  /// Owns the descriptor; an empty one makes a closed handle.
  static std::shared_ptr<FileHandle> make(FileDescriptor descriptor);

  /// What has come, as far as one read takes it; waits for the first byte where nothing has. Empty at the end of the
  /// file. Throws FileHandleError.
  std::string availableData();

  /// Lets the calling thread's run loop tell the observers once, when there is something to read, when the end has been
  /// reached, or when the handle has been closed. Until then the run loop holds the handle. Asking again before has no
  /// effect.
  void waitForDataInBackgroundAndNotify();
  /// Called by the run loop of the thread that waits. Observers share what comes: the first to read it has it.
  [[nodiscard]] ObserverToken observeDataAvailable(std::function<void()> callback);

  void close() { _descriptor.reset(); }
  /// Owned here; -1 when closed.
  int descriptor() const { return _descriptor.get(); }

 private:
  friend class RunLoop;
  explicit FileHandle(FileDescriptor descriptor) : _descriptor(std::move(descriptor)) {}

  FileDescriptor _descriptor;
  ObserverList<> _dataAvailable;
};

}  // namespace qrb
