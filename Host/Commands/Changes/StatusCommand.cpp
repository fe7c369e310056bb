#include "Command.h"
#include "QRBSourceControlCancellable.h"
#include "QRBSourceControlManager.h"
#include "QRBSourceControlPlugInProtocol.h"
#include "QRBSourceControlRepository.h"
#include "QRBSourceControlStatusValues.h"
#include "QRBSourceControlSystem.h"
#include "QRBSourceControlWorkingCopy.h"
#include "StatusPrinting.h"
#include "WorkingCopyFinder.h"

namespace host {

namespace {

struct StatusOptions {
  std::string path;
  bool remote = false;
  bool ignored = false;
};

struct Reports {
  QRBSourceControlPathStatusesPtr local;
  QRBSourceControlPathStatusesPtr remote;
};

/// Who holds the locks of the report, where the system can tell of them. That they are not to be had fails the command
/// no more than a terminal without colours does.
StatusLocks locksOf(Session& session, const QRBSourceControlWorkingCopyPtr& workingCopy, const StatusEntries& entries) {
  std::uint64_t all = 0;
  for (const auto& entry : entries) all |= entry.second;
  bool hasRemote = (all & QRBSourceControlStatusRemoteLocked) != 0;
  const auto& selector = QRBSourceControlPlugInProtocol::listLocksOfWorkingCopy.selector;
  bool isServed = workingCopy->repository()->sourceControlSystem()->additionalRequests().contains(selector);
  if (!isServed || (!hasRemote && (all & QRBSourceControlStatusLocked) == 0)) return {};
  auto locks = std::make_shared<StatusLocks>();
  qrb::Error error = session.perform("Looking for locks", [&](Session::Done done) {
    return QRBSourceControlManager::sharedInstance()->listLocksOfWorkingCopy(
        workingCopy, hasRemote, [locks, done](const qrb::Dictionary& listed, qrb::Error failure) {
          *locks = listed;
          done(std::move(failure));
        });
  });
  if (error) session.note("Who holds the locks is not known: " + error.localizedDescription());
  return *locks;
}

ExitStatus runStatus(Session& session, const StatusOptions& options) {
  session.endUnread();
  auto found = findWorkingCopy(session, options.path);
  if (!found) return session.fail(found.error());
  auto reports = std::make_shared<Reports>();
  qrb::Error error = session.perform("Looking for changes", [&](Session::Done done) {
    return found->workingCopy->filesAndStatusWithRemoteStatus(
        options.remote, [reports, done](auto local, auto remote, qrb::Error failure) {
          *reports = {std::move(local), std::move(remote)};
          done(std::move(failure));
        });
  });
  if (error) return session.fail(error);
  StatusEntries entries = mergedStatus(reports->local, reports->remote, options.ignored);
  StatusLocks locks = locksOf(session, found->workingCopy, entries);
  if (session.json()) {
    JSONArray array(session.output());
    for (const JSONValue& entry : jsonOfStatus(entries, locks)) array.add(entry);
    array.finish();
  } else {
    writeStatus(session.output(), entries, {}, locks);
    if (entries.empty() && session.output().isTerminal()) session.note("No changes.");
  }
  return ExitStatus::success;
}

Command::Run declareStatus(CommandDeclaration& command) {
  auto options = std::make_shared<StatusOptions>();
  command.flag("--remote", options->remote, "Show also what the repository has and the working copy has not yet");
  command.flag("--ignored", options->ignored, "Show also what is ignored");
  addPathArgument(command, options->path);
  return with(options, runStatus);
}

}  // namespace

extern const Command statusCommand{
    "status", "Show what was changed in a working copy",
    "Shows the whole working copy that the folder belongs to; paths are relative to its root. Paths that a terminal\n"
    "could not show safely are quoted as in C.\n\n"
    "Examples:\n"
    "  qrbscm status                     of the working copy around the current folder\n"
    "  qrbscm status --ignored ~/orchard what is ignored, too\n"
    "  qrbscm status --json | jq '.[].path'\n",
    declareStatus};

}  // namespace host
