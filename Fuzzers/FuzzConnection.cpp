// A peer that writes anything: whatever it is, each awaited reply is settled exactly once and the reader comes to its
// end.

#include <sys/socket.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <tuple>
#include <vector>

#include "Codec.h"
#include "Connection.h"
#include "FileDescriptor.h"
#include "QRBSourceControlMessage.h"
#include "QRBSourceControlModelPrivate.h"

namespace {

using qrb::ArchiveNode;
using qrb::Connection;

void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "broken: %s\n", what);
  std::abort();
}

/// Writes as much as the socket takes; the rest of a very long input is left out.
void write(const qrb::FileDescriptor& socket, const std::uint8_t* data, std::size_t size) {
  while (size > 0) {
    ssize_t count = ::send(socket.get(), data, size, MSG_DONTWAIT | MSG_NOSIGNAL);
    if (count <= 0) return;
    data += count;
    size -= static_cast<std::size_t>(count);
  }
}

struct Conversation {
  int settled = 0;
  int interruptions = 0;
  bool invalidated = false;

  void settle() {
    require(!invalidated, "a handler was called after the connection was invalidated");
    ++settled;
  }
};

using History = std::tuple<std::vector<QRBSourceControlLogItemPtr>>;
using Statuses = std::tuple<QRBSourceControlPathStatusesPtr, QRBSourceControlPathStatusesPtr>;
using Batch = std::tuple<std::vector<QRBSourceControlLogItemPtr>, qrb::Dictionary, qrb::String>;

template <class Values>
void request(Connection& connection, Conversation& conversation, bool endsWithReply) {
  connection.sendRequest(
      "request", [](qrb::ArchiveWriter& writer) { writer.writeArrayHeader(0); },
      [&, endsWithReply](ArchiveNode error, ArchiveNode result) {
        qrb::Codec<qrb::Error>::read(error);
        qrb::readValues<Values>(result);
        conversation.settle();
        if (!endsWithReply) return;
        conversation.invalidated = true;
        connection.invalidate();
      },
      [&] { conversation.settle(); });
}

void converse(const std::uint8_t* data, std::size_t size, Connection::Sharing sharing, bool endsWithReply) {
  qrb::DescriptorPair sockets = qrb::makeSocketPair();
  require(static_cast<bool>(sockets), "no sockets");
  Connection::Options options;
  options.sharing = sharing;
  auto connection = Connection::make(std::move(sockets.first), qrb::FileDescriptor(), options);
  Conversation conversation;
  connection->setCallHandler([&](const Connection::IncomingCall& call) {
    require(!conversation.invalidated, "a call was handled after the connection was invalidated");
    qrb::readValues<Batch>(call.arguments);
    // Where a host refuses a request, this side answers, so that answers meet all inputs, too.
    if (call.identifier) connection->sendResponse(*call.identifier, qrb::Error("domain", -1, {}), nullptr);
  });
  connection->setInterruptionHandler([&] { ++conversation.interruptions; });
  request<History>(*connection, conversation, endsWithReply);
  request<Statuses>(*connection, conversation, endsWithReply);
  write(sockets.second, data, size);
  ::shutdown(sockets.second.get(), SHUT_WR);
  connection->run();
  if (conversation.invalidated) {
    require(conversation.interruptions == 0, "an invalidated connection was told of its end");
  } else {
    require(conversation.settled == 2, "a reply was not settled exactly once");
    require(conversation.interruptions <= 1, "the connection was lost twice");
  }
  // Later ones are told at once, or nothing where the connection was invalidated.
  int before = conversation.settled;
  if (!conversation.invalidated) {
    request<History>(*connection, conversation, endsWithReply);
    require(conversation.settled == before + 1, "a request to a lost connection was not settled at once");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  for (auto sharing : {Connection::Sharing::perConnection, Connection::Sharing::perMessage}) {
    for (bool endsWithReply : {false, true}) converse(data, size, sharing, endsWithReply);
  }
  return 0;
}
