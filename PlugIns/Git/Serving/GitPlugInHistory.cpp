#include "GitHistoryReader.h"
#include "GitNames.h"
#include "GitPlugIn.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlHistoryTypes.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlWorkingCopy.h"

namespace {

/// As the commands take revisions; empty for none, and for work not committed yet, which no history holds.
std::string revisionName(const QRBSourceControlRevisionPtr& revision) {
  return revision ? revision->identifier().str() : std::string();
}

}  // namespace

void GitPlugIn::historyOfFile(const qrb::String& file, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                              const QRBSourceControlRevisionLocationPtr& fromRevisionLocation,
                              const QRBSourceControlRevisionPtr& toRevision, std::uint64_t inclusionType,
                              std::int64_t maximumLogItems, const qrb::String& searchString, std::uint64_t searchType,
                              const qrb::String& progressIdentifier, Completion<LogItems> completionBlock) {
  // Without a file the same command would print everything.
  if (file.empty()) {
    completionBlock({}, QRBSourceControlError_LocationNotFound(QRBSourceControlErrorCode::pathNotFound, file, {}));
    return;
  }
  history({gitLocationName(fromRevisionLocation), revisionName(toRevision), inclusionType, maximumLogItems,
           searchString.str(), searchType, file.str()},
          inWorkingCopy, progressIdentifier, completionBlock);
}

void GitPlugIn::historyOfWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy,
                                     const QRBSourceControlRevisionPtr& fromRevision,
                                     const QRBSourceControlRevisionPtr& toRevision, std::uint64_t inclusionType,
                                     std::int64_t maximumLogItems, const qrb::String& searchString,
                                     std::uint64_t searchType, const qrb::String& progressIdentifier,
                                     Completion<LogItems> completionBlock) {
  history({revisionName(fromRevision),
           revisionName(toRevision),
           inclusionType,
           maximumLogItems,
           searchString.str(),
           searchType,
           {}},
          workingCopy, progressIdentifier, completionBlock);
}

void GitPlugIn::history(const GitHistoryRequest& request, const QRBSourceControlWorkingCopyPtr& workingCopy,
                        const qrb::String& progressIdentifier, const Completion<LogItems>& completionBlock) {
  GitHistoryCommand command = gitHistoryCommand(request);
  GitHistoryReader::OnBatch onBatch;
  if (progressIdentifier) {
    onBatch = [&](const LogItems& batch, double fraction) {
      _lastProgressValueSent = fraction;
      host().incrementalLogStatus(batch, fraction, progressIdentifier);
    };
  }
  GitHistoryReader reader(request, command.filterAfterwards, workingCopy, std::move(onBatch));
  GitOutcome outcome = lookAt(workingCopy).run(command, [&](std::string_view bytes) { return reader.feed(bytes); });
  if (outcome && (reader.error() || !reader.finish())) {
    outcome = GitOutcome::unreadable(reader.error()->what, reader.error()->offset);
  }
  bool follows = !request.file.empty() && (request.inclusionType & QRBSourceControlHistoryWithoutFollowingRenames) == 0;
  if (outcome && follows && reader.isEmpty()) {
    // Git follows a file from commit to commit and looks at no merge on the way, so it misses one that a merge has
    // brought from elsewhere, as those of subtrees do.
    GitHistoryRequest unfollowed = request;
    unfollowed.inclusionType |= QRBSourceControlHistoryWithoutFollowingRenames;
    return history(unfollowed, workingCopy, progressIdentifier, completionBlock);
  }
  bool searchesRevision = !request.searchString.empty() && request.searchType == QRBSourceControlHistorySearchRevision;
  // A repository without commits has a history of none, and a search that finds nothing is no failure.
  bool isEmpty = outcome.failedWith(GitFailureKind::unbornHead) ||
                 (searchesRevision && outcome.failedWith(GitFailureKind::unknownRevision));
  if (!outcome && !isEmpty) {
    completionBlock({}, errorFor(outcome, workingCopy));
    return;
  }
  completionBlock(reader.items(), {});
}
