#include "GitTool.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <span>

#include "GitFileCommands.h"
#include "GitIndexParser.h"
#include "GitLockWait.h"
#include "GitWorkingCopyProbe.h"

namespace {

using qrb::ToolCommand;
using qrb::ToolResult;

/// Git takes its environment whole, since what it inherits is chosen by rules and not by a list of names.
void setEnvironment(ToolCommand& tool, const GitCommand& command) {
  std::size_t count = 0;
  while (environ != nullptr && environ[count] != nullptr) ++count;
  const std::span<const char* const> inherited(environ, count);
  for (const char* const entry : inherited) {
    const std::string_view text(entry);
    tool.unsetEnvironment.emplace_back(text.substr(0, text.find('=')));
  }
  for (const std::string& assignment : gitEnvironment(inherited, command.access, command.output)) {
    const std::size_t end = assignment.find('=');
    if (end != std::string::npos) tool.environment.emplace_back(assignment.substr(0, end), assignment.substr(end + 1));
  }
}

/// The folder above, which ends git's search for a repository.
std::string ceilingOf(const std::string& folder) {
  const std::size_t end = folder.find_last_not_of('/');
  if (end == std::string::npos) return {};
  const std::size_t slash = folder.find_last_of('/', end);
  if (slash == std::string::npos) return {};
  return slash == 0 ? "/" : folder.substr(0, slash);
}

GitFailure launchFailure(const qrb::LaunchFailure& failure) {
  switch (failure.step) {
    case qrb::LaunchFailure::Step::find:
      return {GitFailureKind::GitMissing, {}, failure.text};
    case qrb::LaunchFailure::Step::workingDirectory:
      return {GitFailureKind::NotARepository, {}, failure.text};
    default:
      return {GitFailureKind::Other, {}, failure.text};
  }
}

GitOutcome outcomeOf(const ToolResult& result, bool hasRunHooks) {
  GitOutcome outcome;
  outcome.kind = GitOutcome::Kind::Failed;
  switch (result.outcome) {
    case ToolResult::Outcome::stopped:
      outcome.kind = GitOutcome::Kind::Stopped;
      break;
    case ToolResult::Outcome::cancelled:
      outcome.kind = GitOutcome::Kind::Cancelled;
      break;
    case ToolResult::Outcome::launchFailed:
    case ToolResult::Outcome::failedToListen:
      outcome.failure = launchFailure(result.launchFailure.value_or(qrb::LaunchFailure{}));
      break;
    case ToolResult::Outcome::ended:
      if (result.succeeded()) {
        outcome.kind = GitOutcome::Kind::Succeeded;
        break;
      }
      if (result.status.kind == qrb::ExitStatus::Kind::exited) outcome.exitCode = result.status.value;
      outcome.failure = classifyGitFailure(outcome.exitCode, result.errorText, hasRunHooks);
      if (outcome.failure.message.empty()) outcome.failure.message = "git ended with " + result.status.description();
      break;
  }
  return outcome;
}

/// Commands that look for changes start git in submodules too, each with a configuration of its own.
bool looksIntoSubmodules(const GitCommand& command) {
  return std::ranges::any_of(command.arguments,
                             [](const std::string& argument) { return argument == "status" || argument == "diff"; });
}

/// Adds what the submodules below a folder name. They inherit the settings.
void addOfSubmodules(const std::string& folder, int hostConnection, GitNeutralization& result) {
  if (!gitMayHoldSubmodules(folder)) return;
  std::vector<std::string> submodules;
  GitIndexParser parser;
  GitTool(folder, hostConnection).parse(gitIndexCommand(), parser, [&](const GitIndexRecord& record) {
    if (record.isSubmodule()) submodules.push_back(folder + "/" + std::string(record.path));
  });
  for (const std::string& submodule : submodules) {
    std::error_code error;
    if (std::filesystem::is_symlink(submodule, error)) continue;
    if (gitMayNamePrograms(gitOwnConfiguration(submodule))) {
      std::string listing;
      GitTool(submodule, hostConnection).run(gitProgramSettingsCommand(), listing);
      const auto [settings, variables] = gitNeutralizePrograms(listing);
      result.settings.insert(result.settings.end(), settings.begin(), settings.end());
      result.variables.insert(result.variables.end(), variables.begin(), variables.end());
    }
    addOfSubmodules(submodule, hostConnection, result);
  }
}

GitTool::Output appendTo(std::string& text) {
  return [&text](std::string_view bytes) {
    text.append(bytes);
    return true;
  };
}

}  // namespace

GitOutcome GitOutcome::failed(GitFailure failure) {
  GitOutcome outcome;
  outcome.kind = Kind::Failed;
  outcome.failure = std::move(failure);
  return outcome;
}

GitOutcome GitOutcome::unreadable(const std::string& what, std::uint64_t offset) {
  return failed({GitFailureKind::Other,
                 {},
                 "What git printed could not be read: " + what + " (byte " + std::to_string(offset) + ")"});
}

GitTool::GitTool(std::string folder, int hostConnection) : _folder(std::move(folder)), _hostConnection(hostConnection) {
  _runner.setHostConnectionDescriptor(hostConnection);
}

GitOutcome GitTool::run(const GitCommand& command, const Output& onOutput, const Output& onError) const {
  if (!command) return GitOutcome::failed({GitFailureKind::UnknownRevision, {}, command.refusal});
  if (_folder.empty()) return GitOutcome::failed({GitFailureKind::NotARepository, {}, "not a folder of this machine"});
  const bool writes = command.access == GitAccess::Write;
  if (writes && !guard().refusal) return guard().refusal;
  GitNeutralization neutralization;
  if (_neutralization) {
    neutralization = *_neutralization;
  } else if (!writes) {
    neutralization = guard().neutralization;
  }
  if (!writes && looksIntoSubmodules(command)) addOfSubmodules(_folder, _hostConnection, neutralization);
  ToolCommand tool = prepare(command);
  const auto& [settings, variables] = neutralization;
  tool.environment.insert(tool.environment.end(), variables.begin(), variables.end());
  // As variables, since names may hold what divides them from values on a command line.
  if (_neutralization || !settings.empty())
    tool.environment.emplace_back("GIT_CONFIG_COUNT", std::to_string(settings.size()));
  for (std::size_t number = 0; number < settings.size(); ++number) {
    tool.environment.emplace_back("GIT_CONFIG_KEY_" + std::to_string(number), settings[number].first);
    tool.environment.emplace_back("GIT_CONFIG_VALUE_" + std::to_string(number), settings[number].second);
  }
  return runPrepared(command, tool, onOutput, onError);
}

ToolCommand GitTool::prepare(const GitCommand& command) const {
  ToolCommand tool;
  tool.path = "git";
  for (const std::string& setting : _settings) tool.arguments.insert(tool.arguments.end(), {"-c", setting});
  tool.arguments.insert(tool.arguments.end(), command.arguments.begin(), command.arguments.end());
  setEnvironment(tool, command);
  tool.environment.insert(tool.environment.end(), _variables.begin(), _variables.end());
  // Later entries win.
  if (std::string ceiling = ceilingOf(_folder); !ceiling.empty()) {
    tool.environment.emplace_back("GIT_CEILING_DIRECTORIES", std::move(ceiling));
  }
  tool.workingDirectory = _folder;
  tool.standardInput = command.standardInput;
  tool.secondInput = command.secondInput;
  return tool;
}

GitOutcome GitTool::runPrepared(const GitCommand& command, const ToolCommand& tool, const Output& onOutput,
                                const Output& onError) const {
  const auto runOnce = [&](const Output& reader) {
    return outcomeOf(_runner.run(tool, reader, onError), command.runsHooks);
  };
  if (command.access == GitAccess::Read) return runOnce(onOutput);
  bool hasPrinted = false;
  const Output onFirstOutput = [&](std::string_view bytes) {
    hasPrinted = true;
    return !onOutput || onOutput(bytes);
  };
  GitLockWait lock(_lockPatience, _hostConnection);
  GitOutcome outcome = runOnce(onFirstOutput);
  while (outcome.failedWith(GitFailureKind::Locked) && !hasPrinted && lock.wait()) {
    outcome = runOnce(onFirstOutput);
  }
  return outcome;
}

/// Most repositories have nothing of the kind, which a look at their configuration tells in no time.
const GitTool::Guard& GitTool::guard() const {
  if (_guard) return *_guard;
  _guard.emplace();
  const std::string configuration = gitOwnConfiguration(_folder);
  if (gitMayNamePrograms(configuration)) {
    const GitCommand command = gitProgramSettingsCommand();
    std::string listing;
    runPrepared(command, prepare(command), appendTo(listing), {});
    _guard->neutralization = gitNeutralizePrograms(listing);
  }
  if (gitMayMoveWorkingCopy(configuration)) _guard->refusal = findElsewhere();
  return *_guard;
}

GitOutcome GitTool::findElsewhere() const {
  const GitCommand command = gitLocationCommand();
  std::string output;
  // What is wrong otherwise, the command itself will say.
  runPrepared(command, prepare(command), appendTo(output), {});
  const auto location = gitReadLocation(output);
  std::error_code error;
  if (!location || location->root.empty() || std::filesystem::equivalent(location->root, _folder, error)) return {};
  return GitOutcome::failed({GitFailureKind::NotARepository, _folder,
                             "The repository in “" + _folder + "” says that its files are in “" + location->root +
                                 "” (core.worktree). Changes are made there only when that folder is asked for."});
}

GitOutcome GitTool::run(const GitCommand& command, std::string& output) const {
  GitOutcome outcome = run(command, appendTo(output));
  if (output.ends_with('\n')) output.pop_back();
  return outcome;
}
