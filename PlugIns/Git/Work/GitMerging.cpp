#include "GitMerging.h"

#include "GitCheckoutCommands.h"
#include "GitHookOutput.h"

std::string gitNameToMerge(const GitTool& tool, const std::string& fullName) {
  constexpr std::string_view folders[] = {"refs/heads/", "refs/remotes/"};
  for (std::string_view folder : folders) {
    if (!fullName.starts_with(folder)) continue;
    std::string name = fullName.substr(folder.size());
    std::string meaning;
    if (tool.run(gitFullNameCommand(name), meaning) && meaning == fullName) return name;
  }
  return fullName;
}

GitOutcome gitRunMerge(const GitTool& tool, const GitCommand& command) {
  std::string output;
  auto collect = [&](std::string_view bytes) {
    output.append(bytes);
    return true;
  };
  GitOutcome outcome = tool.run(command, collect, gitHookOutput());
  if (outcome.failedWith(GitFailureKind::other) && output.find("CONFLICT (") != std::string::npos) {
    outcome.failure = {GitFailureKind::mergeConflict, {}, output};
  }
  return outcome;
}
