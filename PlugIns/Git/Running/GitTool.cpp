#include "GitTool.h"

#include <sys/statvfs.h>

#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <span>

#include "GitFileCommands.h"
#include "GitIndexParser.h"
#include "GitWorkingCopyProbe.h"
#include "LockWait.h"

namespace {

using qrb::ToolCommand;
using qrb::ToolResult;

/// Git takes its environment whole, since what it inherits is chosen by rules and not by a list of names.
void setEnvironment(ToolCommand& tool, const GitCommand& command) {
  std::size_t count = 0;
  while (environ != nullptr && environ[count] != nullptr) ++count;
  std::span<const char* const> inherited(environ, count);
  for (const char* entry : inherited) {
    std::string_view text(entry);
    tool.unsetEnvironment.emplace_back(text.substr(0, text.find('=')));
  }
  for (const std::string& assignment : gitEnvironment(inherited, command.access, command.output)) {
    std::size_t end = assignment.find('=');
    if (end != std::string::npos) tool.environment.emplace_back(assignment.substr(0, end), assignment.substr(end + 1));
  }
}

/// The folder above, which ends git's search for a repository.
std::string ceilingOf(const std::string& folder) {
  std::size_t end = folder.find_last_not_of('/');
  if (end == std::string::npos) return {};
  std::size_t slash = folder.find_last_of('/', end);
  if (slash == std::string::npos) return {};
  return slash == 0 ? "/" : folder.substr(0, slash);
}

GitFailure launchFailure(const qrb::LaunchFailure& failure) {
  switch (failure.step) {
    case qrb::LaunchFailure::Step::find:
      return {GitFailureKind::gitMissing, {}, failure.text};
    case qrb::LaunchFailure::Step::workingDirectory:
      return {GitFailureKind::notARepository, {}, failure.text};
    default:
      return {GitFailureKind::other, {}, failure.text};
  }
}

GitOutcome obstacleIn(const std::string& path, const std::string& fault) {
  // A file that is too long is damage; only what is no file has a headline of its own.
  std::error_code error;
  bool isFile = std::filesystem::is_regular_file(path, error);
  return GitOutcome::failed({isFile ? GitFailureKind::repositoryCorrupt : GitFailureKind::obstructed, path,
                             "“" + path + "” " + fault + ". Remove it if you do not know what it is for."});
}

GitOutcome outcomeOf(const ToolResult& result, bool hasRunHooks) {
  GitOutcome outcome;
  outcome.kind = GitOutcome::Kind::failed;
  switch (result.outcome) {
    case ToolResult::Outcome::stopped:
      outcome.kind = GitOutcome::Kind::stopped;
      break;
    case ToolResult::Outcome::cancelled:
    case ToolResult::Outcome::tookTooLong:
      outcome.kind = GitOutcome::Kind::cancelled;
      break;
    case ToolResult::Outcome::obstructed:
      return obstacleIn(result.obstacle, "is a pipe or a device, where git expects a file");
    case ToolResult::Outcome::launchFailed:
    case ToolResult::Outcome::failedToListen:
      outcome.failure = launchFailure(result.launchFailure.value_or(qrb::LaunchFailure{}));
      break;
    case ToolResult::Outcome::ended:
      if (result.succeeded()) {
        outcome.kind = GitOutcome::Kind::succeeded;
        break;
      }
      // Whatever it has written before, its end is what the failure is about.
      if (result.wasKilled()) {
        outcome.failure = {GitFailureKind::killed, result.status.description(), result.complaint("Git")};
        break;
      }
      if (result.status.kind == qrb::ExitStatus::Kind::exited) outcome.exitCode = result.status.value;
      outcome.failure = classifyGitFailure(outcome.exitCode, result.errorText, hasRunHooks);
      if (outcome.failure.message.empty()) outcome.failure.message = result.complaint("Git");
      break;
  }
  return outcome;
}

bool isDiskFull(const std::string& folder) {
  struct statvfs disk {};
  return ::statvfs(folder.c_str(), &disk) == 0 && disk.f_blocks > 0 && disk.f_bavail == 0;
}

/// Commands that look for changes start git in submodules too, each with a configuration of its own.
bool looksIntoSubmodules(const GitCommand& command) {
  return std::ranges::any_of(command.arguments,
                             [](const std::string& argument) { return argument == "status" || argument == "diff"; });
}

/// More than any repository names in earnest, in bytes.
constexpr std::size_t longestListing = std::size_t{4} << 20;

/// How deep submodules within submodules are looked into.
constexpr int deepestSubmodule = 32;

void add(GitNeutralization& result, const GitNeutralization& more) {
  result.settings.insert(result.settings.end(), more.settings.begin(), more.settings.end());
  result.variables.insert(result.variables.end(), more.variables.begin(), more.variables.end());
}

/// What stands at the path of a submodule that is not checked out, or a link, git does not look into.
bool isCheckedOut(const std::string& submodule) {
  std::error_code error;
  return !std::filesystem::is_symlink(submodule, error) &&
         std::filesystem::exists(std::filesystem::symlink_status(submodule + "/.git", error));
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
  outcome.kind = Kind::failed;
  outcome.failure = std::move(failure);
  return outcome;
}

GitOutcome GitOutcome::unreadable(const std::string& what, std::uint64_t offset) {
  return failed({GitFailureKind::other,
                 {},
                 "What git printed could not be read: " + what + " (byte " + std::to_string(offset) + ")"});
}

GitTool::GitTool(std::string folder, int hostConnection, GitProtections protections)
    : _folder(std::move(folder)), _hostConnection(hostConnection), _protections(protections) {
  _runner.setHostConnectionDescriptor(hostConnection);
}

GitOutcome GitTool::run(const GitCommand& command, const Output& onOutput, const Output& onError) const {
  if (!command) return GitOutcome::failed({GitFailureKind::unknownRevision, {}, command.refusal});
  if (_folder.empty()) return GitOutcome::failed({GitFailureKind::notARepository, {}, "not a folder of this machine"});
  bool writes = command.access == GitAccess::write;
  if (!trust().obstacle.empty()) return obstacleIn(trust().obstacle, trust().obstacleFault);
  GitNeutralization neutralization;
  if (_neutralization) neutralization = *_neutralization;
  if (_protections.guard) {
    GitOutcome outcome = writes ? refuseElsewhere() : neutralize(command, neutralization);
    if (!outcome) return outcome;
  }
  if (_looking || _isChanging) {
    if (GitOutcome outcome = enterSandbox(neutralization); !outcome) return outcome;
  }
  ToolCommand tool = prepare(command);
  const auto& settings = neutralization.settings;
  const auto& variables = neutralization.variables;
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
  tool.expectsFilesOnly = true;
  // Git writes its staging area in some commands that only look, and tells a hook.
  if (command.access == GitAccess::read && !command.runsHooks && _protections.guard) {
    tool.arguments.insert(tool.arguments.end(), {"-c", "core.hooksPath=/dev/null"});
  }
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
  auto runOnce = [&](const Output& reader) {
    GitOutcome outcome = outcomeOf(_runner.run(tool, reader, onError), command.runsHooks);
    // Git says of some files only that they could not be written.
    bool isUnexplained = outcome.failedWith(GitFailureKind::other) && command.access == GitAccess::write;
    if (isUnexplained && isDiskFull(_folder)) outcome.failure.kind = GitFailureKind::diskFull;
    return outcome;
  };
  if (command.access == GitAccess::read) return runOnce(onOutput);
  bool hasPrinted = false;
  Output onFirstOutput = [&](std::string_view bytes) {
    hasPrinted = true;
    return !onOutput || onOutput(bytes);
  };
  qrb::LockWait lock(_lockPatience, _hostConnection);
  GitOutcome outcome = runOnce(onFirstOutput);
  while (outcome.failedWith(GitFailureKind::locked) && !hasPrinted && lock.wait()) {
    outcome = runOnce(onFirstOutput);
  }
  return outcome;
}

const GitRepositoryTrust& GitTool::trust() const {
  if (!_trust) _trust = gitTrust(_folder);
  return *_trust;
}

GitOutcome GitTool::findPrograms(std::string& listing) const {
  GitCommand command = gitProgramSettingsCommand();
  Output collect = [&](std::string_view bytes) {
    listing.append(bytes);
    return listing.size() <= longestListing;
  };
  GitOutcome outcome = runPrepared(command, prepare(command), collect, {});
  if (outcome.kind == GitOutcome::Kind::stopped) {
    return GitOutcome::failed({GitFailureKind::configurationBroken, _folder,
                               "The repository's configuration names more programs than can be looked through."});
  }
  bool hasNone = outcome.kind == GitOutcome::Kind::failed && outcome.exitCode == 1 && listing.empty();
  return hasNone ? GitOutcome() : outcome;
}

/// Most repositories have nothing of the kind, which a look at their configuration tells in no time.
GitOutcome GitTool::neutralize(const GitCommand& command, GitNeutralization& result) const {
  if (!_neutralization) {
    if (!_found && trust().mayNamePrograms) {
      std::string listing;
      if (GitOutcome outcome = findPrograms(listing); !outcome) return outcome;
      _found = gitNeutralizePrograms(listing);
    }
    if (_found) result = *_found;
  }
  return looksIntoSubmodules(command) ? neutralizeSubmodules(_folder, 0, result) : GitOutcome();
}

/// Adds what the submodules below a folder name. They inherit the settings.
GitOutcome GitTool::neutralizeSubmodules(const std::string& folder, int depth, GitNeutralization& result) const {
  GitRepositoryTrust below = depth == 0 ? trust() : gitTrust(folder);
  GitTool tool(folder, _hostConnection);
  if (!below.obstacle.empty()) return obstacleIn(below.obstacle, below.obstacleFault);
  if (depth > 0 && below.mayNamePrograms) {
    std::string listing;
    if (GitOutcome outcome = tool.findPrograms(listing); !outcome) return outcome;
    add(result, gitNeutralizePrograms(listing));
  }
  if (!below.mayHoldSubmodules) return {};
  if (depth == deepestSubmodule) {
    return GitOutcome::failed({GitFailureKind::repositoryCorrupt, folder, "The submodules are nested too deep."});
  }
  std::vector<std::string> submodules;
  GitIndexParser parser;
  GitCommand command = gitIndexCommand();
  GitOutcome outcome = tool.runPrepared(command, tool.prepare(command),
                                        [&](std::string_view bytes) {
                                          return parser.feed(bytes, [&](const GitIndexRecord& record) {
                                            if (record.isSubmodule())
                                              submodules.push_back(folder + "/" + std::string(record.path));
                                          });
                                        },
                                        {});
  if (outcome && (parser.error() || !parser.finish())) {
    outcome = GitOutcome::unreadable(parser.error()->what, parser.error()->offset);
  }
  for (std::size_t number = 0; outcome && number < submodules.size(); ++number) {
    if (isCheckedOut(submodules[number])) outcome = neutralizeSubmodules(submodules[number], depth + 1, result);
  }
  return outcome;
}

GitOutcome GitTool::refuseElsewhere() const {
  if (!_elsewhere) _elsewhere = trust().mayMoveWorkingCopy ? findElsewhere() : GitOutcome();
  return *_elsewhere;
}

GitOutcome GitTool::findElsewhere() const {
  GitCommand command = gitLocationCommand();
  std::string output;
  GitOutcome outcome = runPrepared(command, prepare(command), appendTo(output), {});
  auto location = gitReadLocation(output);
  // Where there is no repository there is none to move, and the command itself will say so.
  if (outcome.failedWith(GitFailureKind::notARepository) && output.empty()) return {};
  if (!location) return outcome ? GitOutcome::unreadable("no location", 0) : outcome;
  std::error_code error;
  if (location->root.empty() || std::filesystem::equivalent(location->root, _folder, error)) return {};
  return GitOutcome::failed({GitFailureKind::notARepository, _folder,
                             "The repository in “" + _folder + "” says that its files are in “" + location->root +
                                 "” (core.worktree). Changes are made there only when that folder is asked for."});
}

GitOutcome GitTool::enterSandbox(const GitNeutralization& neutralization) const {
  // One process serves one request, which looks at one repository.
  static bool hasEntered = false;
  if (hasEntered) return {};
  auto ask = [this](const GitCommand& command) {
    std::string output;
    runPrepared(command, prepare(command), appendTo(output), {});
    if (output.ends_with('\n')) output.pop_back();
    return output;
  };
  GitLookedAt repository{_folder, trust().commonFolder, neutralization.fetchesMissingObjects};
  auto rules = _looking ? gitRulesForLooking(*_looking, repository, ask) : gitRulesForChanging(_folder, trust(), ask);
  if (rules) rules->mayListRoot = _folder == "/";
  if (int error = rules && _protections.sandbox ? qrb::enterSandbox(*rules) : 0) {
    return GitOutcome::failed(
        {GitFailureKind::other,
         {},
         "The system refused to limit what git may do: " + std::string(::strerrordesc_np(error))});
  }
  if (_looking) qrb::limitDataMemory();
  hasEntered = true;
  return {};
}

GitOutcome GitTool::run(const GitCommand& command, std::string& output) const {
  GitOutcome outcome = run(command, appendTo(output));
  if (output.ends_with('\n')) output.pop_back();
  return outcome;
}
