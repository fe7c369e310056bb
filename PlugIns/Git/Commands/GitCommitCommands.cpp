#include "GitCommitCommands.h"

#include <algorithm>

#include "GitCommandParts.h"
#include "ToolRunner.h"

GitCommand gitCommitCommand(const GitCommitRequest& request) {
  GitCommand command =
      gitMakeHookedCommand({"-c", "user.useConfigOnly=true", "-c", "i18n.commitEncoding=UTF-8", "commit", "--no-edit"});
  if (request.message.find_first_not_of(" \t\r\n") != std::string::npos) {
    gitAddArguments(command, {"--cleanup=whitespace", "--file=-"});
    command.standardInput = request.message;
  } else {
    // What a merge has prepared holds comments of git's.
    gitAddArguments(command, {"--cleanup=strip"});
  }
  if (request.paths.empty()) return command;
  gitAddArguments(command, {"--only", "--pathspec-file-nul"});
  command.arguments.push_back(std::string("--pathspec-from-file=") + qrb::ToolCommand::secondInputPath);
  // A setting for all paths would reach the git of hooks too, which may well mean patterns.
  for (const std::string& path : request.paths) command.secondInput.append(gitLiteralPath).append(path).push_back('\0');
  return command;
}

/// "[main (root-commit) 0123abc] subject": the first word of hexadecimal digits that ends with a bracket. The name of a
/// branch may end so too, but begins with one.
std::string_view gitReadCommit(std::string_view output) {
  constexpr std::size_t shortest = 4;
  std::string_view line = output.substr(0, output.find('\n'));
  while (!line.empty()) {
    std::size_t end = std::min(line.find(' '), line.size());
    std::string_view word = line.substr(0, end);
    line.remove_prefix(std::min(end + 1, line.size()));
    if (!word.ends_with(']')) continue;
    word.remove_suffix(1);
    if (word.size() >= shortest && word.find_first_not_of("0123456789abcdef") == std::string_view::npos) return word;
  }
  return {};
}

GitCommand gitStagedCommand(std::string_view revision) {
  if (!gitIsPlainRevision(revision)) return gitRefusedCommand("revision", revision);
  return gitMakeCommand({"diff-index", "--cached", "--quiet", "--no-ext-diff", revision, "--"});
}

GitCommand gitStagedPathsCommand() {
  return gitMakeCommand({"diff-index", "--cached", "--name-only", "--no-renames", "-z", "HEAD", "--"});
}
