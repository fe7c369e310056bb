#include "PlugInDispatchPrivate.h"

#include "MessageDispatchPrivate.h"
#include "QRBSourceControlModelPrivate.h"
#include "QRBSourceControlPlugInProtocol.h"

namespace qrb {

namespace Protocol = QRBSourceControlPlugInProtocol;

namespace {

using PlugIn = QRBSourceControlPlugInPrimary;

template <const auto& message, auto function>
constexpr auto to = route<PlugIn, message, function>();

constexpr Route<PlugIn> routes[] = {
#define QRB_MESSAGE(name, ...) to<Protocol::name, &PlugIn::name>,
#include "QRBSourceControlPlugInMessages.h"
};

}  // namespace

void dispatchToPlugIn(QRBSourceControlPlugInPrimary& plugIn, const std::shared_ptr<Connection>& connection,
                      const Connection::IncomingCall& call) {
  if (call.method == Protocol::operationsFinished.selector) return plugIn.operationsFinished();
  dispatch(std::span<const Route<PlugIn>>(routes), plugIn, connection, call);
}

}  // namespace qrb
