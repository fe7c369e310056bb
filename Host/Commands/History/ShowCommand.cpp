#include <cerrno>

#include "Command.h"
#include "DiffPrinting.h"
#include "HostError.h"
#include "LocationFinder.h"
#include "LogItemPrinting.h"
#include "QRBSourceControlAuthor.h"
#include "QRBSourceControlCancellable.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlHistoryTypes.h"
#include "QRBSourceControlRepository.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlRevisionLocation.h"
#include "QRBSourceControlWorkingCopy.h"
#include "Text.h"
#include "WorkingCopyFinder.h"

namespace host {

namespace {

using LogItems = QRBSourceControlWorkingCopy::LogItems;

struct ShowOptions {
  std::string folder;
  /// Empty: what was last committed.
  std::string name;
  bool summary = false;
};

// The revision, and after it the one that it was made from, if any.
qrb::Result<LogItems> findItems(Session& session, const QRBSourceControlWorkingCopyPtr& workingCopy,
                                const QRBSourceControlRevisionPtr& revision) {
  auto found = std::make_shared<LogItems>();
  qrb::Error error = session.perform("Reading the history", [&](Session::Done done) {
    return workingCopy->historyFromRevision(
        revision, QRBSourceControlRevision::sharedInitialRevision(), QRBSourceControlHistoryFirstParentOnly, 2, {},
        QRBSourceControlHistorySearchDefault, {}, [found, done](LogItems answer, qrb::Error failure) {
          *found = std::move(answer);
          done(std::move(failure));
        });
  });
  if (error) return error;
  return std::move(*found);
}

void print(Session& session, const QRBSourceControlLogItem& item, const qrb::Dictionary& differences, bool summary) {
  if (session.json()) {
    qrb::String email;
    if (item.author() != nullptr && !item.author()->emails().empty()) email = item.author()->emails().front();
    JSONValue entry = jsonOfLogItem(item, email);
    entry.erase("paths");
    entry.erase("renames");
    entry["files"] = jsonOfDifferences(differences);
    JSONArray array(session.output());
    array.add(entry);
    array.finish();
    return;
  }
  writeLogItem(session.output(), item, false);
  session.output().write("\n");
  if (summary) {
    writeSummary(session.output(), differences);
  } else {
    writePatches(session.output(), differences);
  }
}

ExitStatus runShow(Session& session, const ShowOptions& options) {
  session.endUnread();
  auto found = findWorkingCopy(session, options.folder);
  if (!found) return session.fail(found.error());
  auto repository = found->workingCopy->repository();
  auto what = findLocation(session, repository, options.name.empty() ? "BASE" : options.name);
  if (!what) return session.fail(what.error());
  auto items = findItems(session, found->workingCopy, what->revision);
  if (!items) return session.fail(items.error());
  if (items->empty() && options.name.empty()) {
    return session.fail(hostError("Nothing has been committed yet.", "\"qrbscm diff\" shows what would be.", ENOENT));
  }
  if (items->empty()) {
    return session.fail(QRBSourceControlError_LocationNotFound(QRBSourceControlErrorCode::revisionNotFound,
                                                               options.name, "no entry of the history is of it"));
  }
  // Where revisions are those of a whole repository, the history begins with the newest one that is of this line of it.
  auto shown = items->front()->revision();
  if (!what->revision->isPlaceholderRevision() && !what->revision->isEqual(shown)) {
    return session.fail(hostError("Revision " + displayText(what->revision->identifier().view()) +
                                      " changed nothing on the line that the working copy is on.",
                                  "The one before it that did is " + displayText(shown->identifier().view()) + ".",
                                  ENOENT));
  }
  auto locationOf = [](const QRBSourceControlRevisionPtr& revision) {
    return QRBSourceControlRevisionLocation::initWithRevision(revision);
  };
  auto before = items->size() > 1 ? (*items)[1]->revision() : QRBSourceControlRevision::sharedInitialRevision();
  auto differences = findDifferences(session, repository, locationOf(before), locationOf(shown));
  if (!differences) return session.fail(differences.error());
  print(session, *items->front(), *differences, options.summary);
  return ExitStatus::success;
}

Command::Run declareShow(CommandDeclaration& command) {
  auto options = std::make_shared<ShowOptions>();
  addDirectoryOption(command, options->folder);
  command.argument("REVISION", options->name, "A branch, tag or revision (default: what was last committed)");
  command.flag("--stat", options->summary, "Show only which files it changed, and how many lines came and went");
  return with(options, runShow);
}

}  // namespace

extern const Command showCommand{"show", "Show a revision: who made it, when and why, and what it changed",
                                 "Of a merge, what it brought to the branch that was merged into.\n\n"
                                 "Examples:\n"
                                 "  qrbscm show\n"
                                 "  qrbscm show --stat v1.0\n"
                                 "  qrbscm show --json 1a2b3c4 | jq '.[0].files[].path'\n",
                                 declareShow};

}  // namespace host
