#pragma once

#include "CommandDeclaration.h"
#include "LocationFinder.h"

namespace host {

/// Adds --branch, --tag and --revision; a branch or tag may be pinned to a revision, but is not both.
inline void addLocationOptions(CommandDeclaration& command, LocationNames& names) {
  auto& branch = command.option("--branch", names.branch, "At that branch").text("NAME");
  command.option("--tag", names.tag, "At that tag").text("NAME").excludes(branch);
  command.option("--revision", names.revision, "At that revision").text("REV");
}

}  // namespace host
