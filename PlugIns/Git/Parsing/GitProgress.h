#pragma once

#include <optional>
#include <string>
#include <string_view>

/// One step of what git tells about long work: "Receiving objects:  34% (123/456), 1.2 MiB | 2.3 MiB/s".
struct GitProgressLine {
  /// "Receiving objects".
  std::string_view title;
  /// 0 to 100; none where git knows no end.
  std::optional<int> percent;
  /// The whole line, without blanks around it.
  std::string_view text;
  /// The other side tells it.
  bool isRemote = false;
};

/// Reads one line of git's error output; none for what is no progress. Pure.
std::optional<GitProgressLine> gitReadProgressLine(std::string_view line);

/// What git has said besides its progress: the lines that tell of something else. Pure.
std::string gitWithoutProgress(std::string_view text);

/// Which way the objects go.
enum class GitTransfer : unsigned char { fetch, push, clone };

/// Follows git's error output through one command and says how much of the whole is done. Any bytes, cut anywhere; what
/// is no progress is passed over.
class GitProgressReader {
 public:
  explicit GitProgressReader(GitTransfer transfer) : _transfer(transfer) {}

  /// Calls `sink(double fraction, std::string_view text, bool isCheckout)` whenever there is something new to show. The
  /// fraction is from 0 to 1 and never smaller than before. The text lasts until the sink returns.
  template <class Sink>
  void feed(std::string_view bytes, Sink&& sink) {
    while (!bytes.empty()) {
      if (!takeLine(bytes)) return;
      if (auto line = gitReadProgressLine(_line); line && advance(*line)) {
        sink(_fraction, line->text, line->title == "Updating files");
      }
      _line.clear();
    }
  }

  double fraction() const { return _fraction; }

 private:
  bool takeLine(std::string_view& bytes);
  bool advance(const GitProgressLine& line);

  const GitTransfer _transfer;
  std::string _line;
  std::string _title;
  double _fraction = 0;
};
