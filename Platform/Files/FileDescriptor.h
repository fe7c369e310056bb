#pragma once

#include <cstddef>
#include <string_view>
#include <utility>

#include "Export.h"

namespace qrb {

/// Owns one file descriptor and closes it when destroyed. Not synchronised: one thread at a time, as for any value.
class QRB_EXPORT FileDescriptor {
 public:
  FileDescriptor() = default;
  /// Takes ownership of `descriptor`; a negative number makes an empty owner.
  explicit FileDescriptor(int descriptor) : _descriptor(descriptor < 0 ? -1 : descriptor) {}
  FileDescriptor(FileDescriptor&& other) noexcept : _descriptor(std::exchange(other._descriptor, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    if (this != &other) {
      reset(other.release());
    }
    return *this;
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor() { reset(); }

  /// The descriptor, still owned here; -1 when empty.
  int get() const { return _descriptor; }
  bool valid() const { return _descriptor >= 0; }
  /// Hands the descriptor to the caller, who closes it.
  [[nodiscard]] int release() { return std::exchange(_descriptor, -1); }
  /// Closes what is held and takes `descriptor` instead. Keeps errno.
  void reset(int descriptor = -1);

  /// Switches O_NONBLOCK; false with errno set when the system refuses.
  bool setNonBlocking(bool nonBlocking) const;

 private:
  int _descriptor = -1;
};

/// Two connected descriptors, both close-on-exec; both empty, with errno set, when the system refused to make them.
struct DescriptorPair {
  FileDescriptor first;
  FileDescriptor second;
  explicit operator bool() const { return first.valid() && second.valid(); }
};

/// A pipe: `first` is its reading end, `second` its writing end.
QRB_EXPORT DescriptorPair makePipe();
/// Two connected AF_UNIX stream sockets.
QRB_EXPORT DescriptorPair makeSocketPair();
/// An eventfd with count 0, close-on-exec and non-blocking; empty with errno set when the system refuses.
QRB_EXPORT FileDescriptor makeEvent();
/// Adds one to an eventfd, which makes it readable. Async-signal-safe; any thread.
QRB_EXPORT void signalEvent(const FileDescriptor& event);
/// Takes an eventfd's count back to 0; true when it had been signalled.
QRB_EXPORT bool clearEvent(const FileDescriptor& event);

/// Writes all bytes to a blocking descriptor, going on after interruptions; false with errno set on failure.
QRB_EXPORT bool writeFully(int descriptor, std::string_view bytes);

}  // namespace qrb
