#include "LibraryRequest.h"

namespace host {

Verdict verdictOf(PlugInAtWork& work, const qrb::Error& error, bool isLate) {
  if (isLate && isCancellation(error)) {
    return Verdict::wrong("It did not answer within " + inSeconds(work.limit) + ".");
  }
  if (!error) return Verdict::ok();
  if (isCancellation(error)) {
    work.isStopped = true;
    return Verdict::skipped("");
  }
  if (isSameFailure(error, QRBSourceControlError_PlugInCommunicationFailure({}))) {
    return Verdict::wrong(error.userInfo(QRBSourceControlUnderlyingErrorString).str());
  }
  PlugInAnswer answer;
  answer.error = error;
  if (answer.isUnserved()) return Verdict::notServed();
  return Verdict::ok("It answers with the error " + std::to_string(error.code()) + ": " + error.localizedDescription() +
                     " " + error.userInfo(QRBSourceControlUnderlyingErrorString).str());
}

}  // namespace host
