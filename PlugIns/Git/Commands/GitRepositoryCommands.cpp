#include "GitRepositoryCommands.h"

#include "GitCommandParts.h"
#include "PathString.h"

GitCommand gitFirstBranchNameCommand() {
  return gitMakeCommand({"config", "--get", "init.defaultBranch"});
}

GitCommand gitCreateRepositoryCommand(std::string_view folder, std::string_view firstBranch) {
  if (!gitIsPlainPath(folder)) return gitRefusedCommand("path", folder);
  GitCommand command = gitMakeCommand({"init", "--quiet"});
  command.access = GitAccess::write;
  if (!firstBranch.empty()) command.arguments.push_back("--initial-branch=" + std::string(firstBranch));
  gitAddArguments(command, {"--", folder});
  return command;
}

GitCommand gitRemoteAddressesCommand() {
  return gitMakeCommand({"remote", "--verbose"});
}

std::optional<std::vector<GitRemote>> gitReadRemotes(std::string_view output) {
  std::vector<GitRemote> remotes;
  while (!output.empty()) {
    std::size_t end = output.find('\n');
    std::string_view line = output.substr(0, end);
    output.remove_prefix(end == std::string_view::npos ? output.size() : end + 1);
    std::size_t tab = line.find('\t');
    if (tab == 0 || tab == std::string_view::npos) return std::nullopt;
    std::string_view name = line.substr(0, tab);
    line.remove_prefix(tab + 1);
    // What was left out when it was cloned follows in brackets.
    std::size_t kind = line.rfind(" (fetch)");
    if (kind == 0 || kind == std::string_view::npos) continue;
    std::string_view address = line.substr(0, kind);
    if (!remotes.empty() && remotes.back().name == name) continue;
    remotes.push_back({std::string(name), std::string(address)});
  }
  return remotes;
}

qrb::URL gitRemoteURL(std::string_view address, std::string_view folder) {
  std::size_t colon = address.find(':');
  bool isPath = !address.empty() && (colon == std::string_view::npos || address.find('/') < colon);
  if (!isPath) return qrb::URL(address);
  if (address.front() == '/') return qrb::URL::fileURL(qrb::standardizedPath(address));
  return qrb::URL::fileURL(qrb::standardizedPath(qrb::appendingPathComponent(folder, address)));
}

GitCommand gitAddRemoteCommand(std::string_view name, std::string_view address) {
  GitCommand command = gitMakeCommand({"remote", "add", "--", name, address});
  command.access = GitAccess::write;
  return command;
}

GitCommand gitRemoveRemoteCommand(std::string_view name) {
  GitCommand command = gitMakeCommand({"remote", "remove", "--", name});
  command.access = GitAccess::write;
  return command;
}
