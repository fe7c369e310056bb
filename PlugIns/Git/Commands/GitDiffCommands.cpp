#include "GitDiffCommands.h"

#include <algorithm>
#include <charconv>

#include "GitCommandParts.h"

namespace {

/// Every repository knows the tree without entries, by the name that its kind of hash gives it.
std::string_view emptyTree(std::string_view hash) {
  return hash.size() == 64 ? "6ef19b41225c5369f1c104d45d8d85efa9b057b53b14b4b9b939dd74decc5321"
                           : "4b825dc642cb6eb9a060e54bf8d69288fbee4904";
}

/// Takes the text before a delimiter off the front, with it.
std::string_view take(std::string_view& text, char delimiter) {
  std::size_t end = std::min(text.find(delimiter), text.size());
  std::string_view result = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return result;
}

bool readMode(std::string_view text, std::uint32_t& mode) {
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), mode, 8);
  return error == std::errc() && end == text.data() + text.size();
}

}  // namespace

std::optional<GitCommand> gitDiffCommand(const GitDiffSide& from, const GitDiffSide& to) {
  using Kind = GitDiffSide::Kind;
  if (from.kind == to.kind && from.hash == to.hash) return std::nullopt;
  GitCommand command = gitMakeCommand({});
  // Ahead of the subcommand: names are shown as they are, and a file whose time alone has changed is no difference.
  gitAddArguments(command, {"-c", "core.quotePath=false", "-c", "diff.autoRefreshIndex=true", "diff", "--raw",
                            "--numstat", "--patch", "-z", "-M", "--no-abbrev", "--full-index", "--no-color",
                            "--no-ext-diff", "--no-textconv", "--no-relative", "--submodule=short"});
  command.output = GitOutput::blocks;
  bool isReversed = from.kind == Kind::workingCopy;
  // With the sides, git turns the prefixes round.
  gitAddArguments(command, {isReversed ? "--src-prefix=b/" : "--src-prefix=a/",
                            isReversed ? "--dst-prefix=a/" : "--dst-prefix=b/"});
  if (isReversed) gitAddArguments(command, {"-R"});
  for (const GitDiffSide* side : {&from, &to}) {
    const GitDiffSide& other = side == &from ? to : from;
    if (side->kind == Kind::commit) gitAddArguments(command, {side->hash});
    if (side->kind == Kind::nothing) {
      gitAddArguments(command, {side->hash.empty() ? emptyTree(other.hash) : side->hash});
    }
  }
  gitAddArguments(command, {"--"});
  return command;
}

GitCommand gitEmptyTreeCommand() {
  return gitMakeCommand({"hash-object", "-t", "tree", "--stdin"});
}

GitCommand gitRawDiffCommand(std::string_view from, std::string_view to) {
  return gitMakeComparison({"diff-tree", "-r", "-z", "--raw", "--no-renames", "--no-abbrev"}, from, to);
}

/// ":<old mode> <new mode> <old object> <new object> <letter>\0<path>\0".
std::vector<GitRawChange> gitReadRawDiff(std::string_view output) {
  std::vector<GitRawChange> changes;
  while (output.starts_with(':')) {
    output.remove_prefix(1);
    std::string_view head = take(output, '\0');
    GitRawChange change;
    bool isRead = readMode(take(head, ' '), change.oldMode) && readMode(take(head, ' '), change.newMode);
    take(head, ' ');
    change.newObject = take(head, ' ');
    change.path = take(output, '\0');
    if (!isRead || change.newObject.empty() || change.path.empty()) break;
    changes.push_back(std::move(change));
  }
  return changes;
}
