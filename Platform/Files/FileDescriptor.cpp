#include "FileDescriptor.h"

#include <fcntl.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

namespace qrb {

void FileDescriptor::reset(int descriptor) {
  if (_descriptor >= 0) {
    int kept = errno;
    // Linux has released the number even when close reports EINTR; a second close could hit another thread's file.
    ::close(_descriptor);
    errno = kept;
  }
  _descriptor = descriptor < 0 ? -1 : descriptor;
}

bool FileDescriptor::setNonBlocking(bool nonBlocking) const {
  int flags = ::fcntl(_descriptor, F_GETFL);
  if (flags < 0) {
    return false;
  }
  int wanted = nonBlocking ? flags | O_NONBLOCK : flags & ~O_NONBLOCK;
  return wanted == flags || ::fcntl(_descriptor, F_SETFL, wanted) == 0;
}

DescriptorPair makePipe() {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) {
    return {};
  }
  return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

DescriptorPair makeSocketPair() {
  int ends[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
    return {};
  }
  return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

FileDescriptor makeEvent() {
  return FileDescriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
}

void signalEvent(const FileDescriptor& event) {
  int kept = errno;
  std::uint64_t one = 1;
  // EAGAIN means the counter is at its maximum: the event is signalled already.
  while (::write(event.get(), &one, sizeof one) < 0 && errno == EINTR) {
  }
  errno = kept;
}

bool clearEvent(const FileDescriptor& event) {
  std::uint64_t count = 0;
  ssize_t got;
  do {
    got = ::read(event.get(), &count, sizeof count);
  } while (got < 0 && errno == EINTR);
  return got == sizeof count && count > 0;
}

bool writeFully(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
    if (written < 0) {
      if (errno == EINTR) {
        continue;
      }
      return false;
    }
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

}  // namespace qrb
