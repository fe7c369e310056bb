#include "Connection.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "BackgroundThread.h"
#include "Codec.h"
#include "Log.h"
#include "Scarcity.h"

namespace qrb {

namespace {

constexpr std::uint64_t kRequest = 0;
constexpr std::uint64_t kResponse = 1;
constexpr std::uint64_t kNotification = 2;

// A reply is mostly small, a history is not: reads begin small and grow as long as they come back full.
constexpr std::size_t kLeastReadSize = std::size_t{8} << 10;
constexpr std::size_t kMostReadSize = std::size_t{512} << 10;

std::uint32_t messageIdentifier(ArchiveNode node) {
  std::uint64_t identifier = node.unsignedInteger();
  if (identifier > 0xffffffffu) throw ArchiveError("a request identifier over 32 bits");
  return static_cast<std::uint32_t>(identifier);
}

}  // namespace

std::shared_ptr<Connection> Connection::make(FileDescriptor socket, FileDescriptor peerExit, Options options) {
  return std::shared_ptr<Connection>(new Connection(std::move(socket), std::move(peerExit), std::move(options)));
}

Connection::Connection(FileDescriptor socket, FileDescriptor peerExit, Options options)
    : _socket(std::move(socket)),
      _peerExit(std::move(peerExit)),
      _wake(makeEvent()),
      _options(std::move(options)),
      _writerTables(std::make_unique<ArchiveWriterTables>()),
      _readSize(kLeastReadSize),
      _scanner(_options.limits),
      _readerTables(std::make_unique<ArchiveReaderTables>()) {
  // Without a way to be woken or a socket to read, the connection is over before it begins.
  _lost = !_wake.valid() || !_socket.valid();
}

Connection::~Connection() = default;

void Connection::setCallHandler(CallHandler handler) {
  _callHandler = std::move(handler);
}

void Connection::setInterruptionHandler(FailureHandler handler) {
  _interruptionHandler = std::move(handler);
}

void Connection::resume() {
  if (_lost) return;
  if (startBackgroundThread([self = shared_from_this()] { self->run(); })) return;
  setEnd(End::Kind::scarce);
  // Whoever sends is told of it. The handlers are not called from here, since the caller may hold what they need.
  std::lock_guard lock(_stateMutex);
  _lost = true;
}

void Connection::run() {
  _reader = std::this_thread::get_id();
  if (!unlessScarce([this] { readLoop(); })) endForScarcity();
  // Handlers hold whoever made the connection; a finished connection must not hold them back.
  _callHandler = nullptr;
  _interruptionHandler = nullptr;
  _readerTables.reset();
}

// Sending

void Connection::sendRequest(std::string_view method, const Encoder& arguments, ReplyHandler onReply,
                             const FailureHandler& onFailure, std::size_t budget) {
  _budget.setLimit(budget);
  std::uint32_t identifier = 0;
  bool lost = false;
  {
    std::lock_guard lock(_stateMutex);
    if (_invalidated) return;
    lost = _lost;
    if (!lost) {
      identifier = ++_lastIdentifier;
      _pending.emplace(identifier, Pending{std::string(method), std::move(onReply), onFailure});
    }
  }
  if (lost) return onFailure();
  try {
    send([&](ArchiveWriter& writer) {
      writer.writeArrayHeader(4);
      writer.writeUnsigned(kRequest);
      writer.writeUnsigned(identifier);
      writer.writeString(method);
      arguments(writer);
    });
  } catch (...) {
    // Where the reader has failed it meanwhile, it has been told already.
    if (takePending(identifier)) throw;
  }
}

bool Connection::sendNotification(std::string_view method, const Encoder& arguments, Backpressure backpressure) {
  return send(
      [&](ArchiveWriter& writer) {
        writer.writeArrayHeader(3);
        writer.writeUnsigned(kNotification);
        writer.writeString(method);
        arguments(writer);
      },
      backpressure);
}

bool Connection::sendResponse(std::uint32_t identifier, const Error& error, const Encoder& result) {
  return send([&](ArchiveWriter& writer) {
    writer.writeArrayHeader(4);
    writer.writeUnsigned(kResponse);
    writer.writeUnsigned(identifier);
    Codec<Error>::write(writer, error);
    if (result) {
      result(writer);
    } else {
      writer.writeNil();
    }
  });
}

// Writing is done by whoever sends, without waiting; only what the socket does not take at once is left to the reader
// or waited for. A socket that refuses is no loss yet: the peer's last words may still be unread.
bool Connection::send(const Encoder& message, Backpressure backpressure) {
  if (isInvalidated()) return false;
  std::unique_lock lock(_writeMutex);
  if (_outputBroken) return false;
  if (_options.sharing == Sharing::perMessage) _writerTables = std::make_unique<ArchiveWriterTables>();
  std::size_t start = _output.size();
  ArchiveWriterTables::Mark mark = _writerTables->mark();
  try {
    ArchiveWriter writer(_output, *_writerTables);
    message(writer);
    // What never waits is small, and the last word to a peer that is ended anyway.
    if (backpressure == Backpressure::waits && _output.size() - _outputSent > _options.mostQueuedBytes) {
      throw ArchiveError("more than " + std::to_string(_options.mostQueuedBytes) + " bytes that wait for the peer");
    }
  } catch (...) {
    _output.resize(start);
    _writerTables->rollBack(mark);
    throw;
  }
  flush();
  if (_output.empty()) return true;
  bool mayWait = _options.readerMayWait || _reader.load() != std::this_thread::get_id();
  if (mayWait && backpressure == Backpressure::waits) waitForRoom(lock);
  if (!_output.empty()) signalEvent(_wake);
  return true;
}

// With _writeMutex held.
void Connection::flush() {
  while (!_outputBroken && _outputSent < _output.size()) {
    ssize_t count =
        ::send(_socket.get(), _output.data() + _outputSent, _output.size() - _outputSent, MSG_DONTWAIT | MSG_NOSIGNAL);
    if (count >= 0) {
      _outputSent += static_cast<std::size_t>(count);
    } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
      break;
    } else if (errno != EINTR) {
      _outputBroken = true;
    }
  }
  if (_outputBroken || _outputSent == _output.size()) {
    _output.clear();
    _outputSent = 0;
  } else if (_outputSent > _output.size() / 2) {
    _output.erase(0, _outputSent);
    _outputSent = 0;
  }
}

void Connection::waitForRoom(std::unique_lock<std::mutex>& lock) {
  while (_output.size() - _outputSent > _options.highWaterMark && !_outputBroken) {
    lock.unlock();
    bool over = isInvalidated();
    pollfd descriptors[2] = {{_socket.get(), POLLOUT, 0}, {_peerExit.get(), POLLIN, 0}};
    if (!over) ::poll(descriptors, 2, 100);
    lock.lock();
    if (over || descriptors[1].revents != 0) _outputBroken = true;
    flush();
  }
}

// Reading

bool Connection::isInvalidated() {
  std::lock_guard lock(_stateMutex);
  return _invalidated;
}

void Connection::readLoop() {
  for (;;) {
    short wanted = POLLIN;
    {
      std::lock_guard lock(_writeMutex);
      if (!_output.empty()) wanted |= POLLOUT;
    }
    pollfd descriptors[3] = {{_wake.get(), POLLIN, 0}, {_socket.get(), wanted, 0}, {_peerExit.get(), POLLIN, 0}};
    if (::poll(descriptors, 3, -1) < 0 && errno != EINTR) return lose();
    if (descriptors[0].revents != 0) clearEvent(_wake);
    if (isInvalidated()) return;
    if ((descriptors[1].revents & POLLOUT) != 0) {
      std::lock_guard lock(_writeMutex);
      flush();
    }
    // A dead peer's last words are in the socket already: all of them are taken before the loss is told.
    bool peerIsDead = descriptors[2].revents != 0;
    if (peerIsDead || (descriptors[1].revents & (POLLIN | POLLHUP | POLLERR)) != 0) {
      if (readAvailable(peerIsDead) == Input::over || peerIsDead) return lose();
    }
    if (isInvalidated()) return;
  }
}

Connection::Input Connection::readAvailable(bool untilEmpty) {
  do {
    std::size_t held = _input.size();
    _input.resize(held + _readSize);
    ssize_t count = ::recv(_socket.get(), _input.data() + held, _readSize, MSG_DONTWAIT);
    int problem = errno;
    auto received = static_cast<std::size_t>(count > 0 ? count : 0);
    _input.resize(held + received);
    if (received == _readSize) _readSize = std::min(_readSize * 2, kMostReadSize);
    if (count == 0) return Input::over;
    if (count < 0) {
      if (problem == EINTR) continue;
      return problem == EAGAIN || problem == EWOULDBLOCK ? Input::more : Input::over;
    }
    if (!takeMessages()) return Input::over;
  } while (untilEmpty && !isInvalidated());
  return Input::more;
}

// False when the peer broke the protocol.
bool Connection::takeMessages() {
  for (;;) {
    std::string_view rest = std::string_view(_input).substr(_inputTaken);
    MessageScanner::Outcome outcome = rest.empty() ? MessageScanner::Outcome::incomplete : _scanner.scan(rest);
    if (outcome == MessageScanner::Outcome::refused) return refuse(_scanner.reason(), _scanner.length());
    if (!fits(_scanner.length() + kValueCost * _scanner.values())) return exceed();
    if (outcome == MessageScanner::Outcome::incomplete) break;
    std::string message(rest.substr(0, _scanner.length()));
    _inputTaken += _scanner.length();
    if (!handleMessage(std::move(message))) return false;
    if (isInvalidated()) return true;
  }
  _input.erase(0, _inputTaken);
  _inputTaken = 0;
  return true;
}

bool Connection::handleMessage(std::string bytes) {
  if (_options.sharing == Sharing::perMessage) {
    _readerTables = std::make_unique<ArchiveReaderTables>();
    _budget.startAgain();
  }
  _budget.spend(bytes.size() + kValueCost * _scanner.values());
  _scanner.reset();
  std::shared_ptr<ArchiveMessage> message;
  try {
    message = ArchiveMessage::parse(std::move(bytes), *_readerTables);
    // Before any of the objects is made.
    if (!_budget.spend(kObjectCost * message->objectCount())) return exceed();
    handleRoot(message->root());
    _answered.reset();
    _readerTables->retire(message);
    return true;
  } catch (const ArchiveError& problem) {
    refuse(problem.description(), message ? message->offsetOf(problem.value()) : std::nullopt);
    failAnswered();
    return false;
  }
}

void Connection::handleRoot(ArchiveNode root) {
  switch (root.element(0).unsignedInteger()) {
    case kRequest:
      return handleCall(root, true);
    case kResponse:
      return handleResponse(root);
    case kNotification:
      return handleCall(root, false);
    default:
      throw ArchiveError("a message of no known kind");
  }
}

void Connection::handleResponse(ArchiveNode root) {
  if (root.count() != 4) throw ArchiveError("a response of the wrong length");
  _answered = takePending(messageIdentifier(root.element(1)));
  if (!_answered) {
    if (isInvalidated()) return;
    throw ArchiveError("a response to no request");
  }
  readAt([&] { return "the reply to \"" + _answered->method + '"'; },
         [&] { _answered->onReply(root.element(2), root.element(3)); });
}

void Connection::failAnswered() {
  if (!_answered) return;
  Pending failed = std::move(*_answered);
  _answered.reset();
  if (!isInvalidated()) failed.onFailure();
}

void Connection::handleCall(ArchiveNode root, bool isRequest) {
  std::size_t length = isRequest ? 4 : 3;
  if (root.count() != length) throw ArchiveError("a call of the wrong length");
  IncomingCall call;
  call.method = root.element(length - 2).stringView();
  call.arguments = root.element(length - 1);
  if (call.arguments.kind() != ArchiveNode::Kind::array) throw ArchiveError("a call whose arguments are no array");
  if (isRequest) call.identifier = messageIdentifier(root.element(1));
  readAt([&] { return "the call \"" + std::string(call.method) + '"'; },
         [&] {
           if (!_callHandler) throw ArchiveError("a call that nobody here serves");
           _callHandler(call);
         });
}

std::optional<Connection::Pending> Connection::takePending(std::uint32_t identifier) {
  std::lock_guard lock(_stateMutex);
  auto place = _pending.find(identifier);
  if (place == _pending.end()) return std::nullopt;
  Pending pending = std::move(place->second);
  _pending.erase(place);
  return pending;
}

// Ending

Connection::End Connection::end() const {
  std::lock_guard lock(_stateMutex);
  return _end;
}

// Whether a message of that cost, or the part of it that has been announced, is within the budget.
bool Connection::fits(std::size_t cost) const {
  return _options.sharing == Sharing::perMessage ? cost <= _budget.limit() : _budget.admits(cost);
}

bool Connection::refuse(std::string_view reason, std::optional<std::size_t> offset) {
  std::string text = "the other side sent what is not understood: " + std::string(reason);
  if (offset) text += ", at byte " + std::to_string(*offset) + " of the message";
  setEnd(End::Kind::refused, text);
  return false;
}

bool Connection::exceed() {
  setEnd(End::Kind::exceeded,
         "the other side delivered more for one request than the " + std::to_string(_budget.limit()) +
             " bytes that it may (what reading it takes included)",
         "ask for less at once, such as fewer log items; where the plug-in is at fault, tell its maker");
  return false;
}

// Whatever it was that lacked memory, the request whose response was being read is told with the others.
void Connection::endForScarcity() {
  setEnd(End::Kind::scarce);
  failAnswered();
  lose();
}

// The first cause counts: what follows from it is no news. Where there is no memory for the words, the kind is enough.
void Connection::setEnd(End::Kind kind, std::string_view what, std::string_view advice) {
  {
    std::lock_guard lock(_stateMutex);
    if (_end.kind != End::Kind::none) return;
    _end.kind = kind;
  }
  if (what.empty()) return;
  unlessScarce([&] {
    log(_options.name, "connection ended: " + std::string(what));
    std::string detail = std::string(what) + ".";
    if (!advice.empty()) detail += " What helps: " + std::string(advice) + ".";
    std::lock_guard lock(_stateMutex);
    _end.detail = std::move(detail);
  });
}

void Connection::lose() {
  setEnd(End::Kind::lost);
  std::unordered_map<std::uint32_t, Pending> awaited;
  {
    std::lock_guard lock(_stateMutex);
    if (_invalidated || _lost) return;
    _lost = true;
    awaited.swap(_pending);
    auto first = std::ranges::min_element(awaited, {}, [](const auto& entry) { return entry.first; });
    if (first != awaited.end()) unlessScarce([&] { _end.awaited = first->second.method; });
  }
  {
    std::lock_guard lock(_writeMutex);
    _outputBroken = true;
    _output.clear();
  }
  // One loss, one notice: who awaits a reply is told by it, else the owner.
  if (awaited.empty()) {
    if (_interruptionHandler) _interruptionHandler();
    return;
  }
  for (auto& [identifier, pending] : awaited) {
    if (isInvalidated()) return;
    pending.onFailure();
  }
}

void Connection::invalidate() {
  std::unordered_map<std::uint32_t, Pending> dropped;
  {
    std::lock_guard lock(_stateMutex);
    if (_invalidated) return;
    _invalidated = true;
    dropped.swap(_pending);
  }
  signalEvent(_wake);
}

}  // namespace qrb
