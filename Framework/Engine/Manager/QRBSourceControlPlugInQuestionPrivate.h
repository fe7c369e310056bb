#pragma once

#include <chrono>
#include <functional>
#include <optional>

#include "QRBSourceControlError.h"
#include "QRBSourceControlManager.h"
#include "QRBSourceControlProxyPrivate.h"
#include "QRBSourceControlReplyStepPrivate.h"
#include "Scarcity.h"
#include "ServiceConnectionPrivate.h"

namespace qrb {

/// One question to one plug-in, asked by an operation that asks several in turn.
struct PlugInQuestion {
  const QRBSourceControlManagerPtr& manager;
  const QRBSourceControlOperationPtr& operation;
  /// Shared with what may still come from a plug-in that is not waited for any more.
  const std::shared_ptr<ReplyStep>& step;
  const String& plugIn;
  /// None: the plug-in may take as long as it likes.
  std::optional<std::chrono::milliseconds> timeLimit = std::nullopt;
};

/// Asks and returns once the plug-in has answered, has died or was too slow, or the operation was cancelled; its
/// process is ended then. `ask` gets the proxy and the ticket to answer with. A plug-in that has not answered is
/// reported to those who observe the manager's services.
template <class Ask>
void askPlugIn(const PlugInQuestion& question, Ask ask) {
  const QRBSourceControlManagerPtr& manager = question.manager;
  const std::shared_ptr<ReplyStep>& step = question.step;
  ReplyStep::Ticket ticket = step->begin();
  Error failure;
  bool asked = unlessScarce([&] {
    // Only a question that is waited for settles anything, and `failure` lives as long as the waiting.
    auto lost = [step, ticket, &failure](const Error& loss) { step->settle(ticket, [&] { failure = loss; }); };
    QRBSourceControlProxy proxy =
        manager->remoteProxyObjectForPlugInIdentifier(question.plugIn, question.operation, std::move(lost));
    proxy ? ask(proxy, ticket) : static_cast<void>(step->settle(ticket, [] {}));
  });
  // As a plug-in that cannot be launched, one that cannot be asked contributes nothing.
  if (!asked) step->settle(ticket, [&] { failure = scarcityError(); });
  bool inTime = true;
  if (question.timeLimit) {
    inTime = step->awaitFor(*question.timeLimit);
  } else {
    step->await();
  }
  manager->invalidateProcessForOperation(question.operation, !inTime);
  if (question.operation->isEnding()) return;
  unlessScarce([&] {
    if (!inTime) {
      failure = QRBSourceControlError_PlugInCommunicationFailure(question.plugIn.str() + ": it did not say within " +
                                                                 std::to_string(question.timeLimit->count()) +
                                                                 " ms what it is.");
    }
    if (failure) manager->reportServiceFailure({question.plugIn, failure, nullptr});
  });
}

}  // namespace qrb
