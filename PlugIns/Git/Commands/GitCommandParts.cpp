#include "GitCommandParts.h"

GitCommand gitMakeComparison(std::initializer_list<std::string_view> arguments, std::string_view from,
                             std::string_view to) {
  for (std::string_view revision : {from, to}) {
    if (!gitIsPlainRevision(revision)) return gitRefusedCommand("revision", revision);
  }
  GitCommand command = gitMakeCommand(arguments);
  command.output = GitOutput::blocks;
  gitAddArguments(command, {"--end-of-options", from, to, "--"});
  return command;
}

void gitAddArguments(GitCommand& command, std::initializer_list<std::string_view> arguments) {
  command.arguments.insert(command.arguments.end(), arguments.begin(), arguments.end());
}

namespace {

GitCommand makeCommon() {
  GitCommand command;
  auto common = gitCommonArguments();
  command.arguments.reserve(common.size() + 16);
  command.arguments.assign(common.begin(), common.end());
  return command;
}

}  // namespace

GitCommand gitMakeCommand(std::initializer_list<std::string_view> arguments) {
  GitCommand command = makeCommon();
  command.arguments.emplace_back("--literal-pathspecs");
  gitAddArguments(command, arguments);
  return command;
}

GitCommand gitMakeWritingCommand(std::initializer_list<std::string_view> arguments) {
  GitCommand command = gitMakeCommand(arguments);
  command.access = GitAccess::write;
  return command;
}

GitCommand gitMakeHookedCommand(std::initializer_list<std::string_view> arguments) {
  GitCommand command = makeCommon();
  command.access = GitAccess::write;
  command.runsHooks = true;
  gitAddArguments(command, arguments);
  return command;
}

GitCommand gitRefusedCommand(std::string_view kind, std::string_view name) {
  GitCommand command;
  command.refusal = GitCommand::refusalOf(kind, name);
  return command;
}

bool gitIsPlainPath(std::string_view path) {
  return !path.empty() && path.find('\0') == std::string_view::npos;
}
