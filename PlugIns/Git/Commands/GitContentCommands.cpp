#include "GitContentCommands.h"

#include <charconv>
#include <utility>

#include "GitCommandParts.h"
#include "GitLogParser.h"

GitCommand gitBlameCommand(const std::string& path, std::string_view revision) {
  if (!revision.empty() && !gitIsPlainRevision(revision)) return gitRefusedCommand("revision", revision);
  if (!gitIsPlainPath(path)) return gitRefusedCommand("path", path);
  GitCommand command = gitMakeCommand({"blame", "--incremental", "--no-textconv"});
  command.output = GitOutput::blocks;
  if (!revision.empty()) gitAddArguments(command, {revision});
  gitAddArguments(command, {"--", path});
  return command;
}

GitCommand gitCommitMessagesCommand(std::string hashes) {
  GitCommand command =
      gitMakeCommand({"log", "--no-walk=unsorted", "--no-patch", "-z", "--no-show-signature", gitLogFormat, "--stdin"});
  command.output = GitOutput::blocks;
  command.standardInput = std::move(hashes);
  return command;
}

GitCommand gitTreeEntryCommand(std::string_view revision, const std::string& path) {
  if (!gitIsPlainRevision(revision)) return gitRefusedCommand("revision", revision);
  if (!gitIsPlainPath(path)) return gitRefusedCommand("path", path);
  GitCommand command = gitMakeCommand({"ls-tree", "-z", "--full-tree", "--end-of-options"});
  gitAddArguments(command, {revision, "--", path});
  return command;
}

/// "<mode> <type> <object name>\t<path>".
std::optional<GitTreeEntry> gitReadTreeEntry(std::string_view output) {
  GitTreeEntry entry;
  std::string_view head = output.substr(0, output.find('\t'));
  auto [end, error] = std::from_chars(head.data(), head.data() + head.size(), entry.mode, 8);
  std::size_t blank = head.rfind(' ');
  if (error != std::errc() || head.size() == output.size() || blank == std::string_view::npos) return std::nullopt;
  entry.object = head.substr(blank + 1);
  if (entry.object.find_first_not_of("0123456789abcdef") != std::string::npos) return std::nullopt;
  return entry;
}

GitCommand gitContentCommand(const GitTreeEntry& entry, const std::string& path) {
  if (entry.isLink()) {
    GitCommand command = gitMakeCommand({"cat-file", "blob", entry.object});
    command.output = GitOutput::blocks;
    return command;
  }
  GitCommand command = gitMakeCommand({"cat-file", "--filters"});
  command.output = GitOutput::blocks;
  command.arguments.push_back("--path=" + path);
  gitAddArguments(command, {entry.object});
  return command;
}

GitCommand gitParentsCommand(std::string_view revision) {
  if (!gitIsPlainRevision(revision)) return gitRefusedCommand("revision", revision);
  GitCommand command = gitMakeCommand({"rev-list", "--parents", "--max-count=1", "--end-of-options"});
  gitAddArguments(command, {revision, "--"});
  return command;
}

GitCommand gitRenamesCommand(std::string_view from, std::string_view to) {
  return gitMakeComparison({"diff-tree", "-r", "-z", "-M", "--name-status"}, from, to);
}
