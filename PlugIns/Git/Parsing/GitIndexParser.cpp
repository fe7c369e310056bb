#include "GitIndexParser.h"

#include <charconv>

/// "<mode> <object name> <stage>\t<path>".
bool GitIndexParser::read(std::string_view line) {
  std::size_t tab = line.find('\t');
  if (tab == std::string_view::npos || tab + 1 == line.size()) return fail("entry without a path");
  std::string_view head = line.substr(0, tab);
  _record = {};
  _record.path = line.substr(tab + 1);
  auto [end, error] = std::from_chars(head.data(), head.data() + head.size(), _record.mode, 8);
  // " <object name> <stage>"
  bool isWhole = error == std::errc() && head.data() + head.size() - end > 3 && *end == ' ';
  if (!isWhole || head[head.size() - 2] != ' ') return fail("entry that is none");
  char stage = head.back();
  if (stage < '0' || stage > '3') return fail("unknown stage");
  _record.stage = static_cast<std::uint8_t>(stage - '0');
  _record.object = std::string_view(end + 1, static_cast<std::size_t>(head.data() + head.size() - end) - 3);
  return true;
}

bool GitIndexParser::next() {
  qrb::TokenSpan line;
  _buffer.endRecord();
  return !_error && _buffer.nextToken(line) && read(_buffer.at(line));
}

bool GitIndexParser::finish() {
  if (_error) return false;
  return !_buffer.hasRest() || fail("the entries end inside one");
}
