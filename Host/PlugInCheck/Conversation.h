#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "ArchiveReader.h"
#include "ArchiveWriter.h"
#include "Error.h"
#include "MessageScanner.h"
#include "Process.h"
#include "QRBSourceControlMessage.h"

namespace host {

/// For what is told of a plug-in.
std::string inQuotes(std::string_view text);
std::string inSeconds(std::chrono::milliseconds limit);

/// A callback that a plug-in sent: a report of its progress, or a batch of a history.
struct PlugInCallback {
  std::size_t items = 0;
  /// Absent for a batch.
  std::optional<std::int64_t> status;
  /// The part of the whole that is done; absent where it says none, or something that is no number.
  std::optional<double> fraction;
  qrb::String progressIdentifier;
};

/// What came of a request.
struct PlugInAnswer {
  enum class Fault {
    none,
    /// The process could not be launched.
    notStarted,
    /// Nothing came within the time limit.
    silent,
    /// The process ended, or closed its connection, without an answer.
    ended,
    /// What came is no message at all.
    noMessage,
    /// It is one that does not belong there, or whose values are none that its place admits.
    wrongMessage,
    /// The user wants to stop.
    stopped,
  };
  Fault fault = Fault::none;
  /// For people, what the fault is.
  std::string problem = {};
  /// How the process ended, where it has.
  std::optional<qrb::ExitStatus> ended = {};
  /// The plug-in's own error; none where it did what it was asked.
  qrb::Error error = {};
  std::shared_ptr<qrb::ArchiveMessage> message = {};
  qrb::ArchiveNode result = {};

  explicit operator bool() const { return fault == Fault::none; }
  /// Whether the plug-in says that it does not serve the request.
  bool isUnserved() const;
  /// How a plug-in refuses what it does not understand.
  bool exitedWithFailure() const { return ended && ended->kind == qrb::ExitStatus::Kind::exited && ended->value != 0; }
  /// The reply values. With an error, what is wrong with them goes to `problem`.
  template <class Tuple>
  std::optional<Tuple> values(std::string& undecodable) const {
    try {
      return qrb::readValues<Tuple>(result);
    } catch (const qrb::ArchiveError& refusal) {
      undecodable = placeOf(refusal, *message);
      return std::nullopt;
    }
  }
  static std::string placeOf(const qrb::ArchiveError& refusal, const qrb::ArchiveMessage& message);
};

/// One process of a plug-in and the host's end of its connection, where every byte that comes back is to be seen and
/// bytes are to be sent that no host sends. The process is launched as a host launches it, and ended with the
/// conversation. One thread, which is the one that made it.
class Conversation {
 public:
  struct Setting {
    std::string plugIn;
    /// Where the process works.
    std::string folder;
    /// For each wait.
    std::chrono::milliseconds limit{};
    /// Readable once the user wants to stop.
    int stop = -1;
  };
  using Encoder = std::function<void(qrb::ArchiveWriter&)>;

  explicit Conversation(const Setting& setting);
  ~Conversation();
  Conversation(const Conversation&) = delete;
  Conversation& operator=(const Conversation&) = delete;

  /// Sends bytes, whatever they are. What cannot be sent any more is no fault: the answer tells.
  void send(std::string_view bytes);
  /// The bytes of a request, as a host writes them.
  std::string request(std::uint32_t identifier, std::string_view method, const Encoder& arguments);
  /// Waits for the answer to a request that was sent. Callbacks that come before it are kept.
  PlugInAnswer answer(std::uint32_t identifier, std::string_view method);
  /// Both.
  PlugInAnswer ask(std::uint32_t identifier, std::string_view method, const Encoder& arguments);
  const std::vector<PlugInCallback>& callbacks() const { return _callbacks; }

  /// Tells the plug-in that the host is done.
  void sendFinished();
  /// Closes the connection, as the system does for a host that is gone.
  void close() { _socket.reset(); }

  /// How the process ended by itself; absent where it runs on after the time limit, or the user wants to stop.
  std::optional<qrb::ExitStatus> awaitEnd();
  /// What has come after the answer and should not have; no fault where nothing has.
  PlugInAnswer rest();
  /// The last line that it has written to its standard error.
  std::string lastWords() const;

 private:
  using Clock = std::chrono::steady_clock;
  enum class Event { input, over, late, stopped };

  Event await(Clock::time_point deadline, bool readsSocket);
  void readSaid();
  bool readSocket();
  std::optional<std::string> takeMessage(PlugInAnswer& answer);
  void dropTaken();
  bool handle(std::string bytes, std::uint32_t identifier, std::string_view method, PlugInAnswer& answer);
  void handleCallback(qrb::ArchiveNode root);
  PlugInAnswer failed(PlugInAnswer::Fault fault, std::string problem) const;
  PlugInAnswer endedWithout(std::string_view method);

  const Setting _setting;
  qrb::FileDescriptor _socket;
  qrb::FileDescriptor _said;
  std::optional<qrb::Process> _process;
  std::string _launchFailure;
  std::string _input;
  std::size_t _inputTaken = 0;
  std::string _words;
  std::size_t _loggedWords = 0;
  qrb::MessageScanner _scanner;
  qrb::ArchiveReaderTables _readerTables;
  qrb::ArchiveWriterTables _writerTables;
  std::vector<PlugInCallback> _callbacks;
};

/// The arguments of a message, as a host writes them.
template <class... A>
Conversation::Encoder argumentsOf(A... arguments) {
  return [values = std::tuple<A...>(std::move(arguments)...)](qrb::ArchiveWriter& writer) {
    qrb::writeValues(writer, values);
  };
}

}  // namespace host
