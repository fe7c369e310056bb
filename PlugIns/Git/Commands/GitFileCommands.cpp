#include "GitFileCommands.h"

#include <charconv>
#include <utility>

#include "GitCommandParts.h"

namespace {

void feedPaths(GitCommand& command, const GitPathList& paths) {
  std::size_t size = 0;
  for (const std::string& path : paths) size += path.size() + 1;
  command.standardInput.reserve(size);
  for (const std::string& path : paths) command.standardInput.append(path).push_back('\0');
}

}  // namespace

void gitAddPathList(GitCommand& command, const GitPathList& paths) {
  feedPaths(command, paths);
  gitAddArguments(command, {"--pathspec-from-file=-", "--pathspec-file-nul"});
}

namespace {

GitCommand pathListCommand(std::initializer_list<std::string_view> arguments, const GitPathList& paths) {
  GitCommand command = gitMakeWritingCommand(arguments);
  gitAddPathList(command, paths);
  return command;
}

}  // namespace

GitCommand gitAddCommand(const GitPathList& paths) {
  return pathListCommand({"add"}, paths);
}

GitCommand gitIntendToAddCommand(const GitPathList& paths) {
  return pathListCommand({"add", "--intent-to-add", "--no-all"}, paths);
}

GitCommand gitForgetCommand(const GitPathList& paths) {
  GitCommand command = gitMakeWritingCommand({"update-index", "--force-remove", "-z", "--stdin"});
  feedPaths(command, paths);
  return command;
}

GitCommand gitCheckoutIndexCommand(const GitPathList& paths) {
  GitCommand command = gitMakeWritingCommand({"checkout-index", "--force", "--index", "--quiet", "-z", "--stdin"});
  feedPaths(command, paths);
  return command;
}

GitCommand gitRemoveCommand(const GitPathList& paths) {
  return pathListCommand({"rm", "-r", "--quiet"}, paths);
}

GitCommand gitMoveCommand(const std::string& from, const std::string& to) {
  GitCommand command = gitMakeWritingCommand({"mv", "--"});
  gitAddArguments(command, {from, to});
  return command;
}

GitCommand gitRestoreCommand(const GitPathList& paths) {
  return pathListCommand({"restore", "--quiet", "--source=HEAD", "--staged", "--worktree"}, paths);
}

GitCommand gitResetCommand() {
  return gitMakeWritingCommand({"reset", "--quiet", "--hard"});
}

GitCommand gitIndexCommand() {
  GitCommand command = gitMakeCommand({"ls-files", "--stage", "-z"});
  command.output = GitOutput::blocks;
  return command;
}

GitCommand gitUnstagedCommand(bool isOfIntended) {
  GitCommand command = gitMakeCommand({"diff-files", "--name-only", "-z"});
  command.output = GitOutput::blocks;
  if (isOfIntended) gitAddArguments(command, {"--diff-filter=A"});
  return command;
}

GitCommand gitRefreshCommand() {
  return gitMakeWritingCommand({"update-index", "-q", "--refresh"});
}

void gitAppendIndexEntry(std::string& entries, std::uint32_t mode, std::string_view object, std::uint8_t stage,
                         std::string_view path) {
  char digits[16];
  auto end = std::to_chars(digits, digits + sizeof digits, mode, 8).ptr;
  entries.append(digits, end).append(" ").append(object).append(" ");
  entries.append(std::to_string(stage)).append("\t").append(path).push_back('\0');
}

GitCommand gitIndexUpdateCommand(std::string entries) {
  GitCommand command = gitMakeWritingCommand({"update-index", "-z", "--index-info"});
  command.standardInput = std::move(entries);
  return command;
}

GitCommand gitTreePathsCommand(std::string_view revision) {
  if (!gitIsPlainRevision(revision)) return gitRefusedCommand("revision", revision);
  GitCommand command = gitMakeCommand({"ls-tree", "-r", "-z", "--name-only", "--full-tree", "--end-of-options"});
  command.output = GitOutput::blocks;
  gitAddArguments(command, {revision});
  return command;
}
