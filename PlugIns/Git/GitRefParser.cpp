#include "GitRefParser.h"

#include <array>

namespace {

struct Folder {
  std::string_view prefix;
  GitRefRecord::Kind kind;
};

constexpr Folder folders[] = {{"refs/heads/", GitRefRecord::Kind::LocalBranch},
                              {"refs/remotes/", GitRefRecord::Kind::RemoteBranch},
                              {"refs/tags/", GitRefRecord::Kind::Tag}};

}  // namespace

bool GitRefParser::next() {
  bool isSymbolic = true;
  while (isSymbolic) {
    GitSpan line;
    _buffer.endRecord();
    if (_error || !_buffer.nextToken(line)) return false;
    if (!read(_buffer.at(line), isSymbolic)) return false;
  }
  return true;
}

bool GitRefParser::read(std::string_view line, bool& isSymbolic) {
  std::array<std::string_view, 5> fields;
  for (std::string_view& field : fields) {
    const std::size_t end = line.find('\0');
    if (end == std::string_view::npos) return fail("too few fields in a branch");
    field = line.substr(0, end);
    line.remove_prefix(end + 1);
  }
  const auto& [fullName, hash, head, upstream, symbolicTarget] = fields;
  if (!line.empty()) return fail("too many fields in a branch");
  if (fullName.empty() || (hash.size() != 40 && hash.size() != 64) || (head != "*" && head != " ")) {
    return fail("malformed branch");
  }
  isSymbolic = !symbolicTarget.empty();
  _record = GitRefRecord{GitRefRecord::Kind::Other, head == "*", fullName, fullName, hash, upstream};
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
  return !_buffer.hasPartialToken() || fail("the branches end inside a line");
}
