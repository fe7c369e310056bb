#include "BlueprintFiles.h"
#include "ErrorPrinting.h"
#include "LocationPrinting.h"
#include "QRBSourceControlCancellable.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlWorkingCopy.h"
#include "QRBSourceControlWorkspace.h"
#include "QRBSourceControlWorkspaceBlueprint.h"
#include "RemoteFinder.h"
#include "Text.h"
#include "WorkspaceActions.h"
#include "WorkspaceFinder.h"

namespace host {

namespace {

using WorkingCopyPtr = QRBSourceControlWorkingCopyPtr;

struct Outcome {
  QRBSourceControlRevisionPtr before;
  QRBSourceControlRevisionPtr after;
  qrb::Error error;
  /// It is on a revision alone, which no remote has anything newer of.
  bool stays = false;
};

qrb::Result<QRBSourceControlRevisionPtr> askRevision(Session& session, const WorkingCopyPtr& workingCopy) {
  auto answer = std::make_shared<QRBSourceControlRevisionPtr>();
  qrb::Error error = session.perform("Asking for the revision", [&](Session::Done done) {
    return workingCopy->baseRevisionWithCompletionBlock([answer, done](auto found, qrb::Error failure) {
      *answer = std::move(found);
      done(std::move(failure));
    });
  });
  if (error) return error;
  return *answer;
}

Outcome updateOne(Session& session, const WorkingCopyPtr& workingCopy, const std::string& place) {
  Outcome outcome;
  auto from = findUpdateSource(session, workingCopy->repository(), {});
  if (!from) return {nullptr, nullptr, from.error()};
  auto before = askRevision(session, workingCopy);
  if (!before) return {nullptr, nullptr, before.error()};
  outcome.before = *before;
  outcome.error = session.perform("Asking for the location", [&](Session::Done done) {
    return workingCopy->currentLocationWithCompletionBlock([done](auto, qrb::Error error) { done(std::move(error)); });
  });
  if (outcome.error) return outcome;
  if (isRevisionAlone(workingCopy->cachedCurrentLocation())) {
    outcome.stays = true;
    outcome.after = outcome.before;
    return outcome;
  }
  auto request = [&](Session::Done done) {
    return workingCopy->forceUpdateWorkingCopyFromRepository(from->remote, session.progressBlock(), done);
  };
  outcome.error = session.perform("Updating " + place + " from " + from->name, request, from->remote);
  if (outcome.error) return outcome;
  auto after = askRevision(session, workingCopy);
  outcome.after = after.valueOr(nullptr);
  outcome.error = after.error();
  return outcome;
}

void print(Session& session, JSONArray& array, const std::string& place, const Outcome& outcome) {
  bool isNew = !outcome.error && !qrb::areEqual(outcome.before, outcome.after);
  const char* word = outcome.error ? "failed" : outcome.stays ? "stays" : isNew ? "updated" : "up to date";
  Output& output = session.output();
  if (session.json()) {
    JSONValue entry;
    setPath(entry, "path", place);
    entry["outcome"] = word;
    entry["before"] = outcome.before ? JSONValue(outcome.before->identifier().view()) : JSONValue();
    entry["after"] = outcome.after ? JSONValue(outcome.after->identifier().view()) : JSONValue();
    if (outcome.error) entry["error"] = outcome.error.localizedDescription();
    array.add(entry);
  } else {
    output.write(outcome.error ? Style::red : isNew ? Style::green : Style::dim, word);
    output.write(std::string(12 - std::string_view(word).size(), ' ') + displayPath(place));
    if (outcome.stays) output.write(Style::dim, "  on revision " + shortRevision(outcome.before) + " and no branch");
    if (isNew) output.write("  " + shortRevision(outcome.before) + " -> " + shortRevision(outcome.after));
    output.write("\n");
  }
  output.flush();
}

ExitStatus runUpdate(Session& session, const std::string& folder) {
  auto found = findWorkspace(session, folder);
  if (!found) return session.fail(found.error());
  Failures failures;
  JSONArray array(session.output());
  qrb::Error interruption;
  // One after another, so that each line tells what has come of it, and the user can be asked who he is.
  for (const WorkingCopyPtr& workingCopy : found->workspace->workingCopies()) {
    std::string place = placeIn(found->root, workingCopy);
    Outcome outcome = updateOne(session, workingCopy, place);
    print(session, array, place, outcome);
    if (isCancellation(outcome.error)) {
      interruption = outcome.error;
      break;
    }
    if (outcome.error) failures.emplace_back(place, outcome.error);
  }
  if (session.json()) array.finish();
  ExitStatus status =
      failWith(session,
               std::to_string(failures.size()) + " of " + std::to_string(found->workspace->workingCopies().size()) +
                   " working copies could not be updated:",
               failures);
  return interruption ? session.fail(interruption) : status;
}

}  // namespace

void addWorkspaceUpdate(CommandDeclaration& workspace) {
  auto folder = std::make_shared<std::string>();
  CommandDeclaration& action =
      workspace.action("update", "Bring every working copy to what its remote has", with(folder, runUpdate));
  addWorkspaceFolder(action, *folder);
  action.explain(
      "Each working copy is updated as \"qrbscm update\" does. One that is on a tag or revision and no branch stays as "
      "it\n"
      "is. One that fails does not keep the others from being updated.\n\n"
      "Examples:\n"
      "  qrbscm workspace update\n"
      "  qrbscm workspace update ~/orchard\n");
}

}  // namespace host
