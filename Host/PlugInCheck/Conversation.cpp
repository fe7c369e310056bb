#include "Conversation.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "Log.h"
#include "QRBSourceControl.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlPlugInProtocol.h"
#include "Text.h"

namespace host {

namespace {

namespace Callback = QRBSourceControlPlugInCallbackProtocol;
using Fault = PlugInAnswer::Fault;

constexpr std::uint64_t kRequestKind = 0;
constexpr std::uint64_t kResponseKind = 1;
constexpr std::uint64_t kNotificationKind = 2;

// What is kept of a standard error that nobody may ever end.
constexpr std::size_t kMostWords = std::size_t{64} << 10;
constexpr std::size_t kMostShown = 40;
// More than a socket holds.
constexpr int kMostPieces = 64;

std::string excerptOf(std::string_view bytes) {
  std::string text;
  for (unsigned char byte : bytes.substr(0, kMostShown)) {
    constexpr char kDigits[] = "0123456789abcdef";
    if (byte >= ' ' && byte < 0x7f) {
      text += static_cast<char>(byte);
    } else {
      text += std::string("\\x") + kDigits[byte >> 4] + kDigits[byte & 15];
    }
  }
  return '"' + text + (bytes.size() > kMostShown ? "…\"" : "\"");
}

PlugInCallback callbackOf(const qrb::Dictionary& info, const qrb::String& identifier) {
  PlugInCallback callback;
  callback.progressIdentifier = identifier;
  const qrb::Dictionary& fraction = info[QRBSourceControlProgressValue];
  if (fraction.isNumber()) callback.fraction = fraction.real();
  return callback;
}

}  // namespace

std::string inQuotes(std::string_view text) {
  return '"' + std::string(text) + '"';
}

std::string inSeconds(std::chrono::milliseconds limit) {
  std::string text = std::to_string(static_cast<double>(limit.count()) / 1000);
  text.erase(text.find_last_not_of('0') + 1);
  if (text.ends_with('.')) text.pop_back();
  return text + " s";
}

bool PlugInAnswer::isUnserved() const {
  return error && error.domain().view() == QRBSourceControlErrorDomain &&
         error.code() == static_cast<std::int64_t>(QRBSourceControlErrorCode::requestUnsupported);
}

std::string PlugInAnswer::placeOf(const qrb::ArchiveError& refusal, const qrb::ArchiveMessage& message) {
  auto offset = message.offsetOf(refusal.value());
  return refusal.description() + (offset ? ", at byte " + std::to_string(*offset) + " of the message" : "");
}

Conversation::Conversation(const Setting& setting) : _setting(setting) {
  qrb::DescriptorPair sockets = qrb::makeSocketPair();
  qrb::DescriptorPair output = qrb::makePipe();
  if (!sockets || !output) {
    _launchFailure = "No descriptors are left to launch it.";
    return;
  }
  qrb::LaunchOptions options;
  options.path = setting.plugIn;
  options.workingDirectory = setting.folder;
  options.stdinDescriptor = options.stdoutDescriptor = sockets.second.get();
  options.stderrDescriptor = output.second.get();
  options.newSession = true;
  options.parentDeathSignal = SIGKILL;
  auto outcome = qrb::Process::launch(options);
  if (const auto* failure = std::get_if<qrb::LaunchFailure>(&outcome)) {
    _launchFailure = failure->text;
    return;
  }
  _process = std::move(std::get<qrb::Process>(outcome));
  _socket = std::move(sockets.first);
  _said = std::move(output.first);
  _said.setNonBlocking(true);
}

Conversation::~Conversation() {
  readSaid();
}

// Sending

void Conversation::send(std::string_view bytes) {
  while (!bytes.empty() && _socket.valid()) {
    ssize_t count = ::send(_socket.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count < 0 && errno != EINTR) return;
    bytes.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  }
}

std::string Conversation::request(std::uint32_t identifier, std::string_view method, const Encoder& arguments) {
  std::string bytes;
  qrb::ArchiveWriter writer(bytes, _writerTables);
  writer.writeArrayHeader(4);
  writer.writeUnsigned(kRequestKind);
  writer.writeUnsigned(identifier);
  writer.writeString(method);
  arguments(writer);
  return bytes;
}

void Conversation::sendFinished() {
  std::string bytes;
  qrb::ArchiveWriter writer(bytes, _writerTables);
  writer.writeArrayHeader(3);
  writer.writeUnsigned(kNotificationKind);
  writer.writeString(QRBSourceControlPlugInProtocol::operationsFinished.selector);
  writer.writeArrayHeader(0);
  send(bytes);
}

// Receiving

// `over` is the end of the process, or of the stream where that is read.
Conversation::Event Conversation::await(Clock::time_point deadline, bool readsSocket) {
  for (;;) {
    auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    if (left.count() <= 0) return Event::late;
    pollfd sources[] = {{_setting.stop, POLLIN, 0},
                        {readsSocket ? _socket.get() : -1, POLLIN, 0},
                        {_process->pidfd(), POLLIN, 0},
                        {_said.get(), POLLIN, 0}};
    int count = ::poll(sources, 4, static_cast<int>(left.count()));
    if (count < 0 && errno != EINTR) return Event::late;
    if (count <= 0) continue;
    if (sources[0].revents != 0) return Event::stopped;
    if (sources[3].revents != 0) readSaid();
    // Its last words are in the socket already.
    if (sources[1].revents != 0) return readSocket() ? Event::input : Event::over;
    if (sources[2].revents != 0) return Event::over;
  }
}

void Conversation::readSaid() {
  char buffer[4096];
  ssize_t count = 0;
  while (_said.valid() && (count = ::read(_said.get(), buffer, sizeof buffer)) > 0) {
    _words.append(buffer, static_cast<std::size_t>(count));
    for (std::size_t end = 0; (end = _words.find('\n', _loggedWords)) != std::string::npos; _loggedWords = end + 1) {
      qrb::log(_setting.plugIn.substr(_setting.plugIn.rfind('/') + 1), _words.substr(_loggedWords, end - _loggedWords));
    }
    if (_words.size() > kMostWords) {
      std::size_t surplus = _words.size() - kMostWords / 2;
      _words.erase(0, surplus);
      _loggedWords -= std::min(surplus, _loggedWords);
    }
  }
  if (count == 0) _said.reset();
}

// What there is, or much of it; false at the end of the stream.
bool Conversation::readSocket() {
  char buffer[65536];
  for (int piece = 0; piece < kMostPieces; ++piece) {
    ssize_t count = ::recv(_socket.get(), buffer, sizeof buffer, MSG_DONTWAIT);
    if (count > 0) _input.append(buffer, static_cast<std::size_t>(count));
    if (count == 0) return false;
    if (count < 0 && errno != EINTR) return errno == EAGAIN || errno == EWOULDBLOCK;
  }
  return true;
}

std::string Conversation::lastWords() const {
  std::string_view words = _words;
  while (words.ends_with('\n')) words.remove_suffix(1);
  return displayText(words.substr(words.rfind('\n') + 1));
}

PlugInAnswer Conversation::failed(Fault fault, std::string problem) const {
  PlugInAnswer answer;
  answer.fault = fault;
  answer.problem = std::move(problem);
  return answer;
}

PlugInAnswer Conversation::endedWithout(std::string_view method) {
  std::optional<qrb::ExitStatus> status = awaitEnd();
  PlugInAnswer answer = failed(Fault::ended, status ? "It ended (" + status->description() + ")"
                                                    : std::string("It closed its end of the connection"));
  answer.ended = status;
  if (!_input.empty()) answer.problem += ", in the middle of a message,";
  answer.problem += " before it answered \"" + std::string(method) + "\".";
  if (std::string words = lastWords(); !words.empty()) answer.problem += " It said: " + words;
  return answer;
}

// The next whole message; nothing where more is to come, or `answer` says why there is none.
std::optional<std::string> Conversation::takeMessage(PlugInAnswer& answer) {
  std::string_view rest = std::string_view(_input).substr(_inputTaken);
  if (rest.empty()) return std::nullopt;
  qrb::MessageScanner::Outcome outcome = _scanner.scan(rest);
  if (outcome == qrb::MessageScanner::Outcome::refused) {
    answer = failed(Fault::noMessage, "It sent " + excerptOf(rest) +
                                          ", which is no message: " + std::string(_scanner.reason()) + ", at byte " +
                                          std::to_string(_scanner.length()) + ".");
    return std::nullopt;
  }
  auto first = static_cast<unsigned char>(rest.front());
  if ((first & 0xf0) != 0x90 && first != 0xdc && first != 0xdd) {
    answer = failed(Fault::noMessage, "It sent " + excerptOf(rest) + ", which is no message: each is an array.");
    return std::nullopt;
  }
  if (outcome == qrb::MessageScanner::Outcome::incomplete) return std::nullopt;
  std::string bytes(rest.substr(0, _scanner.length()));
  _inputTaken += bytes.size();
  _scanner.reset();
  return bytes;
}

void Conversation::dropTaken() {
  _input.erase(0, _inputTaken);
  _inputTaken = 0;
}

void Conversation::handleCallback(qrb::ArchiveNode root) {
  if (root.count() != 3) throw qrb::ArchiveError("a notification of the wrong length");
  std::string_view method = root.element(1).stringView();
  qrb::readAt(
      [&] { return "the call \"" + std::string(method) + '"'; },
      [&] {
        qrb::ArchiveNode arguments = root.element(2);
        if (arguments.kind() != qrb::ArchiveNode::Kind::array) arguments.expected("an array");
        if (method == Callback::progressStatus.selector) {
          auto [status, info, identifier] =
              qrb::readValues<std::tuple<std::int64_t, qrb::Dictionary, qrb::String>>(arguments);
          _callbacks.push_back(callbackOf(info, identifier));
          _callbacks.back().status = status;
        } else if (method == Callback::incrementalLogStatus.selector) {
          auto [items, info, identifier] =
              qrb::readValues<std::tuple<std::vector<QRBSourceControlLogItemPtr>, qrb::Dictionary, qrb::String>>(
                  arguments);
          _callbacks.push_back(callbackOf(info, identifier));
          _callbacks.back().items = items.size();
        } else {
          throw qrb::ArchiveError("no host serves it");
        }
      });
}

// True when it was the answer, or something in its place that is at fault.
bool Conversation::handle(std::string bytes, std::uint32_t identifier, std::string_view method, PlugInAnswer& answer) {
  try {
    answer.message = qrb::ArchiveMessage::parse(std::move(bytes), _readerTables);
    qrb::ArchiveNode root = answer.message->root();
    std::uint64_t kind = root.element(0).unsignedInteger();
    if (kind == kNotificationKind) {
      handleCallback(root);
      _readerTables.retire(answer.message);
      return false;
    }
    if (kind == kRequestKind) throw qrb::ArchiveError("a request, which a plug-in never sends");
    if (kind != kResponseKind) throw qrb::ArchiveError("a message of no known kind");
    if (root.count() != 4) throw qrb::ArchiveError("a response of the wrong length");
    std::uint64_t answered = root.element(1).unsignedInteger();
    if (answered != identifier) {
      throw qrb::ArchiveError("a response with the id " + std::to_string(answered) + " to the request with the id " +
                              std::to_string(identifier));
    }
    qrb::readAt([&] { return "the reply to \"" + std::string(method) + '"'; },
                [&] {
                  answer.error = qrb::Codec<qrb::Error>::read(root.element(2));
                  answer.result = root.element(3);
                  bool isArray = answer.result.kind() == qrb::ArchiveNode::Kind::array;
                  if (!isArray && !answer.result.isNil()) answer.result.expected("an array of the reply values");
                });
  } catch (const qrb::ArchiveError& refusal) {
    answer.fault = Fault::wrongMessage;
    answer.problem = "It sent what is not understood: " +
                     (answer.message ? PlugInAnswer::placeOf(refusal, *answer.message) : refusal.description()) + ".";
  }
  return true;
}

PlugInAnswer Conversation::answer(std::uint32_t identifier, std::string_view method) {
  if (!_process) return failed(Fault::notStarted, _launchFailure);
  Clock::time_point deadline = Clock::now() + _setting.limit;
  for (bool isOver = false;;) {
    PlugInAnswer answer;
    while (std::optional<std::string> bytes = takeMessage(answer)) {
      if (handle(std::move(*bytes), identifier, method, answer)) return answer;
      answer = {};
    }
    if (!answer) return answer;
    dropTaken();
    if (isOver) return endedWithout(method);
    switch (await(deadline, true)) {
      case Event::input:
        break;
      case Event::over:
        // What it had written is still read.
        readSocket();
        isOver = true;
        break;
      case Event::late:
        return failed(Fault::silent,
                      "It did not answer \"" + std::string(method) + "\" within " + inSeconds(_setting.limit) + ".");
      case Event::stopped:
        return failed(Fault::stopped, "");
    }
  }
}

PlugInAnswer Conversation::ask(std::uint32_t identifier, std::string_view method, const Encoder& arguments) {
  send(request(identifier, method, arguments));
  return answer(identifier, method);
}

PlugInAnswer Conversation::rest() {
  PlugInAnswer answer;
  if (_socket.valid()) readSocket();
  while (std::optional<std::string> bytes = takeMessage(answer)) {
    try {
      auto message = qrb::ArchiveMessage::parse(std::move(*bytes), _readerTables);
      if (message->root().element(0).unsignedInteger() == kNotificationKind) continue;
      return failed(Fault::wrongMessage, "After its answer it sent another message that is no callback.");
    } catch (const qrb::ArchiveError& refusal) {
      return failed(Fault::wrongMessage, "After its answer it sent what is not understood: " + refusal.description());
    }
  }
  return answer;
}

std::optional<qrb::ExitStatus> Conversation::awaitEnd() {
  if (!_process) return std::nullopt;
  Clock::time_point deadline = Clock::now() + _setting.limit;
  while (true) {
    if (auto status = _process->peek()) {
      readSaid();
      return status;
    }
    // A stream that has ended says nothing new.
    if (await(deadline, false) != Event::over) return std::nullopt;
  }
}

}  // namespace host
