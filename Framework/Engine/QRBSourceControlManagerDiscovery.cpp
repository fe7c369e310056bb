#include <atomic>

#include "QRBSourceControlManager.h"
#include "QRBSourceControlModelPrivate.h"
#include "QRBSourceControlPlugInProtocol.h"
#include "QRBSourceControlProxyPrivate.h"
#include "QRBSourceControlReplyStepPrivate.h"
#include "Scarcity.h"

using qrb::Error;
using qrb::ReplyStep;

namespace {

constexpr const char* kSystemsSelector = "sourceControlSystemsWithCompletionBlock:";
constexpr const char* kLookupSelector = "systemWithIdentifer:";

struct Discovery {
  explicit Discovery(QRBSourceControlManager::SystemsCompletion block) : completion(std::move(block)) {}

  ReplyStep step{kSystemsSelector};
  std::shared_ptr<QRBSourceControlManager::Systems> systems = std::make_shared<QRBSourceControlManager::Systems>();

  void complete(const std::shared_ptr<const QRBSourceControlManager::Systems>& found) {
    if (!_completed.exchange(true) && completion) completion(found);
  }

 private:
  QRBSourceControlManager::SystemsCompletion completion;
  std::atomic<bool> _completed = false;
};

}  // namespace

QRBSourceControlOperationPtr QRBSourceControlManager::sourceControlSystemsWithCompletionBlock(
    SystemsCompletion completionBlock) {
  auto discovery = std::make_shared<Discovery>(std::move(completionBlock));

  auto ask = [discovery](const QRBSourceControlOperationPtr& operation, const QRBSourceControlManagerPtr& manager) {
    for (const qrb::String& identifier : _allPlugInIdentifiers()) {
      qrb::askPlugIn(
          manager, operation, discovery->step,
          [&] { return manager->remoteProxyObjectForPlugInIdentifier(identifier, operation); },
          [&](const QRBSourceControlProxy& proxy, ReplyStep::Ticket ticket) {
            proxy.send(QRBSourceControlPlugInProtocol::sourceControlSystem, std::tuple<>(),
                       [discovery, ticket](const QRBSourceControlSystemPtr& system) {
                         discovery->step.answer(ticket, [&] {
                           if (system) discovery->systems->push_back(system);
                         });
                       });
          });
    }
    // What a cancelled discovery has found so far is not what is installed.
    const bool ended = operation->isEnding();
    if (!ended) manager->setCachedSourceControlSystems(discovery->systems);
    qrb::unlessScarce([&] { discovery->complete(ended ? nullptr : discovery->systems); });
    manager->operationDidFinish(operation);
  };

  auto terminate = [discovery](const QRBSourceControlOperationPtr& operation, const QRBSourceControlManagerPtr& manager,
                               const Error&) {
    if (discovery->step.release()) return;
    // A plug-in that dies after its answer has done its work.
    if (!operation->isCanceled()) return;
    discovery->complete(nullptr);
    manager->operationDidFinish(operation);
  };

  auto operation = QRBSourceControlOperation::initWithSourceControlManager(shared_from_this(), nullptr, std::move(ask),
                                                                           std::move(terminate));
  addOperation(operation);
  return operation;
}

QRBSourceControlSystemPtr QRBSourceControlManager::systemWithIdentifer(const qrb::String& identifier) {
  qrb::String current = identiferFromLegacyIdentifier(identifier);
  auto known = cachedSourceControlSystems();
  if (known == nullptr || known->empty()) {
    auto step = std::make_shared<ReplyStep>(kLookupSelector);
    step->begin();
    sourceControlSystemsWithCompletionBlock([step](const auto&) { step->release(); });
    step->await();
    known = cachedSourceControlSystems();
  }
  if (known != nullptr) {
    for (const QRBSourceControlSystemPtr& system : *known) {
      if (system->plugInIdentifier() == current) return system;
    }
  }
  return QRBSourceControlSystemPlaceholder::initWithPlugInIdentifier(current);
}
