#include "BlueprintComparison.h"
#include "WorkspaceActions.h"

namespace host {

namespace {

Command::Run declareWorkspace(CommandDeclaration& command) {
  addWorkspaceStatus(command);
  addWorkspaceLog(command);
  addWorkspaceUpdate(command);
  addWorkspaceCompare(command);
  return nullptr;
}

}  // namespace

void addWorkspaceFolder(CommandDeclaration& action, std::string& folder) {
  action.argument("FOLDER", folder, "The workspace (default: the current folder)").folder();
}

void addWorkspaceCompare(CommandDeclaration& workspace) {
  struct Options {
    std::string file;
    std::string folder;
  };
  auto options = std::make_shared<Options>();
  CommandDeclaration& action = workspace.action(
      "compare", "Say how a workspace differs from a blueprint",
      [options](Session& session) { return runWorkspaceComparison(session, options->file, options->folder); });
  action.argument("BLUEPRINT", options->file, "The blueprint").file().required();
  addWorkspaceFolder(action, options->folder);
  action.explain(
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
