#pragma once

#include <functional>
#include <memory>
#include <span>

#include "MessageDispatchPrivate.h"

namespace qrb {

/// The connection that a host launched this process with, taken away from descriptors 0 and 1; null, with `usage` said
/// on stderr, when no host did. What the process prints and logs goes to stderr from then on.
std::shared_ptr<Connection> takeHostConnection(const char* name, Connection::Sharing sharing, const char* usage);

/// Works on a request on a thread of its own, so that the next message is read meanwhile; on the calling thread when
/// the system has none to give.
void serveAside(const std::function<void()>& work);

/// Serves a host's messages with the functions of the routes, one message after another on the calling thread, until
/// the host is gone. Returns the exit status; to be handed to `_exit`, since requests may be under way on other
/// threads.
template <class Server>
int runHelperService(Server& server, std::span<const Route<Server>> routes, const char* name) {
  auto connection =
      takeHostConnection(name, Connection::Sharing::perMessage,
                         "This is a helper service of source control. A host starts it when it is needed.\n");
  if (connection == nullptr) return 2;
  std::weak_ptr<Connection> weak = connection;
  connection->setCallHandler([&server, routes, weak](const Connection::IncomingCall& call) {
    if (auto open = weak.lock()) dispatch(routes, server, open, call);
  });
  connection->run();
  return 0;
}

}  // namespace qrb
