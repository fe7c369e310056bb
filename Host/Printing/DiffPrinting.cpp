#include "DiffPrinting.h"

#include "QRBSourceControlCancellable.h"
#include "QRBSourceControlRepository.h"
#include "Text.h"

namespace host {

namespace {

using File = qrb::Dictionary;

const File::Array& filesIn(const qrb::Dictionary& dictionary) {
  return dictionary["files"].elements();
}

// The plug-in may be anybody's: what is missing, or something else than it should be, is left out.
const std::string& textIn(const File& file, const char* key) {
  return file[key].string();
}
std::uint64_t numberIn(const File& file, const char* key) {
  const File& number = file[key];
  return number.isInteger() && !number.isNegative() ? number.unsignedInteger() : 0;
}
bool isSet(const File& file, const char* key) {
  return file[key].isBoolean() && file[key].boolean();
}

JSONValue jsonOf(const File& file) {
  JSONValue entry;
  setPath(entry, "path", textIn(file, "path"));
  entry["change"] = textIn(file, "change");
  if (std::string original = textIn(file, "originalPath"); !original.empty()) {
    setPath(entry, "originalPath", original);
    entry["similarity"] = numberIn(file, "similarity");
  }
  entry["binary"] = isSet(file, "isBinary");
  entry["submodule"] = isSet(file, "isSubmodule");
  entry["additions"] = numberIn(file, "additions");
  entry["deletions"] = numberIn(file, "deletions");
  for (const char* key : {"oldMode", "newMode"}) {
    if (std::string mode = textIn(file, key); !mode.empty()) entry[key] = mode;
  }
  if (!isSet(file, "isPatchLeftOut")) setPath(entry, "patch", textIn(file, "patch"));
  return entry;
}

Style styleOf(std::string_view line, bool isInHunk) {
  if (line.starts_with("@@")) return Style::cyan;
  if (!isInHunk) return Style::bold;
  if (line.starts_with('+')) return Style::green;
  if (line.starts_with('-')) return Style::red;
  return Style::plain;
}

void writeForTerminal(Output& output, std::string_view patch) {
  bool isInHunk = false;
  while (!patch.empty()) {
    std::size_t end = std::min(patch.find('\n'), patch.size());
    std::string_view line = patch.substr(0, end);
    isInHunk = isInHunk || line.starts_with("@@");
    output.write(styleOf(line, isInHunk), displayText(line));
    output.write("\n");
    patch.remove_prefix(std::min(end + 1, patch.size()));
  }
}

std::string nameOf(const File& file) {
  std::string original = textIn(file, "originalPath");
  return (original.empty() ? "" : displayPath(original) + " -> ") + displayPath(textIn(file, "path"));
}

}  // namespace

qrb::Result<qrb::Dictionary> findDifferences(Session& session, const QRBSourceControlRepositoryPtr& repository,
                                             const QRBSourceControlRevisionLocationPtr& from,
                                             const QRBSourceControlRevisionLocationPtr& against) {
  auto found = std::make_shared<qrb::Dictionary>();
  qrb::Error failure = session.perform("Comparing", [&](Session::Done done) {
    return repository->diffLocation(from, against, nullptr, [found, done](qrb::Dictionary answer, qrb::Error error) {
      *found = std::move(answer);
      done(std::move(error));
    });
  });
  if (failure) return failure;
  return std::move(*found);
}

std::vector<JSONValue> jsonOfDifferences(const qrb::Dictionary& dictionary) {
  std::vector<JSONValue> entries;
  for (const File& file : filesIn(dictionary)) entries.push_back(jsonOf(file));
  return entries;
}

void writePatches(Output& output, const qrb::Dictionary& dictionary) {
  for (const File& file : filesIn(dictionary)) {
    std::string patch = textIn(file, "patch");
    if (isSet(file, "isPatchLeftOut")) {
      output.write(nameOf(file) + ": the differences are too long to be shown\n");
    } else if (output.isTerminal()) {
      writeForTerminal(output, patch);
    } else {
      output.write(patch);
    }
  }
}

void writeSummary(Output& output, const qrb::Dictionary& dictionary) {
  for (const File& file : filesIn(dictionary)) {
    std::string change = textIn(file, "change");
    output.write(Style::cyan, change + std::string(change.size() < 12 ? 12 - change.size() : 1, ' '));
    if (isSet(file, "isBinary")) {
      output.write("binary");
    } else {
      output.write(Style::green, "+" + std::to_string(numberIn(file, "additions")));
      output.write(" ");
      output.write(Style::red, "-" + std::to_string(numberIn(file, "deletions")));
    }
    output.write("  " + nameOf(file) + "\n");
  }
}

}  // namespace host
