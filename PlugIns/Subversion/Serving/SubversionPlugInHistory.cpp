#include "QRBSourceControlHistoryTypes.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlWorkingCopy.h"
#include "SubversionHistoryItems.h"
#include "SubversionPlugIn.h"
#include "SubversionRevisions.h"

qrb::Error SubversionPlugIn::history(SubversionSession& session, SubversionHistoryRequest request,
                                     const QRBSourceControlWorkingCopyPtr& workingCopy, const SubversionTarget& target,
                                     const QRBSourceControlRevisionPtr& toRevision,
                                     const qrb::String& progressIdentifier, LogItems& items) {
  using Kind = SubversionRevision::Kind;
  SubversionTarget from = target;
  // What a working copy is based on, and what "HEAD" means of it.
  SubversionRevision base = SubversionRevision::at(session.info().revision);
  auto settle = [&](SubversionRevision& revision) {
    if (revision.kind != Kind::number && revision.kind != Kind::unspecified) revision = base;
  };
  bool isAddress = from.place.find("://") != std::string::npos;
  if (!isAddress) settle(from.revision);
  SubversionRevision to;
  if (qrb::Error error = subversionRevision(toRevision, SubversionRevision::at(0), to)) return error;
  settle(to);
  bool allBranches = (request.inclusionType & QRBSourceControlHistoryAllBranches) != 0;
  if (allBranches) from = {session.info().rootURL, SubversionRevision::head(), SubversionRevision::head()};
  request.folder = session.path();
  request.segments = [&session] {
    std::vector<SubversionSegment> segments;
    // Without them, what was called otherwise is left out.
    static_cast<void>(session.client().segments(session.info().url, segments));
    return segments;
  };
  qrb::HistoryBatches::OnBatch onBatch;
  if (progressIdentifier) {
    onBatch = [&](const LogItems& batch, double fraction) {
      _lastProgressValueSent = fraction;
      host().incrementalLogStatus(batch, fraction, progressIdentifier);
    };
  }
  SubversionHistoryItems reader(request, workingCopy, std::move(onBatch));
  if (from.revision.kind == Kind::number && from.revision.number <= to.number && to.number > 0) return {};
  SubversionClient::LogRequest log;
  log.target = {from.place, from.peg, {}};
  log.from = from.revision;
  // The library includes both ends, and the end of a history is left out.
  log.to = SubversionRevision::at(to.number > 0 ? to.number + 1 : 1);
  log.maximum = reader.searches() || request.maximum <= 0 ? 0 : static_cast<int>(request.maximum);
  log.withMessages = reader.needsMessages();
  log.withChanges = reader.needsChanges();
  log.stopsAtCopies = (request.inclusionType & QRBSourceControlHistoryWithoutFollowingRenames) != 0;
  bool isEmpty = from.revision.kind == Kind::number && from.revision.number == 0;
  SubversionFailure failure;
  if (!isEmpty) {
    failure = session.client().log(log, [&](const SubversionLogEntry& entry) { return reader.take(entry); });
  }
  if (failure) return session.errorFor(failure);
  reader.finish();
  items = reader.items();
  return {};
}
