#include "GitRefParser.h"

namespace {

struct Folder {
  std::string_view prefix;
  GitRefRecord::Kind kind;
};

constexpr Folder folders[] = {{"refs/heads/", GitRefRecord::Kind::localBranch},
                              {"refs/remotes/", GitRefRecord::Kind::remoteBranch},
                              {"refs/tags/", GitRefRecord::Kind::tag}};

}  // namespace

bool GitRefParser::next() {
  while (!_error && readFields()) {
    auto following = _buffer.peek();
    if (!following) return false;
    if (*following != '\n') return fail("too many fields in a branch");
    _buffer.skipByte();
    _count = 0;
    bool isSymbolic = true;
    if (!read(isSymbolic)) return false;
    if (!isSymbolic) return true;
  }
  return false;
}

/// Whether all fields have arrived.
bool GitRefParser::readFields() {
  if (_count == 0) _buffer.endRecord();
  while (_count < _fields.size() && _buffer.nextToken(_fields[_count])) ++_count;
  return _count == _fields.size();
}

bool GitRefParser::read(bool& isSymbolic) {
  auto field = [this](std::size_t number) { return _buffer.at(_fields[number]); };
  std::string_view fullName = field(0);
  std::string_view hash = field(1);
  std::string_view head = field(2);
  bool hasNoCommit = hash.empty() && fullName.starts_with("refs/tags/");
  // A field too few shows as a line feed in the name after it.
  if (fullName.empty() || fullName.find('\n') != std::string_view::npos ||
      (hash.size() != 40 && hash.size() != 64 && !hasNoCommit) || (head != "*" && head != " ")) {
    return fail("malformed branch");
  }
  isSymbolic = !field(4).empty();
  _record = GitRefRecord{GitRefRecord::Kind::other, head == "*", fullName, fullName, hash, field(3)};
  for (const Folder& folder : folders) {
    if (fullName.size() > folder.prefix.size() && fullName.starts_with(folder.prefix)) {
      _record.kind = folder.kind;
      _record.name = fullName.substr(folder.prefix.size());
    }
  }
  return true;
}

bool GitRefParser::finish() {
  if (_error) return false;
  return (_count == 0 && !_buffer.hasPartialToken()) || fail("the branches end inside a line");
}
