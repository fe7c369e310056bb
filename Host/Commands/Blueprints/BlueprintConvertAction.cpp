#include "BlueprintActions.h"
#include "BlueprintFiles.h"
#include "PrivateFolder.h"

namespace host {

namespace {

struct BlueprintConvertOptions {
  std::string from;
  BlueprintWriting to;
};

ExitStatus runConvert(Session& session, const BlueprintConvertOptions& options) {
  // Keys are files, for as long as it takes to hand them on.
  auto keys = qrb::PrivateFolder::temporary("qrbscm-");
  auto read = readBlueprintToRewrite(session, options.from, options.to, keys.path());
  if (!read) return session.fail(read.error());
  return writeBlueprint(session, read->blueprint, options.to);
}

}  // namespace

void addBlueprintConvert(CommandDeclaration& blueprint) {
  auto options = std::make_shared<BlueprintConvertOptions>();
  CommandDeclaration& action = blueprint.action(
      "convert", "Write a blueprint in the form that the new file's name says", with(options, runConvert));
  action.argument("FROM", options->from, "The blueprint").file().required();
  action.argument("TO", options->to.file, "The new file, *.oxscmblueprint or *.oxcheckout; - prints JSON")
      .file()
      .required();
  addRewritingOptions(action, options->to);
  action.explain(
      "The older form has neither authentication nor trust, and knows branches and tags only as paths. Credentials "
      "are\n"
      "left out of either unless --credentials is given. A blueprint with repositories that\n"
      "cannot be used here is refused, as they would be lost, unless --drop-unusable is given.\n\n"
      "Examples:\n"
      "  qrbscm blueprint convert orchard.oxcheckout orchard.oxscmblueprint\n"
      "  qrbscm blueprint convert orchard.oxscmblueprint old.oxcheckout --force\n");
}

}  // namespace host
