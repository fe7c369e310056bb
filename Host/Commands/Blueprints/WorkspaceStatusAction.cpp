#include "LocationPrinting.h"
#include "QRBSourceControlMultiCancellable.h"
#include "QRBSourceControlWorkingCopy.h"
#include "QRBSourceControlWorkspace.h"
#include "StatusPrinting.h"
#include "Text.h"
#include "WorkspaceActions.h"
#include "WorkspaceFinder.h"

namespace host {

namespace {

using Workspace = QRBSourceControlWorkspace;

struct WorkspaceStatusOptions {
  std::string folder;
  bool remote = false;
  bool ignored = false;
};

struct Reports {
  Workspace::StatusesPtr local;
  Workspace::StatusesPtr remote;
  Workspace::ErrorsPtr errors;
};

StatusEntries entriesOf(const Reports& reports, const QRBSourceControlWorkingCopyPtr& workingCopy, bool withIgnored) {
  return mergedStatus(reports.local->valueFor(workingCopy),
                      reports.remote ? reports.remote->valueFor(workingCopy) : nullptr, withIgnored);
}

void printJSON(Session& session, const FoundWorkspace& found, const Reports& reports, bool withIgnored) {
  JSONArray array(session.output());
  for (const auto& workingCopy : found.workspace->workingCopies()) {
    JSONValue entry;
    setPath(entry, "path", placeIn(found.root, workingCopy));
    entry["location"] = jsonOfLocation(workingCopy->cachedCurrentLocation());
    if (reports.errors->contains(workingCopy)) {
      entry["error"] = reports.errors->valueFor(workingCopy).localizedDescription();
    } else {
      entry["changes"] = jsonOfStatus(entriesOf(reports, workingCopy, withIgnored));
    }
    array.add(entry);
  }
  array.finish();
}

void printPlain(Session& session, const FoundWorkspace& found, const Reports& reports, bool withIgnored) {
  Output& output = session.output();
  for (const auto& workingCopy : found.workspace->workingCopies()) {
    StatusEntries entries = entriesOf(reports, workingCopy, withIgnored);
    output.write(Style::bold, displayPath(placeIn(found.root, workingCopy)));
    if (auto location = workingCopy->cachedCurrentLocation()) {
      output.write(Style::cyan, "  " + describedLocation(location, false));
    }
    bool isKnown = !reports.errors->contains(workingCopy);
    if (entries.empty()) output.write(Style::dim, isKnown ? "  clean" : "  could not be looked at");
    output.write("\n");
    writeStatus(output, entries, "    ");
  }
}

ExitStatus runStatus(Session& session, const WorkspaceStatusOptions& options) {
  session.endUnread();
  auto found = findWorkspace(session, options.folder);
  if (!found) return session.fail(found.error());
  Failures failures = learnLocations(session, found->root, found->workspace->workingCopies());
  auto reports = std::make_shared<Reports>();
  qrb::Error error = session.perform("Looking for changes", [&](Session::Done done) {
    return found->workspace->filesAndStatusWithRemoteStatus(
        options.remote, [reports, done](auto local, auto remote, auto errors, qrb::Error failure) {
          *reports = {std::move(local), std::move(remote), std::move(errors)};
          done(std::move(failure));
        });
  });
  if (error) return session.fail(error);
  if (session.json()) {
    printJSON(session, *found, *reports, options.ignored);
  } else {
    printPlain(session, *found, *reports, options.ignored);
  }
  for (const auto& workingCopy : found->workspace->workingCopies()) {
    const qrb::Error* failure = reports->errors->find(workingCopy);
    std::string place = placeIn(found->root, workingCopy);
    bool isKnown = std::any_of(failures.begin(), failures.end(), [&](const auto& each) { return each.first == place; });
    if (failure != nullptr && !isKnown) failures.emplace_back(std::move(place), *failure);
  }
  return failWith(session, "Some working copies could not be looked at:", failures);
}

}  // namespace

void addWorkspaceStatus(CommandDeclaration& workspace) {
  auto options = std::make_shared<WorkspaceStatusOptions>();
  CommandDeclaration& action = workspace.action(
      "status", "Show what each working copy is on and what was changed in it", with(options, runStatus));
  action.flag("--remote", options->remote, "Show also what the repositories have and the working copies have not yet");
  action.flag("--ignored", options->ignored, "Show also what is ignored");
  addWorkspaceFolder(action, options->folder);
  action.explain(
      "Examples:\n"
      "  qrbscm workspace status\n"
      "  qrbscm workspace status ~/orchard --json | jq -r '.[] | select(.changes != []).path'\n");
}

}  // namespace host
