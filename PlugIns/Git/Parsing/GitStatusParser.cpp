#include "GitStatusParser.h"

#include <array>

#include "QRBSourceControlStatusValues.h"

namespace {

constexpr std::uint64_t invalid = ~std::uint64_t{0};

/// The status bits of each letter of the two-letter field; `.` stands for unchanged.
constexpr std::array<std::uint64_t, 256> letterTable(bool staged) {
  std::array<std::uint64_t, 256> table{};
  for (std::uint64_t& entry : table) entry = invalid;
  table['.'] = 0;
  table['M'] = staged ? QRBSourceControlStatusStagedModified : QRBSourceControlStatusModified;
  table['A'] = staged ? QRBSourceControlStatusStagedAdded : QRBSourceControlStatusAdded;
  table['D'] = staged ? QRBSourceControlStatusStagedDeleted : QRBSourceControlStatusDeleted;
  table['R'] = staged ? QRBSourceControlStatusStagedRenamed : QRBSourceControlStatusRenamed;
  table['C'] = staged ? QRBSourceControlStatusStagedCopied : QRBSourceControlStatusCopied;
  table['T'] = staged ? QRBSourceControlStatusStagedTypeChanged : QRBSourceControlStatusTypeChanged;
  return table;
}
constexpr auto stagedLetters = letterTable(true);
constexpr auto workingLetters = letterTable(false);

std::uint64_t letterBits(char staged, char working) {
  std::uint64_t first = stagedLetters[static_cast<unsigned char>(staged)];
  std::uint64_t second = workingLetters[static_cast<unsigned char>(working)];
  return first == invalid || second == invalid ? invalid : first | second;
}

std::uint64_t conflictBits(char ours, char theirs) {
  struct Conflict {
    char ours;
    char theirs;
    std::uint64_t bits;
  };
  static constexpr Conflict conflicts[] = {
      {'U', 'U', QRBSourceControlStatusConflictBothModified},  {'A', 'A', QRBSourceControlStatusConflictBothAdded},
      {'D', 'D', QRBSourceControlStatusConflictBothDeleted},   {'A', 'U', QRBSourceControlStatusConflictAddedByUs},
      {'U', 'A', QRBSourceControlStatusConflictAddedByThem},   {'D', 'U', QRBSourceControlStatusConflictDeletedByUs},
      {'U', 'D', QRBSourceControlStatusConflictDeletedByThem},
  };
  for (const Conflict& conflict : conflicts) {
    if (conflict.ours == ours && conflict.theirs == theirs) return conflict.bits | QRBSourceControlStatusConflicted;
  }
  return invalid;
}

/// The field `N...`, or `S` with one letter or dot each for new commits, modified and untracked content.
std::uint64_t submoduleBits(std::string_view field) {
  if (field == "N...") return 0;
  if (field[0] != 'S') return invalid;
  std::uint64_t bits = QRBSourceControlStatusSubmodule;
  static constexpr struct {
    char letter;
    std::uint64_t bit;
  } letters[] = {{'C', QRBSourceControlStatusSubmoduleNewCommits},
                 {'M', QRBSourceControlStatusSubmoduleModifiedContent},
                 {'U', QRBSourceControlStatusSubmoduleUntrackedContent}};
  for (std::size_t index = 0; index < 3; ++index) {
    if (field[index + 1] == letters[index].letter) {
      bits |= letters[index].bit;
    } else if (field[index + 1] != '.') {
      return invalid;
    }
  }
  return bits;
}

/// Takes a field of the given length and the blank after it off the front, where more follows.
bool skipField(std::string_view& text, std::size_t length) {
  if (text.size() < length + 2 || text[length] != ' ') return false;
  text.remove_prefix(length + 1);
  return true;
}

/// Object names are 40 digits long, or 64 in repositories with the longer hash.
bool skipObjectName(std::string_view& text) {
  return skipField(text, 40) || skipField(text, 64);
}

constexpr std::size_t modeLength = 6;
constexpr std::size_t headLength = 10;  // "1 XY SSSS "

bool takeSimilarity(std::string_view& text, std::uint8_t& similarity) {
  if (text.empty() || (text[0] != 'R' && text[0] != 'C')) return false;
  unsigned value = 0;
  std::size_t end = 1;
  for (; end < text.size() && end < 4 && text[end] >= '0' && text[end] <= '9'; ++end) {
    value = value * 10 + static_cast<unsigned>(text[end] - '0');
  }
  if (end == 1 || value > 100) return false;
  similarity = static_cast<std::uint8_t>(value);
  return skipField(text, end);
}

}  // namespace

bool GitStatusParser::next() {
  if (_error) return false;
  if (!_awaitsOriginal) {
    _buffer.endRecord();
    if (!_buffer.nextToken(_line)) return false;
    if (_line.length == 0) return fail("empty status line");
    _awaitsOriginal = _buffer.at(_line).front() == '2';
  }
  qrb::TokenSpan original;
  if (_awaitsOriginal && !_buffer.nextToken(original)) return false;
  _awaitsOriginal = false;
  _record = GitStatusRecord{};
  return read(_buffer.at(_line), _buffer.at(original));
}

bool GitStatusParser::read(std::string_view line, std::string_view original) {
  switch (line[0]) {
    case '1':
      _record.kind = GitStatusRecord::Kind::changed;
      return readTracked(line, 3, 2) && checkPaths();
    case '2':
      _record.kind = GitStatusRecord::Kind::renamed;
      _record.originalPath = original;
      return readTracked(line, 3, 2) && checkPaths();
    case 'u':
      _record.kind = GitStatusRecord::Kind::unmerged;
      return readTracked(line, 4, 3) && checkPaths();
    case '?':
      _record.kind = GitStatusRecord::Kind::untracked;
      return readUntracked(line, QRBSourceControlStatusUntracked) && checkPaths();
    case '!':
      _record.kind = GitStatusRecord::Kind::ignored;
      return readUntracked(line, QRBSourceControlStatusIgnored) && checkPaths();
    case '#':
      return readHeader(line);
    default:
      return fail("unknown kind of status line");
  }
}

bool GitStatusParser::checkPaths() {
  bool needsOriginal = _record.kind == GitStatusRecord::Kind::renamed;
  if (_record.path.empty() || (needsOriginal && _record.originalPath.empty())) {
    return fail("status line without a path");
  }
  return true;
}

bool GitStatusParser::readUntracked(std::string_view line, std::uint64_t status) {
  if (!skipField(line, 1)) return fail("short status line");
  if (line.back() == '/') {
    line.remove_suffix(1);
    status |= QRBSourceControlStatusDirectory;
  }
  _record.status = status;
  _record.path = line;
  return true;
}

bool GitStatusParser::readHeader(std::string_view line) {
  if (!skipField(line, 1)) return fail("short status header");
  _record.kind = GitStatusRecord::Kind::header;
  std::size_t blank = line.find(' ');
  _record.path = line.substr(0, blank);
  if (blank != std::string_view::npos) _record.originalPath = line.substr(blank + 1);
  return true;
}

bool GitStatusParser::readTracked(std::string_view line, std::size_t modes, std::size_t hashes) {
  if (line.size() < headLength || line[1] != ' ' || line[4] != ' ' || line[9] != ' ') return fail("short status line");
  std::uint64_t submodule = submoduleBits(line.substr(5, 4));
  if (submodule == invalid) return fail("unknown submodule field in a status line");
  bool unmerged = line[0] == 'u';
  std::uint64_t letters = unmerged ? conflictBits(line[2], line[3]) : letterBits(line[2], line[3]);
  if (letters == invalid) return fail("unknown letters in a status line");
  std::string_view rest = line.substr(headLength);
  for (std::size_t count = 0; count < modes; ++count) {
    if (!skipField(rest, modeLength)) return fail("malformed file modes in a status line");
  }
  for (std::size_t count = 0; count < hashes; ++count) {
    if (!skipObjectName(rest)) return fail("malformed object names in a status line");
  }
  _record.status = letters | submodule;
  if (line[0] == '2' && !takeSimilarity(rest, _record.similarity)) return fail("malformed similarity in a status line");
  _record.path = rest;
  return true;
}

bool GitStatusParser::finish() {
  if (_error) return false;
  if (_awaitsOriginal || _buffer.hasPartialToken()) return fail("the status ends inside a line");
  return true;
}
