#include "FileHandle.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>

#include "RunLoop.h"

namespace qrb {

namespace {

constexpr std::size_t kLargestPiece = std::size_t{64} << 10;

}  // namespace

std::shared_ptr<FileHandle> FileHandle::make(FileDescriptor descriptor) {
  return std::shared_ptr<FileHandle>(new FileHandle(std::move(descriptor)));
}

std::string FileHandle::availableData() {
  std::string data(kLargestPiece, '\0');
  for (;;) {
    ssize_t count = ::read(_descriptor.get(), data.data(), data.size());
    if (count >= 0) {
      data.resize(static_cast<std::size_t>(count));
      return data;
    }
    if (errno == EAGAIN || errno == EWOULDBLOCK) {
      pollfd readable{_descriptor.get(), POLLIN, 0};
      ::poll(&readable, 1, -1);
    } else if (errno != EINTR) {
      throw FileHandleError(errno, std::generic_category(), "a file handle cannot be read");
    }
  }
}

void FileHandle::waitForDataInBackgroundAndNotify() {
  RunLoop::current().wait(shared_from_this());
}

ObserverToken FileHandle::observeDataAvailable(std::function<void()> callback) {
  return _dataAvailable.observe(std::move(callback));
}

}  // namespace qrb
