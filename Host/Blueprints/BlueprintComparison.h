#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "QRBSourceControlWorkspaceForward.h"
#include "Session.h"

namespace host {

/// What a blueprint and another, or a workspace on disk, have in common and where they differ.
struct BlueprintComparison {
  struct Change {
    std::string what;
    std::string recorded;
    std::string found;
  };
  enum class State { same, changed, missing, extra };
  struct Repository {
    std::string place;
    State state = State::same;
    std::vector<Change> changes;
  };
  /// As QRBSourceControlWorkspace::compareToBlueprint has it.
  std::uint64_t code = 0;
  /// What differs between the blueprints themselves.
  std::vector<Change> changes;
  std::vector<Repository> repositories;
};

BlueprintComparison compareBlueprints(const QRBSourceControlWorkspaceBlueprintPtr& recorded,
                                      const QRBSourceControlWorkspaceBlueprintPtr& found);
/// Prints it, by `other` as the word for what the blueprint was compared with.
void printComparison(Session& session, const BlueprintComparison& comparison, const std::string& other);

/// The whole command of comparing a blueprint with what is on disk in a folder.
ExitStatus runWorkspaceComparison(Session& session, const std::string& blueprintFile, const std::string& folder);

}  // namespace host
