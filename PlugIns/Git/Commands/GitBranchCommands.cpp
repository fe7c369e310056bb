#include "GitBranchCommands.h"

#include <array>

#include "GitCommandParts.h"
#include "GitRefParser.h"

namespace {

constexpr std::string_view localFolder = "refs/heads/";
constexpr std::string_view remoteFolder = "refs/remotes/";

}  // namespace

GitCommand gitResolveAllCommand(std::span<const std::string> names) {
  GitCommand command = gitMakeCommand({"rev-parse"});
  for (const std::string& name : names) {
    if (!gitIsPlainRevision(name)) return gitRefusedCommand("revision", name);
    command.arguments.push_back(name + "^{commit}");
  }
  gitAddArguments(command, {"--"});
  return command;
}

GitCommand gitRefOfNameCommand(std::string_view name) {
  if (!gitIsPlainRevision(name)) return gitRefusedCommand("revision", name);
  GitCommand command = gitMakeCommand({"rev-parse", "--verify", "--quiet", "--symbolic-full-name"});
  gitAddArguments(command, {"--end-of-options", name});
  return command;
}

GitCommand gitObjectKindCommand(std::string_view name) {
  if (!gitIsPlainRevision(name)) return gitRefusedCommand("revision", name);
  GitCommand command = gitMakeCommand({"cat-file", "-t"});
  command.arguments.push_back(std::string(name) + "^{}");
  return command;
}

GitCommand gitBranchesHoldingCommand(std::string_view hash) {
  GitCommand command = gitMakeCommand({"for-each-ref", gitRefFormat});
  command.arguments.push_back("--contains=" + std::string(hash));
  gitAddArguments(command, {localFolder, remoteFolder});
  command.output = GitOutput::blocks;
  return command;
}

GitCommand gitOwnCommitsCommand(std::string_view ref, std::span<const std::string> except) {
  GitCommand command = gitMakeCommand({"rev-list", "--first-parent", "--parents", ref, "--not"});
  command.output = GitOutput::blocks;
  // Exceptions hold for the next group of refs only.
  for (std::string_view group : {"--glob=refs/heads", "--glob=refs/remotes"}) {
    for (const std::string& name : except) command.arguments.push_back("--exclude=" + name);
    gitAddArguments(command, {group});
  }
  gitAddArguments(command, {"--"});
  return command;
}

GitCommand gitBranchNotesCommand(std::string_view ref) {
  return gitMakeCommand({"reflog", "show", "--format=%gs", ref, "--"});
}

std::string_view gitReadBranchOrigin(std::string_view notes) {
  constexpr std::string_view label = "branch: Created from ";
  if (notes.ends_with('\n')) notes.remove_suffix(1);
  std::size_t end = notes.rfind('\n');
  std::string_view first = end == std::string_view::npos ? notes : notes.substr(end + 1);
  return first.starts_with(label) ? first.substr(label.size()) : std::string_view();
}

GitCommand gitMainBranchOfRemoteCommand(std::string_view remote) {
  GitCommand command = gitMakeCommand({"symbolic-ref", "-q"});
  command.arguments.push_back(std::string(remoteFolder).append(remote).append("/HEAD"));
  return command;
}

GitCommand gitCommonAncestorCommand(std::string_view hash, std::string_view otherHash) {
  return gitMakeCommand({"merge-base", "--", hash, otherHash});
}

GitCommand gitAddBranchCommand(std::string_view name, std::string_view start) {
  GitCommand command = gitMakeCommand({"branch", "--", name, start});
  command.access = GitAccess::write;
  return command;
}

GitCommand gitRemoveBranchCommand(std::string_view ref) {
  GitCommand command = gitMakeCommand({"branch", "--delete", "--force"});
  command.access = GitAccess::write;
  if (ref.starts_with(remoteFolder)) {
    gitAddArguments(command, {"--remotes", "--", ref.substr(remoteFolder.size())});
  } else if (ref.starts_with(localFolder)) {
    gitAddArguments(command, {"--", ref.substr(localFolder.size())});
  } else {
    return gitRefusedCommand("branch", ref);
  }
  return command;
}

GitCommand gitUpstreamCommand(std::string_view ref) {
  return gitMakeCommand(
      {"for-each-ref", "--format=%(refname)%00%(upstream)%00%(upstream:remotename)%00%(upstream:remoteref)%00", ref});
}

std::optional<GitUpstream> gitReadUpstream(std::string_view output) {
  std::array<std::string_view, 4> fields;
  for (std::string_view& field : fields) {
    std::size_t end = output.find('\0');
    if (end == std::string_view::npos) return std::nullopt;
    field = output.substr(0, end);
    output.remove_prefix(end + 1);
  }
  if (!output.empty() && output != "\n") return std::nullopt;
  return GitUpstream{std::string(fields[1]), std::string(fields[2]), std::string(fields[3])};
}
