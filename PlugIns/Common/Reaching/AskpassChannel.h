#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "FileDescriptor.h"

namespace qrb {

/// A question of a tool that runs for this process, as it came.
struct AskpassQuestion {
  /// One of the kinds of AskpassProtocol.h, with as many values as that kind has.
  std::string kind;
  std::vector<std::string> values;
};

/// Reads one packet; none for what is no question. Pure.
std::optional<AskpassQuestion> parseAskpassQuestion(std::string_view packet);

/// The end of the askpass bridge that knows the answers. Tools started with environment() ask through the program
/// that is installed beside this one; only processes of this user and of this process's session get an answer, so what
/// an environment or a command line tells opens nothing. No file is made. One thread at a time: serve() is called where
/// the tools are waited for (see ToolRunner::setSideChannel).
class AskpassChannel {
 public:
  /// The text that answers, without a line's end; none where there is no answer.
  using Answer = std::function<std::optional<std::string>(const AskpassQuestion& question)>;

  /// Where the system has no socket to give, isOpen() is false.
  explicit AskpassChannel(Answer answer);

  bool isOpen() const { return _listener.valid(); }
  /// Readable when somebody asks.
  int descriptor() const { return _listener.get(); }
  /// Answers whoever asks now. An asker that sends nothing is waited for a second at most.
  void serve();
  /// What a tool needs to know to ask: variables for its environment. No prompt of git's or ssh's gets elsewhere, were
  /// there a terminal or not.
  std::vector<std::pair<std::string, std::string>> environment() const;

 private:
  Answer _answer;
  FileDescriptor _listener;
  std::string _name;
};

/// The program that tools are told to ask.
std::string askpassProgram();

}  // namespace qrb
