#include "GitDiffValues.h"

#include "GitChange.h"
#include "QRBSourceControlStatusValues.h"

namespace {

constexpr std::string_view submoduleMode = "160000";
constexpr std::string_view noMode = "000000";

bool isNone(std::string_view object) {
  return object.find_first_not_of('0') == std::string_view::npos;
}

qrb::Dictionary dictionaryOf(GitDiffFile& file) {
  std::uint64_t status = gitChangeStatus(file.letter);
  std::vector<std::string_view> words = QRBSourceControlStatusWords(status);
  qrb::Dictionary entry = {{"path", std::move(file.path)},
                           {"status", status},
                           {"change", words.empty() ? std::string_view() : words.front()},
                           {"isBinary", file.isBinary},
                           {"isSubmodule", file.oldMode == submoduleMode || file.newMode == submoduleMode},
                           {"additions", file.additions},
                           {"deletions", file.deletions}};
  if (!file.originalPath.empty()) {
    entry["originalPath"] = std::move(file.originalPath);
    entry["similarity"] = file.similarity;
  }
  if (file.oldMode != noMode) entry["oldMode"] = std::move(file.oldMode);
  if (file.newMode != noMode) entry["newMode"] = std::move(file.newMode);
  if (!isNone(file.oldObject)) entry["oldObject"] = std::move(file.oldObject);
  if (!isNone(file.newObject)) entry["newObject"] = std::move(file.newObject);
  if (file.isPatchLeftOut) {
    entry["isPatchLeftOut"] = true;
  } else {
    entry["patch"] = std::move(file.patch);
  }
  return entry;
}

}  // namespace

qrb::Dictionary gitDiffDictionary(const GitDiffSide& from, const GitDiffSide& against,
                                  std::vector<GitDiffFile>&& files) {
  qrb::Dictionary dictionary = qrb::Dictionary::object();
  if (from.kind == GitDiffSide::Kind::commit) dictionary["from"] = from.hash;
  if (against.kind == GitDiffSide::Kind::commit) dictionary["against"] = against.hash;
  std::uint64_t additions = 0;
  std::uint64_t deletions = 0;
  qrb::Dictionary entries = qrb::Dictionary::array();
  for (GitDiffFile& file : files) {
    additions += file.additions;
    deletions += file.deletions;
    entries.append(dictionaryOf(file));
  }
  dictionary["files"] = std::move(entries);
  dictionary["additions"] = additions;
  dictionary["deletions"] = deletions;
  return dictionary;
}
