#pragma once

#include <CLI/CLI.hpp>

#include "LocationFinder.h"

namespace host {

/// Adds --branch, --tag and --revision; a branch or tag may be pinned to a revision, but is not both.
inline void addLocationOptions(CLI::App& app, LocationNames& names) {
  auto* branch = app.add_option("--branch", names.branch, "At that branch")->type_name("NAME");
  app.add_option("--tag", names.tag, "At that tag")->type_name("NAME")->excludes(branch);
  app.add_option("--revision", names.revision, "At that revision")->type_name("REV");
}

}  // namespace host
