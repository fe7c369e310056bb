#include "GitChange.h"

#include "QRBSourceControlStatusValues.h"

namespace {

struct Letter {
  char letter;
  std::uint64_t status;
  std::uint64_t remoteStatus;
};

constexpr Letter letters[] = {
    {'M', QRBSourceControlStatusModified, QRBSourceControlStatusRemoteModified},
    {'A', QRBSourceControlStatusAdded, QRBSourceControlStatusRemoteAdded},
    {'D', QRBSourceControlStatusDeleted, QRBSourceControlStatusRemoteDeleted},
    {'R', QRBSourceControlStatusRenamed, QRBSourceControlStatusRemoteRenamed},
    {'C', QRBSourceControlStatusCopied, QRBSourceControlStatusRemoteCopied},
    {'T', QRBSourceControlStatusTypeChanged, QRBSourceControlStatusRemoteTypeChanged},
    // Met only where the staging area takes part in the comparison.
    {'U', QRBSourceControlStatusConflicted, QRBSourceControlStatusRemoteModified},
};

const Letter* findLetter(char letter) {
  for (const Letter& entry : letters) {
    if (entry.letter == letter) return &entry;
  }
  return nullptr;
}

}  // namespace

std::uint64_t gitChangeStatus(char letter) {
  const Letter* entry = findLetter(letter);
  return entry == nullptr ? 0 : entry->status;
}

std::uint64_t gitRemoteChangeStatus(char letter) {
  const Letter* entry = findLetter(letter);
  return entry == nullptr ? 0 : entry->remoteStatus;
}

bool GitPendingChange::readLetter(std::string_view token) {
  if (token.empty() || token.size() > 4 || findLetter(token[0]) == nullptr) return false;
  unsigned value = 0;
  for (char digit : token.substr(1)) {
    if (digit < '0' || digit > '9') return false;
    value = value * 10 + static_cast<unsigned>(digit - '0');
  }
  if (value > 100) return false;
  *this = GitPendingChange{};
  letter = token[0];
  similarity = static_cast<std::uint8_t>(value);
  return true;
}

GitChange GitPendingChange::resolve(const qrb::TokenBuffer& buffer) const {
  GitChange change{letter, similarity, buffer.at(path), {}};
  if (hasOriginal()) change.originalPath = buffer.at(originalPath);
  return change;
}

bool GitNameStatusParser::next() {
  qrb::TokenSpan token;
  if (_awaits == Awaits::letter) _buffer.endRecord();
  while (!_error && _buffer.nextToken(token)) {
    switch (_awaits) {
      case Awaits::letter:
        if (!_pending.readLetter(_buffer.at(token))) return fail("unknown kind of change");
        _awaits = Awaits::firstPath;
        continue;
      case Awaits::firstPath:
        if (token.length == 0) return fail("change without a path");
        _pending.path = token;
        if (_pending.hasOriginal()) {
          _pending.originalPath = token;
          _awaits = Awaits::secondPath;
          continue;
        }
        break;
      case Awaits::secondPath:
        if (token.length == 0) return fail("change without a path");
        _pending.path = token;
        break;
    }
    _awaits = Awaits::letter;
    _record = _pending.resolve(_buffer);
    return true;
  }
  return false;
}

bool GitNameStatusParser::finish() {
  if (_error) return false;
  if (_awaits != Awaits::letter || _buffer.hasPartialToken()) return fail("the changes end inside one");
  return true;
}
