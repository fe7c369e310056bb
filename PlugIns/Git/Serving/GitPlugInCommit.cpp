#include "GitCommitting.h"
#include "GitPlugIn.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlWorkingCopy.h"

void GitPlugIn::commitFiles(const Files& files, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                            const qrb::String& message, Completion<QRBSourceControlRevisionPtr> completionBlock) {
  std::string hash;
  GitWorkingCopyLock lock = lockOn(inWorkingCopy);
  GitOutcome outcome = gitCommit(toolFor(inWorkingCopy), lock, folderOf(inWorkingCopy), files, message.str(), hash);
  if (!outcome) return completionBlock(nullptr, errorFor(outcome, inWorkingCopy));
  completionBlock(QRBSourceControlRevision::initWithIdentifier(hash), {});
}
