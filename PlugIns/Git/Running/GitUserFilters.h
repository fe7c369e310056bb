#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "GitCommands.h"

/// A filter that the user or the machine has set up, not the repository.
struct GitUserFilter {
  std::string name;
  /// A command line for the shell.
  std::string command;

  bool operator==(const GitUserFilter&) const = default;
};

/// Prints the filters that configurations name, with where they come from: see gitUserFilters().
GitCommand gitFiltersCommand();
std::vector<GitUserFilter> gitUserFilters(std::string_view listing);

/// The filters that the text of a configuration names, without asking git, which costs a process. None where the text
/// is more than plain sections and values (other files are included, values are quoted or continued): git knows those.
std::optional<std::vector<GitUserFilter>> gitPlainFilters(std::string_view configuration);
