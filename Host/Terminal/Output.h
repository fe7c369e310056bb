#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <string_view>

namespace host {

enum class Style { plain, bold, dim, red, green, yellow, blue, cyan };

/// Standard output, gathered into large writes. One thread at a time, except where said.
class Output {
 public:
  Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  /// Called before bytes reach a terminal, and once when writing has become impossible.
  void setHooks(std::function<void()> beforeTerminalWrite, std::function<void()> onLoss);

  bool isTerminal() const { return _isTerminal; }

  void write(std::string_view text);
  /// In that style where colour is on.
  void write(Style style, std::string_view text);
  /// Hands over what has been gathered. Until then it is not visible.
  void flush();

  /// From now on output is dropped where a reader has stopped taking it for a second, also by a write under way. Any
  /// thread.
  void stopWaiting();
  /// Nothing can be written any more. Any thread.
  bool isLost() const { return _error != 0; }
  /// Why, as errno: EPIPE where the reader has gone; 0 while all is well. Any thread.
  int error() const { return _error; }

  /// Nobody will take the output: it is dropped from now on. Any thread.
  void lose(int error);

 private:
  bool waitUntilWritable();

  std::string _pending;
  std::function<void()> _beforeTerminalWrite;
  std::function<void()> _onLoss;
  bool _isTerminal = false;
  bool _hasColour = false;
  bool _mayBlock = false;
  bool _hasGivenUp = false;
  int _stop = -1;
  std::atomic<int> _error = 0;
};

/// Whether colour is wanted on a descriptor: it is a terminal that can show it, and NO_COLOR is not set.
bool wantsColour(int descriptor);

}  // namespace host
