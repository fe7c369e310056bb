// What blame, the staging area, trees, commits and settings print; and the check that keeps paths in a working copy.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "GitBlameReader.h"
#include "GitCommitCommands.h"
#include "GitContentCommands.h"
#include "GitDiffCommands.h"
#include "GitFilePaths.h"
#include "GitIndexParser.h"
#include "GitPrograms.h"

namespace {

std::string describe(const GitBlameRecord& record) {
  if (record.line == 0 || record.count == 0) std::abort();
  return std::string(record.hash) + std::to_string(record.line) + ' ' + std::to_string(record.count);
}

std::string describe(const GitIndexRecord& record) {
  if (record.path.empty() || record.stage > 3) std::abort();
  return std::to_string(record.mode) + std::string(record.path);
}

template <class Parser>
std::string read(std::string_view bytes, std::size_t cut) {
  Parser parser;
  std::string result;
  auto sink = [&](const auto& record) { result.append(describe(record)).push_back('\0'); };
  bool isWhole = parser.feed(bytes.substr(0, cut), sink) && parser.feed(bytes.substr(cut), sink) && parser.finish();
  if (isWhole == parser.error().has_value()) std::abort();
  return isWhole ? result : result + parser.error()->what + std::to_string(parser.error()->offset);
}

/// A path that was let through leads to something below the root, by its names alone.
void checkPath(std::string_view file) {
  std::string path;
  if (!gitResolvePath("/no/such/root", file, path)) return;
  if (path.empty() || path.front() == '/' || path.back() == '/') std::abort();
  for (std::string_view rest = path; !rest.empty() && path != ".";) {
    std::size_t end = std::min(rest.find('/'), rest.size());
    std::string_view part = rest.substr(0, end);
    if (part.empty() || part == "." || part == ".." || part == ".git") std::abort();
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view bytes(reinterpret_cast<const char*>(data), size);
  if (read<GitBlameParser>(bytes, size) != read<GitBlameParser>(bytes, size / 2)) std::abort();
  if (read<GitIndexParser>(bytes, size) != read<GitIndexParser>(bytes, size / 2)) std::abort();
  GitBlameReader reader;
  if (reader.feed(bytes) && reader.finish() && reader.hashes().empty() && !reader.items({})) std::abort();
  std::string_view commit = gitReadCommit(bytes);
  if (commit.find_first_not_of("0123456789abcdef") != std::string_view::npos) std::abort();
  gitReadTreeEntry(bytes);
  for (const GitRawChange& change : gitReadRawDiff(bytes)) {
    if (change.path.empty() || change.newObject.empty()) std::abort();
  }
  gitMayNamePrograms(bytes);
  for (const auto& [key, value] : gitNeutralizePrograms(bytes).settings) {
    if (key.find('\0') != std::string::npos) std::abort();
  }
  checkPath(bytes);
  return 0;
}
