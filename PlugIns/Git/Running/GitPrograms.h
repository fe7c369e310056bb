#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "GitCommands.h"

// Programs that a repository's own configuration names and that git would run for looking at the repository or for
// reaching a server: filters of file contents, what connects, logs in and signs. With them what the configuration says
// of the way to servers and of whom to trust, for a secret must not go where whoever made the repository wants it.
// Whoever unpacks an archive has not chosen any of it. Commands that change files run such programs, as git does.

/// Prints all settings that name such programs, of whatever origin: see gitNeutralizePrograms().
GitCommand gitProgramSettingsCommand();

/// What keeps git from heeding those settings of the repository; empty where it names none.
struct GitNeutralization {
  using Pairs = std::vector<std::pair<std::string, std::string>>;
  /// Give to each what the user has chosen for its name, or nothing. In their order they win over every file.
  Pairs settings;
  /// Variables of the environment, for what no setting can take back.
  Pairs variables;
  /// The repository is a partial clone: git fetches what it lacks while it looks.
  bool fetchesMissingObjects = false;
};

GitNeutralization gitNeutralizePrograms(std::string_view listing);

/// Whether settings of that scope come from the repository and not from the user or the machine.
bool gitIsScopeOfRepository(std::string_view scope);

/// Calls `found(scope, key, value)` for each setting in what `config --show-scope --null` has printed. A key alone
/// means true.
void gitForEachSetting(
    std::string_view listing,
    const std::function<void(std::string_view scope, std::string_view key, std::string_view value)>& found);
