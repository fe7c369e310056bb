#include "GitPushErrors.h"

#include "GitPushReport.h"
#include "QRBSourceControlError.h"

qrb::Error gitPushError(const GitRemoteTool& remote, const GitOutcome& outcome, std::string_view output) {
  if (outcome.kind != GitOutcome::Kind::Cancelled) {
    for (const GitPushedRef& ref : gitReadPushReport(output)) {
      const std::string message = ref.to + ": " + ref.summary + "\n" + outcome.failure.message;
      if (ref.result == GitPushedRef::Result::OutOfDate) return QRBSourceControlError_RemoteOperationOutOfDate(message);
      if (ref.result == GitPushedRef::Result::Rejected) return QRBSourceControlError_RemoteOperationRejected(message);
    }
  }
  return outcome ? qrb::Error() : remote.errorFor(outcome);
}
