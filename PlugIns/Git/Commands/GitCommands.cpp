#include "GitCommands.h"

#include <algorithm>

#include "GitCommandParts.h"
#include "GitRefParser.h"

namespace {

/// Takes the text before the line feed off the front.
std::optional<std::string_view> takeLine(std::string_view& text) {
  std::size_t end = text.find('\n');
  if (end == std::string_view::npos) return std::nullopt;
  std::string_view line = text.substr(0, end);
  text.remove_prefix(end + 1);
  return line;
}

std::optional<bool> takeBoolean(std::string_view& text) {
  auto line = takeLine(text);
  if (line == "true") return true;
  if (line == "false") return false;
  return std::nullopt;
}

}  // namespace

std::string GitCommand::refusalOf(std::string_view kind, std::string_view name) {
  std::string text = "The ";
  return text.append(kind).append(" “").append(name).append("” cannot be used.");
}

bool gitIsPlainRevision(std::string_view text) {
  if (text.empty() || text.front() == '-' || text.front() == '^') return false;
  if (text.find("..") != std::string_view::npos || text.find(':') != std::string_view::npos) return false;
  // Suffixes that stand for several commits at once.
  if (text.find("^@") != std::string_view::npos || text.find("^!") != std::string_view::npos ||
      text.find("^-") != std::string_view::npos) {
    return false;
  }
  return std::ranges::none_of(text, [](char byte) { return static_cast<unsigned char>(byte) < 0x20 || byte == 0x7f; });
}

/// The option between the paths prints a word that no path ends before, so that paths with line feeds can be told
/// apart.
GitCommand gitLocationCommand() {
  return gitMakeCommand({"rev-parse", "--path-format=absolute", "--is-bare-repository", "--is-shallow-repository",
                         "--git-dir", "--is-bare-repository", "--git-common-dir", "--is-bare-repository",
                         "--show-toplevel"});
}

std::optional<GitLocation> gitReadLocation(std::string_view output) {
  auto isBare = takeBoolean(output);
  auto isShallow = takeBoolean(output);
  if (!isBare || !isShallow) return std::nullopt;
  GitLocation location{*isBare, *isShallow, {}, {}, {}};
  std::string divider = *isBare ? "\ntrue\n" : "\nfalse\n";
  for (std::string* path : {&location.gitDirectory, &location.commonDirectory}) {
    std::size_t end = output.find(divider);
    if (end == std::string_view::npos) return std::nullopt;
    *path = output.substr(0, end);
    output.remove_prefix(end + divider.size());
  }
  if (output.ends_with('\n')) output.remove_suffix(1);
  location.root = output;
  return location;
}

GitCommand gitStatusCommand(const GitStatusOptions& options) {
  static constexpr std::string_view untracked[] = {"--untracked-files=no", "--untracked-files=normal",
                                                   "--untracked-files=all"};
  GitCommand command = gitMakeCommand({"status", "--porcelain=v2", "-z", "--find-renames",
                                       untracked[static_cast<std::size_t>(options.untracked)],
                                       options.ignored ? "--ignored=matching" : "--ignored=no"});
  command.output = GitOutput::blocks;
  if (options.branch) gitAddArguments(command, {"--branch", "--ahead-behind"});
  gitAddArguments(command, {"--"});
  for (const std::string& path : options.paths) {
    if (!gitIsPlainPath(path)) return gitRefusedCommand("path", path);
    gitAddArguments(command, {path});
  }
  return command;
}

GitCommand gitRemoteStatusCommand() {
  GitCommand command = gitMakeCommand(
      {"diff", "--no-ext-diff", "--no-relative", "--name-status", "-z", "-M", "HEAD...@{upstream}", "--"});
  command.output = GitOutput::blocks;
  return command;
}

GitCommand gitCurrentBranchCommand() {
  return gitMakeCommand({"symbolic-ref", "-q", "HEAD"});
}

GitCommand gitCurrentLocationCommand() {
  return gitMakeCommand({"rev-parse", "HEAD", "--symbolic-full-name", "HEAD"});
}

GitCommand gitResolveCommand(std::string_view revision) {
  if (!gitIsPlainRevision(revision)) return gitRefusedCommand("revision", revision);
  GitCommand command = gitMakeCommand({"rev-parse", "--verify", "--end-of-options"});
  command.arguments.emplace_back(revision);
  // What is checked out is a commit. To look it up would cost a quarter of the whole command.
  if (revision != "HEAD") command.arguments.back().append("^{commit}");
  return command;
}

GitCommand gitBranchesCommand(GitBranches which) {
  GitCommand command = gitMakeCommand({"for-each-ref", gitRefFormat});
  if (which != GitBranches::remote) gitAddArguments(command, {"refs/heads"});
  if (which != GitBranches::local) gitAddArguments(command, {"refs/remotes"});
  command.output = GitOutput::blocks;
  return command;
}

GitCommand gitTagsCommand() {
  GitCommand command = gitMakeCommand({"for-each-ref", gitTagFormat, "refs/tags"});
  command.output = GitOutput::blocks;
  return command;
}

GitCommand gitRemotesCommand() {
  return gitMakeCommand({"remote"});
}

GitCommand gitRepositoryIdentifierCommand() {
  return gitMakeCommand({"rev-list", "--first-parent", "--max-parents=0", "HEAD", "--"});
}
