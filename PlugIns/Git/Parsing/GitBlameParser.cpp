#include "GitBlameParser.h"

#include <charconv>
#include <limits>

namespace {

constexpr std::uint64_t mostLines = std::numeric_limits<std::int64_t>::max() / 2;

/// Takes " <number>" off the front; 0 where there is none, which no line has.
std::uint64_t takeNumber(std::string_view& text) {
  if (!text.starts_with(' ')) return 0;
  std::uint64_t number = 0;
  auto [end, error] = std::from_chars(text.data() + 1, text.data() + text.size(), number);
  if (error != std::errc() || number > mostLines) return 0;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return number;
}

}  // namespace

/// "<object name> <line in the commit> <line> <count>".
bool GitBlameParser::readRun(std::string_view line) {
  std::size_t end = line.find_first_not_of("0123456789abcdef");
  if (end != 40 && end != 64) return fail("run of lines without a commit");
  _hash.assign(line.substr(0, end));
  line.remove_prefix(end);
  _record.hash = _hash;
  _record.originalLine = takeNumber(line);
  _record.line = takeNumber(line);
  _record.count = takeNumber(line);
  if (!line.empty() || _record.originalLine == 0 || _record.line == 0 || _record.count == 0) {
    return fail("run of lines that is none");
  }
  return true;
}

bool GitBlameParser::next() {
  qrb::TokenSpan line;
  _buffer.endRecord();
  while (!_error && _buffer.nextToken(line)) {
    std::string_view text = _buffer.at(line);
    if (_awaitsRun) {
      if (!readRun(text)) return false;
      _awaitsRun = false;
    } else if (text.starts_with("filename ")) {
      _awaitsRun = true;
      return true;
    }
    _buffer.endRecord();
  }
  return false;
}

bool GitBlameParser::finish() {
  if (_error) return false;
  return (_awaitsRun && !_buffer.hasRest()) || fail("the output ends inside a run of lines");
}
