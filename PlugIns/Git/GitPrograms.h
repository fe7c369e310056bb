#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "GitCommands.h"

// Programs that a repository's own configuration names and that git would run for looking at the repository or for
// reaching a server: filters of file contents, what connects, logs in and signs. With them what the configuration says
// of the way to servers and of whom to trust, for a secret must not go where whoever made the repository wants it.
// Whoever unpacks an archive has not chosen any of it. Commands that change files run such programs, as git does.

/// Whether the text of a configuration file may name one, itself or in a file that it includes.
bool gitMayNamePrograms(std::string_view configuration);

/// Whether the text of a configuration file may say that the working copy lies elsewhere.
bool gitMayMoveWorkingCopy(std::string_view configuration);

/// Prints all settings that name such programs, of whatever origin: see gitNeutralizePrograms().
GitCommand gitProgramSettingsCommand();

/// What keeps git from heeding those settings of the repository; empty where it names none.
struct GitNeutralization {
  using Pairs = std::vector<std::pair<std::string, std::string>>;
  /// Give to each what the user has chosen for its name, or nothing. In their order they win over every file.
  Pairs settings;
  /// Of the environment, for what no setting can take back.
  Pairs variables;
};

GitNeutralization gitNeutralizePrograms(std::string_view listing);
