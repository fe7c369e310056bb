#include "GitCommitting.h"
#include "GitPlugIn.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlWorkingCopy.h"

void GitPlugIn::commitFiles(const Files& files, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                            const qrb::String& message, Completion<QRBSourceControlRevisionPtr> completionBlock) {
  std::string hash;
  const GitTurn turn = turnAt(inWorkingCopy);
  const GitOutcome outcome =
      gitCommit(toolFor(inWorkingCopy), turn, folderOf(inWorkingCopy), files, message.str(), hash);
  if (!outcome) return completionBlock(nullptr, errorFor(outcome, inWorkingCopy));
  completionBlock(QRBSourceControlRevision::initWithIdentifier(hash), {});
}
