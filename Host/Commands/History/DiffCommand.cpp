#include "Command.h"
#include "DiffPrinting.h"
#include "LocationFinder.h"
#include "QRBSourceControlRepository.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlRevisionLocation.h"
#include "QRBSourceControlWorkingCopy.h"
#include "WorkingCopyFinder.h"

namespace host {

namespace {

struct DiffOptions {
  std::string folder;
  std::string from;
  std::string against;
  bool summary = false;
};

qrb::Result<FoundLocation> locationFor(Session& session, const QRBSourceControlRepositoryPtr& repository,
                                       const std::string& name, const QRBSourceControlRevisionPtr& otherwise) {
  if (!name.empty()) return findLocation(session, repository, name);
  return FoundLocation{QRBSourceControlRevisionLocation::initWithRevision(otherwise), otherwise};
}

ExitStatus runDiff(Session& session, const DiffOptions& options) {
  session.endUnread();
  auto found = findWorkingCopy(session, options.folder);
  if (!found) return session.fail(found.error());
  auto repository = found->workingCopy->repository();
  auto from = locationFor(session, repository, options.from, QRBSourceControlRevision::sharedBaseRevision());
  if (!from) return session.fail(from.error());
  auto against =
      locationFor(session, repository, options.against, QRBSourceControlRevision::sharedUnversionedRevision());
  if (!against) return session.fail(against.error());
  if (options.against.empty()) repository = repositoryWithChanges(found->workingCopy);
  auto differences = findDifferences(session, repository, from->location, against->location);
  if (!differences) return session.fail(differences.error());
  if (session.json()) {
    JSONArray array(session.output());
    for (const JSONValue& entry : jsonOfDifferences(*differences)) array.add(entry);
    array.finish();
  } else if (options.summary) {
    writeSummary(session.output(), *differences);
  } else {
    writePatches(session.output(), *differences);
  }
  return ExitStatus::success;
}

Command::Run declareDiff(CommandDeclaration& command) {
  auto options = std::make_shared<DiffOptions>();
  addDirectoryOption(command, options->folder);
  command.argument("FROM", options->from, "A branch, tag or revision (default: what was last committed)");
  command.argument("TO", options->against, "Another (default: the files of the working copy as they are now)");
  command.flag("--stat", options->summary, "Show only which files differ, and how many lines came and went");
  return with(options, runDiff);
}

}  // namespace

extern const Command diffCommand{"diff", "Show what has to be done to one state of the files to get another",
                                 "Without arguments: what was changed since the last commit, or what a first one would "
                                 "hold. Where output is no\n"
                                 "terminal, patches are written byte for byte, for tools that apply them.\n\n"
                                 "Examples:\n"
                                 "  qrbscm diff\n"
                                 "  qrbscm diff --stat v1.0 main\n"
                                 "  qrbscm diff --json topic | jq '.[].path'\n",
                                 declareDiff};

}  // namespace host
