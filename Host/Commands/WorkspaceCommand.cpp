#include "BlueprintComparison.h"
#include "WorkspaceActions.h"

namespace host {

namespace {

Command::Run declareWorkspace(CLI::App& app) {
  Actions actions(app);
  addWorkspaceStatus(actions);
  addWorkspaceLog(actions);
  addWorkspaceUpdate(actions);
  addWorkspaceCompare(actions);
  return actions.run();
}

}  // namespace

std::shared_ptr<std::string> addWorkspaceFolder(CLI::App& app) {
  auto folder = std::make_shared<std::string>();
  app.add_option("FOLDER", *folder, "The workspace (default: the current folder)")->type_name("");
  return folder;
}

void addWorkspaceCompare(Actions& actions) {
  auto file = std::make_shared<std::string>();
  auto folder = std::make_shared<std::shared_ptr<std::string>>();
  CLI::App& app =
      actions.add("compare", "Say how a workspace differs from a blueprint",
                  [file, folder](Session& session) { return runWorkspaceComparison(session, *file, **folder); });
  app.add_option("BLUEPRINT", *file, "The blueprint")->required()->type_name("");
  *folder = addWorkspaceFolder(app);
  app.footer(
      "The same as \"qrbscm blueprint diff BLUEPRINT FOLDER\".\n\n"
      "Examples:\n"
      "  qrbscm workspace compare orchard.oxscmblueprint ~/orchard\n");
}

extern const Command workspaceCommand{
    "workspace", "Look at, and update, all working copies in a folder at once",
    "A workspace is the working copies in a folder and below it, of whatever system.\n\n"
    "Examples:\n"
    "  qrbscm workspace status ~/orchard\n"
    "  qrbscm workspace log -n 20\n"
    "  qrbscm workspace update\n"
    "  qrbscm workspace compare orchard.oxscmblueprint\n",
    declareWorkspace};

}  // namespace host
