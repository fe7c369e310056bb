#pragma once

#include <string>
#include <string_view>

#include "GitCommands.h"

/// Prints the name that the user has chosen for the first branch of new repositories. Exits with 1 and no message where
/// there is none.
GitCommand gitFirstBranchNameCommand();

/// Makes an empty repository with a working copy in the folder, and the folder. It can be run in any folder. With an
/// empty name the first branch is called as the user's configuration says.
GitCommand gitCreateRepositoryCommand(std::string_view folder, std::string_view firstBranch);
