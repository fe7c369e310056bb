#include "GitHookOutput.h"

#include <unistd.h>

#include <cerrno>
#include <memory>
#include <string>

namespace {

constexpr std::string_view kHint = "hint:";

void passOn(std::string_view bytes) {
  while (!bytes.empty()) {
    ssize_t written = ::write(STDERR_FILENO, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    // Nobody listens, which is no reason to stop a commit.
    if (written <= 0) return;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
}

class HintFilter {
 public:
  HintFilter() = default;
  HintFilter(const HintFilter&) = delete;
  HintFilter& operator=(const HintFilter&) = delete;
  ~HintFilter() { passOn(_beginning); }

  void take(std::string_view bytes);

 private:
  enum class Line { undecided, kept, left };
  Line _line = Line::undecided;
  /// The beginning of a line that may become a hint.
  std::string _beginning;
};

void HintFilter::take(std::string_view bytes) {
  std::string kept;
  while (!bytes.empty()) {
    if (_line == Line::undecided) {
      _beginning.push_back(bytes.front());
      bytes.remove_prefix(1);
      if (_beginning == kHint) {
        _line = Line::left;
      } else if (!kHint.starts_with(_beginning)) {
        _line = _beginning.back() == '\n' ? Line::undecided : Line::kept;
        kept += _beginning;
      } else {
        continue;
      }
      _beginning.clear();
      continue;
    }
    std::size_t end = bytes.find('\n');
    std::string_view line = bytes.substr(0, end == std::string_view::npos ? end : end + 1);
    if (_line == Line::kept) kept += line;
    if (end != std::string_view::npos) _line = Line::undecided;
    bytes.remove_prefix(line.size());
  }
  passOn(kept);
}

}  // namespace

qrb::ToolRunner::Output gitHookOutput() {
  return [filter = std::make_shared<HintFilter>()](std::string_view bytes) {
    filter->take(bytes);
    return true;
  };
}
