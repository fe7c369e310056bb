#include "GitLogParser.h"

#include <charconv>

namespace {

bool isHexadecimal(std::string_view text) {
  for (char digit : text) {
    if (!((digit >= '0' && digit <= '9') || (digit >= 'a' && digit <= 'f'))) return false;
  }
  return true;
}

/// Commits made by other tools hold dates that are no number, or none that fits; git reads those as the epoch.
std::int64_t readDate(std::string_view text) {
  std::int64_t seconds = 0;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
  return error == std::errc{} && end == text.data() + text.size() ? seconds : 0;
}

}  // namespace

bool GitLogParser::fail(const char* what) {
  return RecordParser::fail(what, _buffer.tokenOffset());
}

bool GitLogParser::next() {
  if (_awaits == Awaits::hash) _buffer.endRecord();
  while (!_error) {
    if (_awaits == Awaits::firstChange || _awaits == Awaits::furtherChange) {
      if (!_buffer.peek()) return false;
      if (!atChange()) {
        completeRecord();
        return true;
      }
    }
    qrb::TokenSpan token;
    if (!_buffer.nextToken(token)) return false;
    if (!take(token)) return false;
  }
  return false;
}

/// Whether the next token goes on with the changes: an object name, which begins the next commit, has neither line
/// feeds nor capital letters.
bool GitLogParser::atChange() {
  char byte = *_buffer.peek();
  return _awaits == Awaits::firstChange ? byte == '\n' : byte >= 'A' && byte <= 'Z';
}

bool GitLogParser::take(qrb::TokenSpan token) {
  switch (_awaits) {
    case Awaits::hash:
      return takeHash(token);
    case Awaits::parents:
    case Awaits::date:
    case Awaits::name:
    case Awaits::email:
    case Awaits::message:
      _fields[_awaits] = token;
      _awaits = static_cast<Awaits>(_awaits + 1);
      _buffer.setLongestToken(_awaits == Awaits::message ? _longestMessage : qrb::listedTextBounds.each);
      return true;
    case Awaits::firstChange:
      // A line feed divides the message from the first change's letter.
      ++token.begin;
      --token.length;
      [[fallthrough]];
    case Awaits::furtherChange:
      if (!_pending.emplace_back().readLetter(_buffer.at(token))) return fail("unknown kind of change in the history");
      _awaits = Awaits::path;
      return true;
    case Awaits::path:
    case Awaits::secondPath:
      return takePath(token);
  }
  return false;
}

bool GitLogParser::takeHash(qrb::TokenSpan token) {
  if ((token.length != 40 && token.length != 64) || !isHexadecimal(_buffer.at(token))) {
    return fail("a commit of the history does not begin with an object name");
  }
  _fields[Awaits::hash] = token;
  _pending.clear();
  _awaits = Awaits::parents;
  return true;
}

bool GitLogParser::takePath(qrb::TokenSpan token) {
  if (token.length == 0) return fail("change without a path in the history");
  GitPendingChange& change = _pending.back();
  change.path = token;
  if (_awaits == Awaits::path && change.hasOriginal()) {
    change.originalPath = token;
    _awaits = Awaits::secondPath;
  } else {
    _awaits = Awaits::furtherChange;
  }
  return true;
}

void GitLogParser::completeRecord() {
  _changes.clear();
  for (const GitPendingChange& change : _pending) _changes.push_back(change.resolve(_buffer));
  _record.hash = _buffer.at(_fields[Awaits::hash]);
  _record.parents = _buffer.at(_fields[Awaits::parents]);
  _record.authorDate = readDate(_buffer.at(_fields[Awaits::date]));
  _record.authorName = _buffer.at(_fields[Awaits::name]);
  _record.authorEmail = _buffer.at(_fields[Awaits::email]);
  _record.message = _buffer.at(_fields[Awaits::message]);
  _record.changes = _changes;
  _awaits = Awaits::hash;
}

bool GitLogParser::finishRecord() {
  if (_error) return false;
  if (_buffer.hasPartialToken()) return fail("the history ends inside a commit");
  if (_awaits == Awaits::hash) return false;
  if (_awaits != Awaits::firstChange && _awaits != Awaits::furtherChange)
    return fail("the history ends inside a commit");
  completeRecord();
  return true;
}
