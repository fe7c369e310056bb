#include "SubversionDiffParser.h"

#include <algorithm>
#include <charconv>
#include <unordered_map>

#include "QRBSourceControlStatusValues.h"

namespace {

constexpr std::size_t longestPatch = std::size_t{8} << 20;
constexpr std::size_t longestTogether = std::size_t{96} << 20;
constexpr std::string_view fileMark = "Index: ";
constexpr std::string_view propertyMark = "Property changes on: ";

/// The second number of "12,3"; 1 where there is one alone.
std::uint64_t countOf(std::string_view range) {
  std::size_t comma = range.find(',');
  if (comma == std::string_view::npos) return 1;
  std::uint64_t count = 0;
  std::from_chars(range.data() + comma + 1, range.data() + range.size(), count);
  return count;
}

/// "@@ -1,2 +3,4 @@", and "##" in place of "@@" for properties.
bool readHunk(std::string_view line, std::uint64_t& oldLines, std::uint64_t& newLines) {
  bool isHunk = line.starts_with("@@ -") || line.starts_with("## -");
  std::size_t plus = isHunk ? line.find(" +", 4) : std::string_view::npos;
  std::size_t end = plus == std::string_view::npos ? plus : line.find(' ', plus + 2);
  if (end == std::string_view::npos) return false;
  oldLines = countOf(line.substr(4, plus - 4));
  newLines = countOf(line.substr(plus + 2, end - plus - 2));
  return true;
}

qrb::Dictionary dictionaryOf(SubversionDiffFile&& file, const SubversionDifference* difference) {
  char change = difference != nullptr ? difference->change : 'M';
  bool changesProperties = difference != nullptr && difference->changesProperties;
  std::uint64_t status = change == 'A'   ? QRBSourceControlStatusAdded
                         : change == 'D' ? QRBSourceControlStatusDeleted
                         : change == 'M' ? QRBSourceControlStatusModified
                                         : 0;
  if (changesProperties && change != 'A' && change != 'D') status |= QRBSourceControlStatusPropertiesModified;
  qrb::Dictionary entry = {{"path", std::move(file.path)},
                           {"status", status},
                           {"change", change == 'A'   ? "added"
                                      : change == 'D' ? "deleted"
                                      : change == 'M' ? "modified"
                                                      : "properties"},
                           {"isBinary", file.isBinary},
                           {"isSubmodule", false},
                           {"additions", file.additions},
                           {"deletions", file.deletions}};
  if (difference != nullptr && difference->kind == SubversionNodeKind::folder) entry["isFolder"] = true;
  if (file.isPatchLeftOut) {
    entry["isPatchLeftOut"] = true;
  } else {
    entry["patch"] = std::move(file.patch);
  }
  return entry;
}

/// What was replaced is printed twice, as gone and as new; the patches one after the other lead from one to the other.
void joinReplaced(std::vector<SubversionDiffFile>& files) {
  std::unordered_map<std::string, std::size_t> places;
  std::vector<SubversionDiffFile> joined;
  for (SubversionDiffFile& file : files) {
    auto [place, isNew] = places.emplace(file.path, joined.size());
    if (isNew) {
      joined.push_back(std::move(file));
      continue;
    }
    SubversionDiffFile& first = joined[place->second];
    first.patch += file.patch;
    first.additions += file.additions;
    first.deletions += file.deletions;
    first.isBinary |= file.isBinary;
    first.isPatchLeftOut |= file.isPatchLeftOut;
  }
  files = std::move(joined);
}

}  // namespace

void SubversionDiffParser::feed(std::string_view bytes) {
  while (!bytes.empty()) {
    std::size_t end = bytes.find('\n');
    bool isWhole = end != std::string_view::npos;
    std::string_view part = bytes.substr(0, isWhole ? end + 1 : bytes.size());
    bytes.remove_prefix(part.size());
    if (!isWhole) {
      _partial.append(part);
    } else if (_partial.empty()) {
      takeLine(part);
    } else {
      _partial.append(part);
      takeLine(_partial);
      _partial.clear();
    }
  }
}

void SubversionDiffParser::finish() {
  if (!_partial.empty()) takeLine(_partial);
  _partial.clear();
}

void SubversionDiffParser::beginFile(std::string_view path) {
  if (path.ends_with('\n')) path.remove_suffix(1);
  if (path.ends_with('\r')) path.remove_suffix(1);
  _files.push_back({std::string(path), {}, 0, 0, false, false});
  _isInProperties = false;
  _isInHeader = true;
  _hasContents = false;
  _isAdded = false;
  _isDeleted = false;
}

void SubversionDiffParser::append(std::string_view line) {
  SubversionDiffFile& file = _files.back();
  if (file.isPatchLeftOut) return;
  if (file.patch.size() + line.size() > longestPatch || _together + line.size() > longestTogether) {
    _together -= file.patch.size();
    file.isPatchLeftOut = true;
    file.patch = {};
    return;
  }
  _together += line.size();
  file.patch.append(line);
}

/// What names the file is written anew: the library names it from the repository's root on, and says in words where git
/// has "/dev/null". True where the line is no other.
bool SubversionDiffParser::appendHeader(std::string_view line) {
  const std::string path = _files.back().path;
  if (line.starts_with("=====")) return true;
  if (line.starts_with("diff --git ")) {
    append("diff --git a/" + path + " b/" + path + "\n");
  } else if (line.starts_with("new file mode ")) {
    _isAdded = true;
    append(line);
  } else if (line.starts_with("deleted file mode ")) {
    _isDeleted = true;
    append(line);
  } else if (line.starts_with("--- ")) {
    append(_isAdded ? "--- /dev/null\n" : "--- a/" + path + "\n");
  } else if (line.starts_with("+++ ")) {
    append(_isDeleted ? "+++ /dev/null\n" : "+++ b/" + path + "\n");
    _isInHeader = false;
  } else {
    return false;
  }
  return true;
}

void SubversionDiffParser::takeLine(std::string_view line) {
  bool isContent = _oldLines > 0 || _newLines > 0;
  if (!isContent && line.starts_with(fileMark)) {
    beginFile(line.substr(fileMark.size()));
    return;
  }
  if (_files.empty()) return;
  SubversionDiffFile& file = _files.back();
  // No line of what a binary file is told by begins like another file.
  if (file.isBinary && !_isInProperties && !line.starts_with(propertyMark)) return;
  if (isContent) {
    char kind = line.empty() ? ' ' : line.front();
    if (kind == '+' && _newLines > 0) {
      --_newLines;
      if (!_isInProperties) ++file.additions;
    } else if (kind == '-' && _oldLines > 0) {
      --_oldLines;
      if (!_isInProperties) ++file.deletions;
    } else if (kind != '\\') {
      _oldLines -= std::min<std::uint64_t>(_oldLines, 1);
      _newLines -= std::min<std::uint64_t>(_newLines, 1);
    }
  } else if (_isInHeader && appendHeader(line)) {
    return;
  } else if (readHunk(line, _oldLines, _newLines)) {
    _isInHeader = false;
    _hasContents |= !_isInProperties;
  } else if (line.starts_with(propertyMark)) {
    _isInProperties = true;
    // Where nothing but properties differs, there is nothing to apply.
    if (!_hasContents && !_isAdded && !_isDeleted) file.patch.clear();
    append(std::string(propertyMark) + file.path + "\n");
    return;
  } else if (line.starts_with("Cannot display: file marked as a binary type.") ||
             line.starts_with("GIT binary patch")) {
    file.isBinary = _hasContents = true;
    append("Binary files " + (_isAdded ? "/dev/null" : "a/" + file.path) + " and " +
           (_isDeleted ? "/dev/null" : "b/" + file.path) + " differ\n");
    return;
  }
  append(line);
}

qrb::Dictionary subversionDiffDictionary(long from, long against, std::vector<SubversionDiffFile>&& files,
                                         const std::vector<SubversionDifference>& differences) {
  std::unordered_map<std::string_view, const SubversionDifference*> known;
  for (const SubversionDifference& difference : differences) {
    known.emplace(difference.path.empty() ? "." : std::string_view(difference.path), &difference);
  }
  for (SubversionDiffFile& file : files) {
    if (file.path.empty()) file.path = ".";
  }
  joinReplaced(files);
  // What has no lines to show, an empty file or a folder, is printed without a part of its own.
  std::unordered_map<std::string, bool> printed;
  for (const SubversionDiffFile& file : files) printed.emplace(file.path, true);
  for (const auto& [path, difference] : known) {
    if (!printed.contains(std::string(path))) files.push_back({std::string(path), {}, 0, 0, false, false});
  }
  std::ranges::stable_sort(files, {}, &SubversionDiffFile::path);
  qrb::Dictionary dictionary = qrb::Dictionary::object();
  if (from >= 0) dictionary["from"] = std::to_string(from);
  if (against >= 0) dictionary["against"] = std::to_string(against);
  std::uint64_t additions = 0;
  std::uint64_t deletions = 0;
  qrb::Dictionary entries = qrb::Dictionary::array();
  for (SubversionDiffFile& file : files) {
    additions += file.additions;
    deletions += file.deletions;
    auto difference = known.find(file.path);
    entries.append(dictionaryOf(std::move(file), difference == known.end() ? nullptr : difference->second));
  }
  dictionary["files"] = std::move(entries);
  dictionary["additions"] = additions;
  dictionary["deletions"] = deletions;
  return dictionary;
}
