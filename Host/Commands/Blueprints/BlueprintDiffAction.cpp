#include <filesystem>

#include "BlueprintActions.h"
#include "BlueprintComparison.h"
#include "BlueprintFiles.h"

namespace host {

namespace {

struct BlueprintDiffOptions {
  std::string recorded;
  std::string other;
};

ExitStatus runDiff(Session& session, const BlueprintDiffOptions& options) {
  session.endUnread();
  std::error_code failure;
  if (std::filesystem::is_directory(options.other, failure)) {
    return runWorkspaceComparison(session, options.recorded, options.other);
  }
  auto recorded = readBlueprint(session, options.recorded);
  if (!recorded) return session.fail(recorded.error());
  auto found = readBlueprint(session, options.other);
  if (!found) return session.fail(found.error());
  printComparison(session, compareBlueprints(recorded->blueprint, found->blueprint), "other blueprint");
  return isWhole(recorded->blueprint) && isWhole(found->blueprint) ? ExitStatus::success : ExitStatus::failed;
}

}  // namespace

void addBlueprintDiff(CommandDeclaration& blueprint) {
  auto options = std::make_shared<BlueprintDiffOptions>();
  CommandDeclaration& action =
      blueprint.action("diff", "Compare a blueprint with another one, or with a workspace", with(options, runDiff));
  action.argument("FILE", options->recorded, "The blueprint").file().required();
  action.argument("OTHER", options->other, "Another blueprint, or the folder of a workspace").file().required();
  action.explain(
      "Says what both have in common, and lists every repository as same, changed, missing (from OTHER) or extra "
      "(only\n"
      "there). A workspace is compared by what its working copies are on, not by their revisions.\n\n"
      "Examples:\n"
      "  qrbscm blueprint diff monday.oxscmblueprint friday.oxscmblueprint\n"
      "  qrbscm blueprint diff orchard.oxscmblueprint ~/orchard --json | jq -r '.[].result'\n");
}

}  // namespace host
