#include "GitDiffParser.h"

#include <charconv>

#include "GitChange.h"

namespace {

std::string_view takeField(std::string_view& text, char delimiter) {
  std::size_t end = text.find(delimiter);
  std::string_view field = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return field;
}

bool isMode(std::string_view text) {
  return text.size() == 6 && text.find_first_not_of("01234567") == std::string_view::npos;
}

bool isObject(std::string_view text) {
  return (text.size() == 40 || text.size() == 64) &&
         text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

bool readNumber(std::string_view text, std::uint64_t& number) {
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() && !text.empty();
}

}  // namespace

bool GitDiffParser::fail(const char* what) {
  const qrb::TokenBuffer& buffer = _awaits == Awaits::patches ? _lines : _summary;
  std::uint64_t before = _awaits == Awaits::patches ? _summary.tokenOffset() : 0;
  _error = qrb::ParseError{what, before + buffer.recordOffset()};
  return false;
}

bool GitDiffParser::feed(std::string_view bytes) {
  if (_error) return false;
  if (_awaits == Awaits::patches) {
    _lines.append(bytes);
    return readPatches();
  }
  _summary.append(bytes);
  if (!readSummary()) return false;
  if (_awaits == Awaits::patches) {
    _lines.append(_summary.rest());
    return readPatches();
  }
  return _summary.suspend() || fail("a difference is too long");
}

bool GitDiffParser::readSummary() {
  qrb::TokenSpan token;
  while (_awaits != Awaits::patches && _summary.nextToken(token)) {
    if (!read(_summary.at(token))) return false;
    _summary.endRecord();
  }
  return true;
}

bool GitDiffParser::read(std::string_view token) {
  switch (_awaits) {
    case Awaits::change:
      if (token.empty()) {
        if (_counted != _files.size()) return fail("differences without line counts");
        _awaits = Awaits::patches;
        return true;
      }
      return token.front() == ':' ? readChange(token.substr(1)) : readCount(token);
    case Awaits::changePath:
    case Awaits::changeNewPath: {
      if (token.empty()) return fail("a difference without a path");
      GitDiffFile& file = _files.back();
      bool hasTwo = file.letter == 'R' || file.letter == 'C';
      if (hasTwo && _awaits == Awaits::changePath) {
        file.originalPath = token;
        _awaits = Awaits::changeNewPath;
        return true;
      }
      file.path = token;
      _awaits = Awaits::change;
      return true;
    }
    case Awaits::countPath:
      if (token != _files[_counted].originalPath) return fail("line counts of another file");
      _awaits = Awaits::countNewPath;
      return true;
    case Awaits::countNewPath:
      return endCount(token);
    case Awaits::patches:
      break;
  }
  return true;
}

bool GitDiffParser::readChange(std::string_view token) {
  if (_counted != 0) return fail("a difference after the line counts");
  GitDiffFile& file = _files.emplace_back();
  file.oldMode = takeField(token, ' ');
  file.newMode = takeField(token, ' ');
  file.oldObject = takeField(token, ' ');
  file.newObject = takeField(token, ' ');
  GitPendingChange change;
  if (!isMode(file.oldMode) || !isMode(file.newMode) || !isObject(file.oldObject) || !isObject(file.newObject) ||
      !change.readLetter(token)) {
    return fail("malformed difference");
  }
  file.letter = change.letter;
  file.similarity = change.hasOriginal() ? change.similarity : 0;
  _awaits = Awaits::changePath;
  return true;
}

bool GitDiffParser::readCount(std::string_view token) {
  if (_counted == _files.size()) return fail("line counts of no file");
  GitDiffFile& file = _files[_counted];
  std::string_view additions = takeField(token, '\t');
  std::string_view deletions = takeField(token, '\t');
  if (additions == "-" && deletions == "-") {
    file.isBinary = true;
  } else if (!readNumber(additions, file.additions) || !readNumber(deletions, file.deletions)) {
    return fail("malformed line counts");
  }
  if (!token.empty()) return endCount(token);
  if (file.originalPath.empty()) return fail("line counts without a path");
  _awaits = Awaits::countPath;
  return true;
}

bool GitDiffParser::endCount(std::string_view path) {
  if (path != _files[_counted].path) return fail("line counts of another file");
  ++_counted;
  _awaits = Awaits::change;
  return true;
}

bool GitDiffParser::readPatches() {
  qrb::TokenSpan line;
  while (_lines.nextToken(line)) {
    if (!readLine(_lines.at(line))) return false;
    _lines.endRecord();
  }
  return _lines.suspend() || fail("a line of a patch is too long");
}

bool GitDiffParser::readLine(std::string_view line) {
  // Lines of files come after a mark, so none of them can look like this.
  if ((line.starts_with("diff --git ") || line.starts_with("* Unmerged path ")) && !beginPatch()) return false;
  if (_patched == 0) return fail("a patch without a beginning");
  GitDiffFile& file = _files[_patched - 1];
  if (file.isPatchLeftOut) return true;
  if (file.patch.size() + line.size() >= maximumPatch || _patchBytes + line.size() >= maximumPatches) {
    _patchBytes -= file.patch.size();
    std::string().swap(file.patch);
    file.isPatchLeftOut = true;
    return true;
  }
  file.patch.append(line).push_back('\n');
  _patchBytes += line.size() + 1;
  return true;
}

bool GitDiffParser::beginPatch() {
  if (_sectionsLeft > 0) {
    --_sectionsLeft;
    return true;
  }
  if (_patched == _files.size()) return fail("a patch of no file");
  // A file that becomes something else is taken away in one section and made anew in another.
  _sectionsLeft = _files[_patched++].letter == 'T' ? 1 : 0;
  return true;
}

bool GitDiffParser::finish() {
  if (_error) return false;
  if (_awaits != Awaits::patches) {
    // Where nothing differs nothing is printed.
    return (_files.empty() && !_summary.hasRest()) || fail("the differences end early");
  }
  if (_lines.hasPartialToken() || _patched != _files.size() || _sectionsLeft != 0) return fail("the patches end early");
  return true;
}
