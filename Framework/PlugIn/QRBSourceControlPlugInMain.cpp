#include "QRBSourceControlPlugInMain.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "Log.h"
#include "PlugInDispatch.h"

namespace {

// Takes the connection away from descriptors 0 and 1, so that neither a tool that the plug-in runs nor a stray print
// can get into it.
qrb::FileDescriptor takeConnection() {
  struct stat info {};
  if (::fstat(STDIN_FILENO, &info) != 0 || !S_ISSOCK(info.st_mode)) return {};
  qrb::FileDescriptor connection(::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3));
  qrb::FileDescriptor nothing(::open("/dev/null", O_RDWR | O_CLOEXEC));
  if (!connection.valid() || !nothing.valid()) return {};
  ::dup2(nothing.get(), STDIN_FILENO);
  ::dup2(STDERR_FILENO, STDOUT_FILENO);
  return connection;
}

}  // namespace

int QRBSourceControlRunPlugIn(std::shared_ptr<QRBSourceControlPlugInPrimary> plugIn) {
  qrb::FileDescriptor socket = takeConnection();
  if (!socket.valid()) {
    std::fputs("This is a source control plug-in. A host starts it for each request; try \"qrbscm systems\".\n",
               stderr);
    return 2;
  }
  qrb::setLogHandler([](std::string_view source, std::string_view text) {
    std::fprintf(stderr, "%.*s: %.*s\n", static_cast<int>(source.size()), source.data(), static_cast<int>(text.size()),
                 text.data());
  });
  qrb::Connection::Options options;
  options.readerMayWait = true;
  options.name = "plug-in";
  auto connection = qrb::Connection::make(std::move(socket), qrb::FileDescriptor(), std::move(options));
  plugIn->setHost(std::make_shared<QRBSourceControlPlugInHost>(connection));
  std::weak_ptr<qrb::Connection> weak = connection;
  connection->setCallHandler([plugIn, weak](const qrb::Connection::IncomingCall& call) {
    if (auto open = weak.lock()) qrb::dispatchToPlugIn(*plugIn, open, call);
  });
  connection->run();
  return 1;
}
