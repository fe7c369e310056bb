#include "QRBSourceControlPlugInHost.h"

#include "Connection.h"
#include "QRBSourceControlModelPrivate.h"

namespace Callback = QRBSourceControlPlugInCallbackProtocol;

namespace {

template <class... A>
void send(qrb::Connection& connection, const qrb::Message<qrb::Arguments<A...>, qrb::OneWay>& message,
          const std::tuple<A...>& arguments) {
  connection.sendNotification(message.selector,
                              [&](qrb::ArchiveWriter& writer) { qrb::writeValues(writer, arguments); });
}

}  // namespace

void QRBSourceControlPlugInHost::progressStatus(QRBSourceControlProgressStatus status, double fraction,
                                                const qrb::String& text, const qrb::String& progressIdentifier) const {
  qrb::Dictionary info = {{QRBSourceControlProgressValue, fraction}};
  if (text) info[QRBSourceControlProgressHumanReadableString] = text.str();
  send(*_connection, Callback::progressStatus, {static_cast<std::int64_t>(status), info, progressIdentifier});
}

void QRBSourceControlPlugInHost::incrementalLogStatus(const std::vector<QRBSourceControlLogItemPtr>& items,
                                                      double fraction, const qrb::String& progressIdentifier) const {
  send(*_connection, Callback::incrementalLogStatus,
       {items, qrb::Dictionary{{QRBSourceControlProgressValue, fraction}}, progressIdentifier});
}

int QRBSourceControlPlugInHost::connectionDescriptor() const {
  return _connection->descriptor();
}
