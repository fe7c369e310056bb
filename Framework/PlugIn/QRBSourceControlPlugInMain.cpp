#include "QRBSourceControlPlugInMain.h"

#include "PlugInDispatchPrivate.h"
#include "ServiceMainPrivate.h"

int QRBSourceControlRunPlugIn(std::shared_ptr<QRBSourceControlPlugInPrimary> plugIn) {
  auto connection = qrb::takeHostConnection(
      "plug-in", qrb::Connection::Sharing::perConnection,
      "This is a source control plug-in. A host starts it for each request; try \"qrbscm systems\".\n");
  if (connection == nullptr) return 2;
  plugIn->setHost(std::make_shared<QRBSourceControlPlugInHost>(connection));
  std::weak_ptr<qrb::Connection> weak = connection;
  connection->setCallHandler([plugIn, weak](const qrb::Connection::IncomingCall& call) {
    if (auto open = weak.lock()) qrb::dispatchToPlugIn(*plugIn, open, call);
  });
  connection->run();
  return 1;
}
