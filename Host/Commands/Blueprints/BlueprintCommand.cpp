#include "BlueprintActions.h"

namespace host {

namespace {

Command::Run declareBlueprint(CommandDeclaration& command) {
  addBlueprintCreate(command);
  addBlueprintShow(command);
  addBlueprintValidate(command);
  addBlueprintDiff(command);
  addBlueprintMerge(command);
  addBlueprintConvert(command);
  addBlueprintCheckout(command);
  addBlueprintCheckUpdates(command);
  return nullptr;
}

}  // namespace

extern const Command blueprintCommand{
    "blueprint", "Record a workspace of several repositories in a file, and make it again elsewhere",
    "A blueprint says which repositories a project's workspace is made of, where each working copy lies, and what it "
    "is\n"
    "on. Files named *.oxscmblueprint are JSON, those named *.oxcheckout are property lists of the older form, which\n"
    "holds less.\n\n"
    "Examples:\n"
    "  qrbscm blueprint create ~/orchard\n"
    "  qrbscm blueprint checkout orchard.oxscmblueprint ~/elsewhere\n"
    "  qrbscm blueprint show --help\n",
    declareBlueprint};

}  // namespace host
