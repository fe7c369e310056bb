#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_map>

#include "ArchiveReader.h"
#include "ArchiveWriter.h"
#include "DeliveryBudget.h"
#include "Error.h"
#include "FileDescriptor.h"
#include "MessageScanner.h"

namespace qrb {

/// One end of a MessagePack-RPC conversation over a connected stream socket; both ends may send.
///
/// One reader serves the connection: replies, incoming calls and loss are handled there, in the order in which they
/// came. Sending is possible from any thread; messages go out whole and in the order of the calls. The peer is not
/// trusted: a message that is malformed, beyond the limits or of a type that its place does not admit ends the
/// connection as if the peer had died. See Documentation/protocol.md for what crosses the wire.
class Connection : public std::enable_shared_from_this<Connection> {
 public:
  /// Whether objects and keys once sent may be named by number in later messages. For a connection that serves one
  /// request, where a reply names what was streamed before it; a connection that is kept for good must not remember.
  enum class Sharing { perConnection, perMessage };

  struct Options {
    MessageLimits limits;
    Sharing sharing = Sharing::perConnection;
    /// Output that the peer has not taken yet and beyond which a sender is made to wait.
    std::size_t highWaterMark = std::size_t{1} << 20;
    /// The most that may wait for the peer in all. A message beyond it is not sent. (What comes in waits only until its
    /// message is whole, and so within the limit of one message.)
    std::size_t mostQueuedBytes = std::size_t{512} << 20;
    /// Whether a send on the reader's own thread may wait too. True for a plug-in, which works on its reader; the
    /// host's reader never waits, so that two ends cannot wait for each other.
    bool readerMayWait = false;
    /// For the log.
    std::string name;
  };

  /// A message from the peer, on the reader. `arguments` is valid during the call only.
  struct IncomingCall {
    std::string_view method;
    ArchiveNode arguments;
    /// Absent for a one-way message.
    std::optional<std::uint32_t> identifier;
  };

  /// Why a connection is over.
  struct End {
    enum class Kind {
      /// It is not over, or was ended from this side.
      none,
      /// The peer is gone.
      lost,
      /// The peer broke the protocol.
      refused,
      /// The peer delivered more for one request than its budget admits.
      exceeded,
      /// This side lacked memory, threads or descriptors.
      scarce,
    };
    Kind kind = Kind::none;
    /// For people, what happened and what to do; empty where the kind says it all.
    std::string detail = {};
    /// The method of the request that was to be answered next; empty where none was.
    std::string awaited = {};
  };

  using Encoder = std::function<void(ArchiveWriter&)>;
  /// Receives the reply's error and result nodes, on the reader. May throw ArchiveError while it decodes them, before
  /// it acts on anything: then the request counts as failed and the connection ends.
  /// Handlers must not let any other exception out.
  using ReplyHandler = std::function<void(ArchiveNode error, ArchiveNode result)>;
  /// Called instead of the reply handler when no reply will come.
  using FailureHandler = std::function<void()>;
  using CallHandler = std::function<void(const IncomingCall&)>;

  /// Takes the socket. `peerExit` is a descriptor that becomes readable when the peer's process is over (a pidfd), or
  /// empty: descendants of a dead peer may hold its end of the socket open, so end of file alone does not tell.
  static std::shared_ptr<Connection> make(FileDescriptor socket, FileDescriptor peerExit, Options options);
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  /// The two handlers are set before the connection is started. The call handler may throw ArchiveError: the connection
  /// ends then.
  void setCallHandler(CallHandler handler);
  /// Called once on the reader when the connection is lost while no reply is awaited. (Awaited replies are told by
  /// their own failure handlers.)
  void setInterruptionHandler(FailureHandler handler);

  /// Starts the reader on a thread of its own, which keeps the connection alive until it is lost or invalidated. Where
  /// no thread is to be had the connection is over: each request on it fails at once, and the interruption handler is
  /// not called.
  void resume();
  /// Makes the calling thread the reader; returns when the connection is lost or invalidated.
  void run();

  /// Sends a request. Exactly one of the handlers is called, once, on the reader; on the calling thread, before this
  /// returns, when the connection is over already; none after `invalidate`. Throws ArchiveError when the arguments hold
  /// an object that must not be archived, or more waits for the peer than may; nothing is sent then and no handler
  /// called. `budget` is what the peer may deliver for it: on a connection that serves one request, callbacks and reply
  /// together; on one that is kept, the reply. A peer that delivers more ends the connection.
  void sendRequest(std::string_view method, const Encoder& arguments, ReplyHandler onReply,
                   const FailureHandler& onFailure, std::size_t budget = kRequestBudget);
  /// Whether a sender is held back by a peer that leaves too much unread.
  enum class Backpressure { waits, ignored };
  /// Sends a one-way message; false when the connection is over. Throws as sendRequest.
  bool sendNotification(std::string_view method, const Encoder& arguments,
                        Backpressure backpressure = Backpressure::waits);
  /// Answers an incoming request; false when the connection is over. `result` is absent on failure. Throws as above.
  bool sendResponse(std::uint32_t identifier, const Error& error, const Encoder& result);

  /// Ends the connection. Handlers that have not begun are never called; one that is running goes on. What was sent
  /// before is still delivered where the socket takes it at once. Any thread, any number of times.
  void invalidate();

  /// Why the connection is over. Any thread; known before a failure or interruption handler is called.
  End end() const;

  /// The descriptor to watch for the peer's end (POLLRDHUP) by one who holds up the reader. Owned by the connection.
  int descriptor() const noexcept { return _socket.get(); }

 private:
  struct Pending {
    std::string method;
    ReplyHandler onReply;
    FailureHandler onFailure;
  };
  enum class Input { more, over };

  Connection(FileDescriptor socket, FileDescriptor peerExit, Options options);

  bool send(const Encoder& message, Backpressure backpressure = Backpressure::waits);
  void flush();
  void waitForRoom(std::unique_lock<std::mutex>& lock);
  void readLoop();
  Input readAvailable(bool untilEmpty);
  bool takeMessages();
  bool handleMessage(std::string bytes);
  void handleRoot(ArchiveNode root);
  void handleResponse(ArchiveNode root);
  void handleCall(ArchiveNode root, bool isRequest);
  std::optional<Pending> takePending(std::uint32_t identifier);
  bool isInvalidated();
  bool fits(std::size_t cost) const;
  bool refuse(std::string_view reason, std::optional<std::size_t> offset);
  void failAnswered();
  bool exceed();
  void endForScarcity();
  void setEnd(End::Kind kind, std::string_view what = {}, std::string_view advice = {});
  void lose();

  FileDescriptor _socket;
  FileDescriptor _peerExit;
  FileDescriptor _wake;
  const Options _options;
  CallHandler _callHandler;
  FailureHandler _interruptionHandler;
  std::atomic<std::thread::id> _reader;

  mutable std::mutex _stateMutex;  // guards the next five
  std::unordered_map<std::uint32_t, Pending> _pending;
  std::uint32_t _lastIdentifier = 0;
  bool _lost = false;
  bool _invalidated = false;
  End _end;

  std::mutex _writeMutex;  // guards the next four; never taken together with _stateMutex
  std::string _output;
  std::size_t _outputSent = 0;
  bool _outputBroken = false;
  std::unique_ptr<ArchiveWriterTables> _writerTables;

  // The reader's own.
  std::size_t _readSize;
  std::string _input;
  std::size_t _inputTaken = 0;
  MessageScanner _scanner;
  DeliveryBudget _budget{kRequestBudget};
  /// The request whose response is being read; it fails where that cannot be.
  std::optional<Pending> _answered;
  std::unique_ptr<ArchiveReaderTables> _readerTables;
};

}  // namespace qrb
