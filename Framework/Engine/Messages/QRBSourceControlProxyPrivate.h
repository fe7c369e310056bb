#pragma once

#include <sys/types.h>

#include <functional>
#include <memory>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "Connection.h"
#include "QRBSourceControlForward.h"
#include "QRBSourceControlMessage.h"

namespace qrb {

/// What a peer may deliver for a request with such a reply. What has an item per log entry or line is as long as the
/// repository's history; everything else is as long as its working copy at most.
template <class... R>
constexpr std::size_t deliveryBudget(std::type_identity<std::tuple<R...>> /*reply*/) {
  return (std::is_same_v<R, std::vector<QRBSourceControlLogItemPtr>> || ... || false) ||
                 (std::is_same_v<R, std::vector<QRBSourceControlBlameItemPtr>> || ... || false)
             ? kHistoryBudget
             : kRequestBudget;
}

}  // namespace qrb

/// Sends typed messages to the process at the other end of a connection. Cheap to copy; any thread.
class QRBSourceControlProxy {
 public:
  /// No proxy: false, and nothing may be sent through it.
  QRBSourceControlProxy() = default;
  /// `errorHandler` is called, once per message, for a request that will have no reply.
  QRBSourceControlProxy(std::shared_ptr<qrb::Connection> connection, std::function<void()> errorHandler,
                        pid_t processGroup = 0)
      : _connection(std::move(connection)), _errorHandler(std::move(errorHandler)), _processGroup(processGroup) {}

  explicit operator bool() const { return _connection != nullptr; }

  /// The group of the process at the other end and its tools; 0 where it is not known.
  pid_t processGroup() const { return _processGroup; }

  /// Sends a request; either `completion` is called with the reply or the error handler, on the reply thread, unless
  /// the connection is invalidated first. When the process is gone already, or an argument must not be archived, the
  /// error handler is called before this returns.
  template <class... A, class ReplyTypes, class Completion>
  void send(const qrb::Message<qrb::Arguments<A...>, ReplyTypes>& message, const std::tuple<A...>& arguments,
            Completion completion) const {
    using ReplyTuple = typename qrb::Message<qrb::Arguments<A...>, ReplyTypes>::ReplyTuple;
    constexpr bool canFail = qrb::Message<qrb::Arguments<A...>, ReplyTypes>::canFail;
    auto onReply = [completion = std::move(completion)](qrb::ArchiveNode error, qrb::ArchiveNode result) {
      qrb::Error failure = qrb::Codec<qrb::Error>::read(error);
      auto values = qrb::readValues<ReplyTuple>(result);
      std::apply(
          [&](const auto&... value) {
            if constexpr (canFail) {
              completion(value..., failure);
            } else {
              completion(value...);
            }
          },
          values);
    };
    sendRequest(
        message.selector, [&](qrb::ArchiveWriter& writer) { qrb::writeValues(writer, arguments); }, std::move(onReply),
        qrb::deliveryBudget(std::type_identity<ReplyTuple>()));
  }

  /// Sends a request whose arguments the caller writes and whose reply it reads itself.
  void sendRequest(std::string_view selector, const qrb::Connection::Encoder& arguments,
                   qrb::Connection::ReplyHandler onReply, std::size_t deliveryBudget) const {
    try {
      _connection->sendRequest(selector, arguments, std::move(onReply), _errorHandler, deliveryBudget);
    } catch (const qrb::ArchiveError&) {
      _errorHandler();
    }
  }

  /// Sends a one-way message, never waiting for the peer; nothing tells whether it arrived.
  template <class... A>
  void send(const qrb::Message<qrb::Arguments<A...>, qrb::OneWay>& message, const std::tuple<A...>& arguments) const {
    _connection->sendNotification(
        message.selector, [&](qrb::ArchiveWriter& writer) { qrb::writeValues(writer, arguments); },
        qrb::Connection::Backpressure::ignored);
  }

 private:
  std::shared_ptr<qrb::Connection> _connection;
  std::function<void()> _errorHandler;
  pid_t _processGroup = 0;
};
