#include <filesystem>

#include "BlueprintActions.h"
#include "BlueprintFiles.h"
#include "LocationPrinting.h"
#include "PathString.h"
#include "QRBSourceControlAuthenticationStrategy.h"
#include "QRBSourceControlMultiCancellable.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlSystem.h"
#include "QRBSourceControlWorkingCopy.h"
#include "QRBSourceControlWorkspace.h"
#include "QRBSourceControlWorkspaceBlueprint.h"
#include "RemoteFinder.h"
#include "StatusPrinting.h"
#include "Text.h"
#include "WorkspaceFinder.h"
#include "WorkspaceTree.h"

namespace host {

namespace {

namespace fs = std::filesystem;
using BlueprintPtr = QRBSourceControlWorkspaceBlueprintPtr;
using RemotePtr = QRBSourceControlRemoteRepositoryPtr;
using WorkingCopyPtr = QRBSourceControlWorkingCopyPtr;

struct BlueprintShowOptions {
  std::string file;
  std::string folder;
};

// What is on disk of each repository, and its state.
struct Found : FoundOfBlueprint {
  QRBSourceControlWorkspace::StatusesPtr statuses;
  QRBSourceControlWorkingCopyErrorsPtr errors;
};

qrb::Result<Found> findOnDisk(Session& session, const BlueprintPtr& blueprint, const std::string& root) {
  auto recorded = findOfBlueprint(session, blueprint, root);
  if (!recorded) return recorded.error();
  auto found = std::make_shared<Found>(Found{*std::move(recorded), nullptr, nullptr});
  qrb::Error failure = session.perform("Looking for changes", [&](Session::Done done) {
    return found->workspace->filesAndStatusWithRemoteStatus(
        false, [found, done](auto local, auto /*remote*/, auto errors, qrb::Error error) {
          found->statuses = std::move(local);
          found->errors = std::move(errors);
          done(std::move(error));
        });
  });
  if (failure) return failure;
  return *found;
}

std::string_view authenticationWord(const RemotePtr& remote) {
  auto strategy = remote->authenticationStrategy();
  if (strategy == nullptr) return "anonymous";
  if (strategy->type() == QRBSourceControlAuthenticationTypeBasic) return "password";
  return strategy->type() == QRBSourceControlAuthenticationTypeSSHKeys ? "key" : "anonymous";
}

TreePlace::Remark stateOf(const Found& found, const BlueprintPtr& blueprint, const RemotePtr& remote) {
  WorkingCopyPtr workingCopy = found.workingCopyOf(remote);
  if (workingCopy == nullptr) return {Style::red, "missing"};
  if (found.errors->contains(workingCopy)) {
    return {Style::red, displayText(found.errors->valueFor(workingCopy).localizedDescription())};
  }
  std::size_t changes = mergedStatus(found.statuses->valueFor(workingCopy), nullptr, false).size();
  std::string text = changes == 0 ? "clean" : std::to_string(changes) + (changes == 1 ? " change" : " changes");
  auto recorded = blueprint->locationForRemoteRepository(remote);
  bool isElsewhere = recorded != nullptr && !isSameLocation(recorded, workingCopy->cachedCurrentLocation());
  if (isElsewhere) text += ", not on " + describedLocation(recorded, false);
  return {changes == 0 && !isElsewhere ? Style::green : Style::yellow, text};
}

std::string recordedState(std::uint64_t state) {
  if (state == 0) return {};
  return state == QRBSourceControlWorkspaceBlueprintIgnoredState ? "ignored" : "state " + std::to_string(state);
}

TreePlace placeFor(const BlueprintPtr& blueprint, const RemotePtr& remote, const Found* found) {
  TreePlace place{placeOf(blueprint, remote), {}};
  WorkingCopyPtr workingCopy = found == nullptr ? nullptr : found->workingCopyOf(remote);
  // What pins it is the blueprint's; what is on disk may be ahead or behind.
  auto location =
      workingCopy == nullptr ? blueprint->locationForRemoteRepository(remote) : workingCopy->cachedCurrentLocation();
  place.remarks.push_back(
      {Style::cyan, location == nullptr ? "" : describedLocation(location, workingCopy == nullptr)});
  if (found != nullptr) place.remarks.push_back(stateOf(*found, blueprint, remote));
  std::string state = recordedState(blueprint->workingCopyStateForRemoteRepository(remote));
  if (!state.empty()) place.remarks.push_back({Style::plain, state});
  place.remarks.push_back({Style::dim, addressOf(remote)});
  if (remote == blueprint->primaryRemoteRepository()) place.remarks.push_back({Style::plain, "(primary)"});
  return place;
}

void printPlain(Session& session, const BlueprintPtr& blueprint, const std::string& root, const Found* found) {
  Output& output = session.output();
  if (!blueprint->name().empty()) {
    output.write(Style::bold, displayText(blueprint->name().view()));
    output.write(blueprint->favorite() ? "  (favourite)\n" : "\n");
  }
  if (qrb::String project = blueprint->projectPath(); !project.empty()) {
    output.write(Style::dim, "Project  ");
    output.write(displayPath(qrb::standardizedPath(project.view())) + "\n");
  }
  std::vector<TreePlace> places;
  for (const RemotePtr& remote : blueprint->remoteRepositories()) places.push_back(placeFor(blueprint, remote, found));
  drawTree(output, root.empty() ? "." : root, places);
}

JSONValue orNull(const qrb::String& text) {
  return text ? JSONValue(text.view()) : JSONValue();
}

JSONValue jsonOf(const BlueprintPtr& blueprint, const RemotePtr& remote, const Found* found) {
  JSONValue entry;
  setPath(entry, "path", blueprint->workingCopyPathForRemoteRepository(remote).view());
  entry["url"] = addressOf(remote);
  auto system = remote->sourceControlSystem();
  entry["system"] = system ? JSONValue(system->name().view()) : JSONValue();
  entry["primary"] = remote == blueprint->primaryRemoteRepository();
  entry["identifier"] = orNull(remote->identifier());
  entry["location"] = jsonOfLocation(blueprint->locationForRemoteRepository(remote), true);
  entry["state"] = blueprint->workingCopyStateForRemoteRepository(remote);
  entry["authentication"] = authenticationWord(remote);
  entry["trustedFingerprint"] = orNull(remote->trustedServerFingerprint());
  if (found == nullptr) return entry;
  WorkingCopyPtr workingCopy = found->workingCopyOf(remote);
  JSONValue& onDisk = entry["workingCopy"];
  if (workingCopy == nullptr) return entry;
  setPath(onDisk, "path", workingCopy->fileURL().path().view());
  onDisk["location"] = jsonOfLocation(workingCopy->cachedCurrentLocation());
  bool isKnown = !found->errors->contains(workingCopy);
  auto changes = mergedStatus(found->statuses->valueFor(workingCopy), nullptr, false).size();
  onDisk["changes"] = isKnown ? JSONValue(changes) : JSONValue();
  return entry;
}

void printJSON(Session& session, const BlueprintPtr& blueprint, const Found* found) {
  JSONValue entry;
  entry["name"] = orNull(blueprint->name());
  entry["identifier"] = orNull(blueprint->_id());
  entry["project"] = orNull(blueprint->relativePathToProject());
  entry["favorite"] = blueprint->favorite();
  entry["repositories"] = JSONValue::array();
  for (const RemotePtr& remote : blueprint->remoteRepositories()) {
    entry["repositories"].push_back(jsonOf(blueprint, remote, found));
  }
  JSONArray array(session.output());
  array.add(entry);
  array.finish();
}

ExitStatus runShow(Session& session, const BlueprintShowOptions& options) {
  session.endUnread();
  auto read = readBlueprint(session, options.file);
  if (!read) return session.fail(read.error());
  Found found;
  std::string root;
  if (!options.folder.empty()) {
    root = fs::absolute(options.folder).lexically_normal().native();
    auto there = findOnDisk(session, read->blueprint, root);
    if (!there) return session.fail(there.error());
    found = *std::move(there);
  }
  const Found* onDisk = options.folder.empty() ? nullptr : &found;
  if (session.json()) {
    printJSON(session, read->blueprint, onDisk);
  } else {
    printPlain(session, read->blueprint, options.folder, onDisk);
  }
  Failures failures;
  if (onDisk != nullptr) {
    for (const auto& [workingCopy, error] : *found.errors) failures.emplace_back(placeIn(root, workingCopy), error);
  }
  return failWith(session, "Some working copies could not be looked at:", failures);
}

}  // namespace

void addBlueprintShow(CommandDeclaration& blueprint) {
  auto options = std::make_shared<BlueprintShowOptions>();
  CommandDeclaration& action =
      blueprint.action("show", "Draw the workspace that a blueprint is of", with(options, runShow));
  action.argument("FILE", options->file, "The blueprint").file().required();
  action.argument("FOLDER", options->folder, "Where it was checked out: show also the state of what is there").folder();
  action.explain(
      "A tree of the working copies, with the branch, tag or revision of each. With FOLDER these are what the working\n"
      "copies there are on now. No password and no key is shown.\n\n"
      "Examples:\n"
      "  qrbscm blueprint show orchard.oxscmblueprint\n"
      "  qrbscm blueprint show orchard.oxscmblueprint ~/elsewhere\n"
      "  qrbscm blueprint show orchard.oxscmblueprint --json | jq -r '.[].repositories[].url'\n");
}

}  // namespace host
