#include <iostream>

#include "Errors.h"
#include "Localization.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlRevision.h"
#include "SubversionCommitting.h"
#include "SubversionPlugIn.h"
#include "SubversionRevisions.h"

namespace {

qrb::Error nothingToCommit() {
  return qrb::rewordedError(QRBSourceControlError_RemoteOperationUpToDate({}),
                            qrb::localizable("There is nothing to commit."),
                            qrb::localizable("Name files that have changes, and try again."), {}, {});
}

}  // namespace

void SubversionPlugIn::commitFiles(const Files& files, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                                   const qrb::String& message,
                                   Completion<QRBSourceControlRevisionPtr> completionBlock) {
  std::vector<std::string> paths;
  qrb::Error error = resolve(subversionFolderOf(inWorkingCopy), files, paths);
  if (error) return completionBlock(nullptr, error);
  SubversionCommitted committed;
  error = change(inWorkingCopy, [&](SubversionSession& session) {
    SubversionFailure failure = subversionCommit(session.client(), session.folder(), paths, message.str(), committed);
    // What the hooks of the server had to say is for whoever looks into the host's log.
    if (!committed.complaint.empty()) std::cerr << committed.complaint << '\n';
    if (failure) return session.errorFor(failure);
    return committed.revision < 0 ? nothingToCommit() : qrb::Error();
  });
  completionBlock(error ? nullptr : subversionRevisionValue(committed.revision), error);
}
