#include "GitStaging.h"

#include <algorithm>
#include <charconv>
#include <filesystem>

#include "GitCommitCommands.h"
#include "GitFilePaths.h"
#include "GitIndexParser.h"

namespace {

/// What git has in the staging area for a file of which nothing is staged.
constexpr std::string_view emptyObjects[] = {"e69de29bb2d1d6434b8b29ae775ad8c2e48c5391",
                                             "473a0f4c3be8a93681a267e3b1e9a7dcda1185436fe141f7749120a303721813"};

bool isOnDisk(const std::string& root, const std::string& path) {
  std::error_code error;
  return std::filesystem::exists(std::filesystem::symlink_status(qrb::pathOnDisk(root, path), error));
}

/// Whether git would find there what is staged, changed or not: no folder in its place, no link on the way.
bool isFileOnDisk(const std::string& root, const std::string& path, std::uint32_t mode) {
  constexpr std::uint32_t submodule = 0160000;
  std::error_code error;
  auto found = std::filesystem::symlink_status(qrb::pathOnDisk(root, path), error);
  if (!std::filesystem::exists(found) || qrb::isBeyondLink(root, path)) return false;
  return mode == submodule || !std::filesystem::is_directory(found);
}

}  // namespace

GitPathList gitReadPaths(std::string_view output) {
  GitPathList paths;
  while (!output.empty()) {
    std::size_t end = std::min(output.find('\0'), output.size());
    paths.emplace_back(output.substr(0, end));
    output.remove_prefix(std::min(end + 1, output.size()));
  }
  return paths;
}

GitOutcome GitStaging::read(Entries& entries) const {
  GitPathSet names(_paths);
  GitIndexParser parser;
  return _tool.parse(gitIndexCommand(), parser, [&](const GitIndexRecord& record) {
    if (names.covers(record.path)) {
      entries[{std::string(record.path), record.stage}] = {record.mode, std::string(record.object)};
    }
  });
}

GitOutcome GitStaging::findIntended() {
  bool isPossible = std::ranges::any_of(_before, [](const Entries::value_type& entry) {
    return std::ranges::find(emptyObjects, entry.second.object) != std::end(emptyObjects);
  });
  if (!isPossible) return {};
  std::string output;
  GitOutcome outcome = _tool.run(gitUnstagedCommand(true), output);
  GitPathSet names(_paths);
  for (const std::string& path : gitReadPaths(output)) {
    if (names.covers(path)) _intended.insert(path);
  }
  return outcome;
}

GitOutcome GitStaging::prepare() {
  GitOutcome outcome = read(_before);
  for (const auto& [place, entry] : _before) {
    if (outcome && place.second > 0) {
      outcome = GitOutcome::failed(
          {GitFailureKind::midOperation, place.first, "“" + place.first + "” is still in conflict."});
    }
  }
  return outcome ? findIntended() : outcome;
}

GitOutcome GitStaging::stage() {
  GitPathSet names(_paths);
  std::vector<bool> isStaged(_paths.size());
  for (const auto& [place, entry] : _before) {
    names.find(place.first, [&](std::size_t name) { isStaged[name] = true; });
  }
  GitPathList toAdd;
  for (std::size_t place = 0; place < _paths.size(); ++place) {
    if (isStaged[place] || isOnDisk(_root, _paths[place])) toAdd.push_back(_paths[place]);
  }
  return toAdd.empty() ? GitOutcome() : _tool.run(gitAddCommand(toAdd));
}

std::vector<bool> GitStaging::findVanished() const {
  GitPathSet names(_paths);
  std::vector<bool> isThere(_paths.size());
  std::vector<bool> isVanished(_paths.size());
  for (const auto& entry : _before) {
    const std::string& path = entry.first.first;
    names.find(path, [&](std::size_t name) {
      isThere[name] = isThere[name] || isFileOnDisk(_root, path, entry.second.mode);
      isVanished[name] = !isThere[name];
    });
  }
  return isVanished;
}

GitOutcome GitStaging::removeVanished(GitPathList& names) const {
  std::vector<bool> isVanished = findVanished();
  if (std::ranges::find(isVanished, true) == isVanished.end()) return {};
  // A revision has something of a file that is gone if what is staged now differs from it.
  GitPathSet all(_paths);
  std::vector<bool> isKnown(_paths.size());
  auto know = [&](std::string_view path) { all.find(path, [&](std::size_t name) { isKnown[name] = true; }); };
  std::string output;
  GitOutcome outcome = _tool.run(gitStagedPathsCommand(), output);
  if (outcome.failedWith(GitFailureKind::unbornHead)) {
    Entries now;
    outcome = read(now);
    for (const auto& entry : now) know(entry.first.first);
  }
  if (!outcome) return outcome;
  for (const std::string& path : gitReadPaths(output)) know(path);
  names.clear();
  for (std::size_t name = 0; name < _paths.size(); ++name) {
    if (!isVanished[name] || isKnown[name]) names.push_back(_paths[name]);
  }
  if (!names.empty()) return {};
  return GitOutcome::failed({GitFailureKind::nothingToCommit,
                             {},
                             "Nothing is there any more of what was staged, and no revision has had it."});
}

std::string GitStaging::remembered() const {
  std::string text;
  auto add = [&](char kind, const std::string& line) { text.append(1, kind).append(line).push_back('\0'); };
  for (const std::string& path : _paths) add('p', path);
  for (const std::string& path : _intended) add('i', path);
  for (const auto& [place, entry] : _before) {
    std::string line;
    gitAppendIndexEntry(line, entry.mode, entry.object, place.second, place.first);
    line.pop_back();
    add('e', line);
  }
  return text;
}

bool GitStaging::remember(std::string_view text) {
  // "100644 <object> 0<tab>path", as gitAppendIndexEntry() writes it.
  auto readEntry = [this](std::string_view line) {
    Entry entry;
    std::uint8_t stage = 0;
    std::size_t mode = line.find(' ');
    std::size_t object = line.find(' ', std::min(mode, line.size() - 1) + 1);
    std::size_t path = line.find('\t');
    if (mode == std::string_view::npos || object == std::string_view::npos || path == std::string_view::npos ||
        object > path) {
      return false;
    }
    constexpr int octal = 8;
    std::from_chars(line.data(), line.data() + mode, entry.mode, octal);
    entry.object = line.substr(mode + 1, object - mode - 1);
    std::from_chars(line.data() + object + 1, line.data() + path, stage);
    _before[{std::string(line.substr(path + 1)), stage}] = entry;
    return true;
  };
  for (const std::string& line : gitReadPaths(text)) {
    std::string_view rest = std::string_view(line).substr(std::min<std::size_t>(line.size(), 1));
    if (line.starts_with('p')) {
      _paths.emplace_back(rest);
    } else if (line.starts_with('i')) {
      _intended.emplace(rest);
    } else if (!line.starts_with('e') || rest.empty() || !readEntry(rest)) {
      return false;
    }
  }
  return true;
}

void GitStaging::restoreUncommitted(const std::string& root, std::string_view remembered) {
  GitTool tool(root, -1);
  tool.setChanging();
  GitStaging staging(tool, root, {});
  if (staging.remember(remembered)) staging.restoreUncommitted();
}

void GitStaging::restoreUncommitted() const {
  std::string output;
  GitOutcome outcome = _tool.run(gitStagedPathsCommand(), output);
  GitPathSet names(_paths);
  bool isStaged = outcome.failedWith(GitFailureKind::unbornHead);
  for (const std::string& path : gitReadPaths(output)) isStaged = isStaged || names.covers(path);
  if (isStaged) restore();
}

GitOutcome GitStaging::restore() const {
  Entries now;
  GitOutcome outcome = read(now);
  if (!outcome) return outcome;
  std::string changes;
  for (const auto& [place, entry] : now) {
    if (!_before.contains(place) || _intended.contains(place.first)) {
      gitAppendIndexEntry(changes, 0, std::string(entry.object.size(), '0'), place.second, place.first);
    }
  }
  for (const auto& [place, entry] : _before) {
    auto found = now.find(place);
    bool isChanged = found == now.end() || found->second != entry;
    if (isChanged && !_intended.contains(place.first)) {
      gitAppendIndexEntry(changes, entry.mode, entry.object, place.second, place.first);
    }
  }
  if (!changes.empty()) outcome = _tool.run(gitIndexUpdateCommand(std::move(changes)));
  if (!outcome || _intended.empty()) return outcome;
  return _tool.run(gitIntendToAddCommand({_intended.begin(), _intended.end()}));
}
