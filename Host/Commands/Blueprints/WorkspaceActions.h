#pragma once

#include "Command.h"

namespace host {

// What can be done with all working copies of a folder at once, each in a file of its own.
void addWorkspaceStatus(CommandDeclaration& workspace);
void addWorkspaceLog(CommandDeclaration& workspace);
void addWorkspaceUpdate(CommandDeclaration& workspace);
void addWorkspaceCompare(CommandDeclaration& workspace);

/// The folder given last.
void addWorkspaceFolder(CommandDeclaration& action, std::string& folder);

}  // namespace host
