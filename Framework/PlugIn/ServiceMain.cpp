#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "BackgroundThread.h"
#include "Log.h"
#include "Secrecy.h"
#include "ServiceMainPrivate.h"

namespace qrb {

namespace {

// Takes the connection away from the standard streams, so that neither a tool that the process runs nor a stray print
// can get into it.
FileDescriptor takeSocket() {
  struct stat info {};
  if (::fstat(STDIN_FILENO, &info) != 0 || !S_ISSOCK(info.st_mode)) return {};
  FileDescriptor connection(::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3));
  FileDescriptor nothing(::open("/dev/null", O_RDWR | O_CLOEXEC));
  if (!connection.valid() || !nothing.valid()) return {};
  ::dup2(nothing.get(), STDIN_FILENO);
  ::dup2(STDERR_FILENO, STDOUT_FILENO);
  return connection;
}

}  // namespace

std::shared_ptr<Connection> takeHostConnection(const char* name, Connection::Sharing sharing, const char* usage) {
  // Requests bring passwords and passphrases.
  forbidCoreFiles();
  FileDescriptor socket = takeSocket();
  if (!socket.valid()) {
    std::fputs(usage, stderr);
    return nullptr;
  }
  setLogHandler([](std::string_view source, std::string_view text) {
    std::fprintf(stderr, "%.*s: %.*s\n", static_cast<int>(source.size()), source.data(), static_cast<int>(text.size()),
                 text.data());
  });
  Connection::Options options;
  options.sharing = sharing;
  options.readerMayWait = true;
  options.name = name;
  return Connection::make(std::move(socket), FileDescriptor(), std::move(options));
}

void serveAside(const std::function<void()>& work) {
  if (!startBackgroundThread(work)) work();
}

}  // namespace qrb
