#pragma once

#include "Actions.h"

namespace host {

// What can be done with all working copies of a folder at once, each in a file of its own.
void addWorkspaceStatus(Actions& actions);
void addWorkspaceLog(Actions& actions);
void addWorkspaceUpdate(Actions& actions);
void addWorkspaceCompare(Actions& actions);

/// The folder given last.
std::shared_ptr<std::string> addWorkspaceFolder(CLI::App& app);

}  // namespace host
