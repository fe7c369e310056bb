#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include <qrb/Export.h>

#include "QRBSourceControlForward.h"
#include "QRBSourceControlPlugInProtocol.h"

namespace qrb {
class Connection;
}

/// A plug-in's way back to the host while it works on a request. Any thread; a host that is gone is not an error here.
class QRB_EXPORT QRBSourceControlPlugInHost {
 public:
  explicit QRBSourceControlPlugInHost(std::shared_ptr<qrb::Connection> connection)
      : _connection(std::move(connection)) {}

  /// Reports what is going on and the fraction done, from 0 to 1. Without a text the host shows its own for the status.
  /// `progressIdentifier` is the one that the request carried; for a request that carries none (fetch, push) the empty
  /// text, which stands for the request that this process serves.
  void progressStatus(QRBSourceControlProgressStatus status, double fraction, const qrb::String& text,
                      const qrb::String& progressIdentifier) const;
  /// Sends a batch of log items ahead of the reply. Waits while the host has too much unread.
  void incrementalLogStatus(const std::vector<QRBSourceControlLogItemPtr>& items, double fraction,
                            const qrb::String& progressIdentifier) const;

  /// The descriptor whose hang-up tells that the host is gone.
  int connectionDescriptor() const;

 private:
  std::shared_ptr<qrb::Connection> _connection;
};
