#include "BlueprintActions.h"
#include "BlueprintFiles.h"
#include "LocationPrinting.h"
#include "QRBSourceControlMultiCancellable.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlRevisionLocation.h"
#include "QRBSourceControlWorkspaceBlueprint.h"
#include "RemoteFinder.h"
#include "Text.h"
#include "WorkspaceFinder.h"

namespace host {

namespace {

using Blueprint = QRBSourceControlWorkspaceBlueprint;

struct BlueprintCheckUpdatesOptions {
  std::string file;
  std::string keyDirectory;
};

struct Answers {
  std::shared_ptr<const Blueprint::Updates> updates;
  Blueprint::ErrorsPtr errors;
};

void print(Session& session, const QRBSourceControlWorkspaceBlueprintPtr& blueprint, const Answers& answers) {
  JSONArray array(session.output());
  for (const auto& remote : blueprint->remoteRepositories()) {
    auto location = blueprint->locationForRemoteRepository(remote);
    auto recorded = location ? location->revision() : nullptr;
    auto newest = answers.updates->valueFor(remote);
    bool isKnown = !answers.errors->contains(remote);
    if (session.json()) {
      JSONValue entry;
      setPath(entry, "path", placeOf(blueprint, remote));
      entry["url"] = addressOf(remote);
      entry["location"] = jsonOfLocation(location);
      entry["recorded"] = recorded ? JSONValue(recorded->identifier().view()) : JSONValue();
      entry["update"] = newest ? JSONValue(newest->identifier().view()) : JSONValue();
      if (!isKnown) entry["error"] = answers.errors->valueFor(remote).localizedDescription();
      array.add(entry);
      continue;
    }
    Output& output = session.output();
    const char* word = !isKnown ? "failed" : newest ? "update" : "up to date";
    output.write(!isKnown ? Style::red : newest ? Style::yellow : Style::dim, word);
    output.write(std::string(12 - std::string_view(word).size(), ' ') + displayPath(placeOf(blueprint, remote)));
    if (newest) output.write("  " + shortRevision(recorded) + " -> " + shortRevision(newest));
    output.write("\n");
  }
  if (session.json()) array.finish();
}

ExitStatus runCheckUpdates(Session& session, const BlueprintCheckUpdatesOptions& options) {
  session.endUnread();
  auto read = readBlueprintForServers(session, options.file, options.keyDirectory);
  if (!read) return session.fail(read.error());
  auto answers = std::make_shared<Answers>();
  qrb::Error error = session.perform("Asking the servers", [&](Session::Done done) {
    return read->blueprint->checkForUpdatesWithCompletionBlock(
        [answers, done](auto updates, auto errors, qrb::Error failure) {
          *answers = {std::move(updates), std::move(errors)};
          done(std::move(failure));
        });
  });
  if (error) return session.fail(error);
  print(session, read->blueprint, *answers);
  Failures failures;
  for (const auto& remote : read->blueprint->remoteRepositories()) {
    if (const qrb::Error* failure = answers->errors->find(remote)) {
      failures.emplace_back(placeOf(read->blueprint, remote), *failure);
    }
  }
  ExitStatus status = failWith(session, "Some servers could not tell:", failures);
  return isWhole(read->blueprint) ? status : ExitStatus::failed;
}

}  // namespace

void addBlueprintCheckUpdates(CommandDeclaration& blueprint) {
  auto options = std::make_shared<BlueprintCheckUpdatesOptions>();
  CommandDeclaration& action = blueprint.action(
      "check-updates", "Ask the servers what is newer than a blueprint's revisions", with(options, runCheckUpdates));
  action.argument("FILE", options->file, "The blueprint").file().required();
  addKeyDirectoryOption(action, options->keyDirectory);
  action.explain(
      "Asks for the newest revision of the branch or tag that each repository is recorded on. Where the blueprint has "
      "no\n"
      "revisions, that is all there is to say of each.\n\n"
      "Examples:\n"
      "  qrbscm blueprint check-updates orchard.oxscmblueprint\n"
      "  qrbscm blueprint check-updates orchard.oxscmblueprint --json | jq -r '.[] | select(.update).path'\n");
}

}  // namespace host
