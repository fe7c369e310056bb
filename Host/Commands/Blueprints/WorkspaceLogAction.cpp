#include <algorithm>

#include "BlueprintFiles.h"
#include "HistoryOptions.h"
#include "LogItemPrinting.h"
#include "QRBSourceControlAuthor.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlLogItem.h"
#include "QRBSourceControlMultiCancellable.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlRevisionLocation.h"
#include "QRBSourceControlWorkingCopy.h"
#include "QRBSourceControlWorkspace.h"
#include "QRBSourceControlWorkspaceBlueprint.h"
#include "Text.h"
#include "WorkspaceActions.h"
#include "WorkspaceFinder.h"

namespace host {

namespace {

using Workspace = QRBSourceControlWorkspace;

struct WorkspaceLogOptions {
  std::string folder;
  HistoryOptions history;
  std::string since;
};

// Where each history ends: at the revision that the blueprint has of the working copy, or at its beginning.
qrb::Result<Workspace::RevisionTable> readEnds(Session& session, const FoundWorkspace& found, const std::string& file) {
  Workspace::RevisionTable ends;
  if (file.empty()) return ends;
  auto read = readBlueprint(session, file);
  if (!read) return read.error();
  auto recorded = findOfBlueprint(session, read->blueprint, found.root);
  if (!recorded) return recorded.error();
  for (const auto& [workingCopy, remote] : *recorded->remotes) {
    auto location = read->blueprint->locationForRemoteRepository(remote);
    if (location && location->revision()) ends.set(workingCopy, location->revision());
  }
  return ends;
}

bool isRevisionMissing(const qrb::Error& error) {
  return error.domain().view() == QRBSourceControlErrorDomain &&
         error.code() == static_cast<std::int64_t>(QRBSourceControlErrorCode::revisionNotFound);
}

void print(Session& session, const FoundWorkspace& found, const Workspace::LogItems& items, bool withPaths) {
  JSONArray array(session.output());
  bool isFirst = true;
  for (const QRBSourceControlLogItemPtr& item : items) {
    std::string place = item->workingCopy() ? placeIn(found.root, item->workingCopy()) : std::string();
    if (session.json()) {
      auto emails = item->author() ? item->author()->emails() : std::vector<qrb::String>();
      JSONValue entry;
      setPath(entry, "workingCopy", place);
      entry.update(jsonOfLogItem(*item, emails.empty() ? qrb::String() : emails.front()));
      array.add(entry);
      continue;
    }
    if (!std::exchange(isFirst, false)) session.output().write("\n");
    session.output().write(Style::cyan, displayPath(place));
    session.output().write("  ");
    writeLogItem(session.output(), *item, withPaths);
  }
  if (session.json()) array.finish();
}

ExitStatus runLog(Session& session, const WorkspaceLogOptions& options) {
  session.endUnread();
  auto found = findWorkspace(session, options.folder);
  if (!found) return session.fail(found.error());
  auto ends = readEnds(session, *found, options.since);
  if (!ends) return session.fail(ends.error());
  bool isForPeople = session.output().isTerminal() && !session.json();
  std::int64_t maximum = options.history.maximum(isForPeople);
  auto items = std::make_shared<Workspace::LogItems>();
  qrb::Error error = session.perform("Reading the histories", [&](Session::Done done) {
    auto onBatch = [&session](const auto&, double percent) { session.progress().update({}, percent / 100); };
    return found->workspace->historyFromRevisions(Workspace::RevisionTable(), *ends,
                                                  options.history.inclusionType(session.json()), maximum,
                                                  options.history.search(), options.history.searchType(), onBatch,
                                                  [items, done](auto logItems, qrb::Error failure) {
                                                    *items = std::move(logItems);
                                                    done(std::move(failure));
                                                  });
  });
  if (error) {
    ExitStatus status = session.fail(error);
    if (!options.since.empty() && isRevisionMissing(error)) {
      session.note("The blueprint has a revision that is not here; \"qrbscm workspace update\" may bring it.");
    }
    return status;
  }
  // So many were asked of each.
  auto most = static_cast<std::size_t>(maximum);
  bool isCut = maximum > 0 && items->size() > most;
  if (isCut) items->resize(most);
  print(session, *found, *items, options.history.paths);
  if (isForPeople && !options.history.wanted && isCut) {
    session.note("These are the newest " + std::to_string(most) + "; -n 0 shows all.");
  }
  return ExitStatus::success;
}

}  // namespace

void addWorkspaceLog(CommandDeclaration& workspace) {
  auto options = std::make_shared<WorkspaceLogOptions>();
  CommandDeclaration& action =
      workspace.action("log", "Show the histories of all working copies in one, newest first", with(options, runLog));
  addHistoryOptions(action, options->history);
  action.option("--since", options->since, "Show what came after the revisions that a blueprint has recorded")
      .file("BLUEPRINT");
  addWorkspaceFolder(action, options->folder);
  action.explain(
      "Examples:\n"
      "  qrbscm workspace log -n 20\n"
      "  qrbscm workspace log --since monday.oxscmblueprint ~/orchard\n"
      "  qrbscm workspace log --json | jq -r '.[] | .workingCopy + \" \" + .revision'\n");
}

}  // namespace host
