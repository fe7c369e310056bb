#include "GitPushErrors.h"

#include "GitPushReport.h"
#include "QRBSourceControlError.h"

qrb::Error gitPushError(const GitRemoteTool& remote, const GitOutcome& outcome, std::string_view output) {
  if (outcome.kind != GitOutcome::Kind::cancelled) {
    for (const GitPushedRef& ref : gitReadPushReport(output)) {
      std::string message = ref.to + ": " + ref.summary + "\n" + outcome.failure.message;
      if (ref.result == GitPushedRef::Result::outOfDate) return QRBSourceControlError_RemoteOperationOutOfDate(message);
      if (ref.result == GitPushedRef::Result::rejected) return QRBSourceControlError_RemoteOperationRejected(message);
    }
  }
  return outcome ? qrb::Error() : remote.errorFor(outcome);
}
