#pragma once

#include <memory>
#include <string>

#include "Program.h"
#include "Session.h"

namespace host {

/// Runs a command or an action with the options that it declared.
template <class Options>
Command::Run with(std::shared_ptr<Options> options, ExitStatus (*run)(Session& session, const Options& options)) {
  return [options = std::move(options), run](Session& session) { return run(session, *options); };
}

/// The folder given last, which most commands have. Empty when it is left out.
void addPathArgument(CommandDeclaration& command, std::string& path);

/// Adds the option -C of commands whose arguments are files or names: it says where these are looked for.
void addDirectoryOption(CommandDeclaration& command, std::string& folder);

}  // namespace host
