#include <filesystem>
#include <map>

#include "BlueprintActions.h"
#include "BlueprintFiles.h"
#include "ErrorPrinting.h"
#include "PathString.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlWorkspaceBlueprint.h"
#include "Text.h"

namespace host {

namespace {

using BlueprintPtr = QRBSourceControlWorkspaceBlueprintPtr;

// What keeps a file that is well formed from being checked out as it is.
std::vector<std::string> doubtsAbout(const BlueprintPtr& blueprint) {
  std::vector<std::string> doubts;
  for (const qrb::String& leftOut : blueprint->leftOutOnReading()) doubts.push_back("left out " + leftOut.str());
  for (const auto& remote : blueprint->repositoriesWithWorkingCopyPathsAboveRootFolder()) {
    doubts.push_back("the path " + placeOf(blueprint, remote) + " leads out of the workspace's folder");
  }
  std::map<std::string, int> uses;
  for (const auto& remote : blueprint->remoteRepositories()) {
    if (!blueprint->workingCopyPathForRemoteRepository(remote)) {
      doubts.push_back("no path for " + placeOf(blueprint, remote));
    } else if (++uses[qrb::standardizedPath(placeOf(blueprint, remote))] == 2) {
      doubts.push_back("several repositories have the path " + placeOf(blueprint, remote));
    }
  }
  if (blueprint->primaryRemoteRepository() == nullptr) doubts.emplace_back("no repository is the primary one");
  return doubts;
}

ExitStatus runValidate(Session& session, const std::vector<std::string>& files) {
  session.endUnread();
  ExitStatus status = ExitStatus::success;
  JSONArray array(session.output());
  for (const std::string& file : files) {
    auto read = readBlueprint(session, file, {}, BlueprintReading::quiet);
    if (isCancellation(read.error())) return session.fail(read.error());
    bool isValid = static_cast<bool>(read);
    if (!isValid) status = ExitStatus::failed;
    std::vector<std::string> doubts = isValid ? doubtsAbout(read->blueprint) : std::vector<std::string>();
    std::string problem = isValid ? "" : read.error().localizedDescription();
    if (session.json()) {
      JSONValue entry;
      setPath(entry, "path", file);
      entry["valid"] = isValid;
      if (!isValid) entry["problem"] = problem;
      entry["doubts"] = doubts;
      array.add(entry);
      continue;
    }
    session.output().write(displayPath(file) + ": ");
    session.output().write(isValid ? Style::green : Style::red, isValid ? "valid" : "not valid");
    session.output().write("\n");
    if (!isValid) session.output().write("  " + displayText(problem) + "\n");
    for (const std::string& doubt : doubts) session.output().write("  " + displayText(doubt) + "\n");
  }
  if (session.json()) array.finish();
  return status;
}

}  // namespace

void addBlueprintValidate(CommandDeclaration& blueprint) {
  auto files = std::make_shared<std::vector<std::string>>();
  CommandDeclaration& action = blueprint.action(
      "validate", "Say whether files are blueprints, and what is odd about them", with(files, runValidate));
  action.argument("FILE", *files, "What to look at").file().required();
  action.explain(
      "Nothing is fetched or written. The exit status is 1 when one of the files is not valid; what is only odd, such "
      "as\n"
      "a path that leads out of the workspace's folder, is listed.\n\n"
      "Examples:\n"
      "  qrbscm blueprint validate *.oxscmblueprint\n"
      "  qrbscm blueprint validate --json old.oxcheckout\n");
}

}  // namespace host
