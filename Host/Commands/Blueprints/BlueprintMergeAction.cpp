#include "BlueprintActions.h"
#include "BlueprintFiles.h"
#include "HostError.h"
#include "PrivateFolder.h"
#include "QRBSourceControlWorkspaceBlueprint.h"
#include "Text.h"

namespace host {

namespace {

struct BlueprintMergeOptions {
  std::vector<std::string> files;
  BlueprintWriting to;
  bool replace = false;
};

std::string projectOf(const QRBSourceControlWorkspaceBlueprintPtr& blueprint) {
  qrb::String path = blueprint->relativePathToProject();
  return path ? "\"" + path.str() + "\"" : "none";
}

ExitStatus runMerge(Session& session, const BlueprintMergeOptions& options) {
  // Keys are files, for as long as it takes to hand them on.
  auto keys = qrb::PrivateFolder::temporary("qrbscm-");
  QRBSourceControlWorkspaceBlueprintPtr merged;
  for (const std::string& file : options.files) {
    auto read = readBlueprintToRewrite(session, file, options.to, keys.path());
    if (!read) return session.fail(read.error());
    if (merged == nullptr) {
      merged = read->blueprint;
      continue;
    }
    bool isSameProject =
        merged->relativePathToProject() && merged->relativePathToProject() == read->blueprint->relativePathToProject();
    if (!isSameProject && !options.replace) {
      return session.fail(hostError("\"" + file + "\" is of another project (" + projectOf(read->blueprint) +
                                        ") than what it is to be merged into (" + projectOf(merged) +
                                        "), so it would replace everything.",
                                    "Merge blueprints of one project, or say --replace."));
    }
    merged->mergeWithBlueprint(read->blueprint);
  }
  return writeBlueprint(session, merged, options.to);
}

}  // namespace

void addBlueprintMerge(CommandDeclaration& blueprint) {
  auto options = std::make_shared<BlueprintMergeOptions>();
  CommandDeclaration& action = blueprint.action(
      "merge", "Add to a blueprint what others of the same project have besides", with(options, runMerge));
  action.argument("FILE", options->files, "The blueprint, then those to merge into it")
      .file()
      .required()
      .between(2, 1000);
  action.option("-o,--output", options->to.file, "The new file, *.oxscmblueprint or *.oxcheckout; - prints JSON")
      .required()
      .file("FILE");
  action.flag("--replace", options->replace, "Where one is of another project, let it replace everything");
  addRewritingOptions(action, options->to);
  action.explain(
      "What the first has stays as it is: of the others come repositories that it lacks, and for those that it has,\n"
      "the path, the location and the credentials that it does not say. None of the files is changed, unless -o names\n"
      "it and --force is given.\n\n"
      "Examples:\n"
      "  qrbscm blueprint merge orchard.oxscmblueprint ann.oxscmblueprint -o all.oxscmblueprint\n"
      "  qrbscm blueprint merge mine.oxscmblueprint team.oxscmblueprint -o mine.oxscmblueprint --force\n");
}

}  // namespace host
