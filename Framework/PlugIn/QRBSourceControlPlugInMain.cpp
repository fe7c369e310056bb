#include "QRBSourceControlPlugInMain.h"

#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include "PlugInDispatchPrivate.h"
#include "ServiceMainPrivate.h"
#include "UnservedPrivate.h"

namespace {

// Undoing what was half done takes less time than this.
constexpr unsigned int kSecondsAfterHost = 5;

/// The host has the system kill its plug-ins when it dies itself. One that waits for its host or for a tool notices by
/// itself and tidies up first, so it gets the time for that; one that does neither is ended after it, with its tools.
void outliveHostForAMoment() {
  int atHostsEnd = 0;
  if (::prctl(PR_GET_PDEATHSIG, &atHostsEnd) != 0 || atHostsEnd == 0) return;
  int hostIsGone = SIGRTMAX - 1;
  struct sigaction action {};
  action.sa_flags = SA_RESTART;
  action.sa_handler = [](int) { ::kill(0, SIGKILL); };
  ::sigaction(SIGALRM, &action, nullptr);
  action.sa_handler = [](int) { ::alarm(kSecondsAfterHost); };
  ::sigaction(hostIsGone, &action, nullptr);
  ::prctl(PR_SET_PDEATHSIG, hostIsGone);
}

}  // namespace

int QRBSourceControlRunPlugIn(std::shared_ptr<QRBSourceControlPlugInPrimary> plugIn) {
  auto connection = qrb::takeHostConnection(
      "plug-in", qrb::Connection::Sharing::perConnection,
      "This is a source control plug-in. A host starts it for each request; try \"qrbscm systems\".\n");
  if (connection == nullptr) return 2;
  outliveHostForAMoment();
  qrb::answerForBaseClass();
  plugIn->setHost(std::make_shared<QRBSourceControlPlugInHost>(connection));
  std::weak_ptr<qrb::Connection> weak = connection;
  connection->setCallHandler([plugIn, weak](const qrb::Connection::IncomingCall& call) {
    if (auto open = weak.lock()) qrb::dispatchToPlugIn(*plugIn, open, call);
  });
  connection->run();
  return 1;
}
