#include "OneCallPrivate.h"
#include "QRBSourceControlManager.h"
#include "QRBSourceControlModelPrivate.h"
#include "QRBSourceControlPlugInProtocol.h"
#include "QRBSourceControlPlugInQuestionPrivate.h"

using qrb::Error;
using qrb::ReplyStep;
using qrb::String;

namespace {

constexpr const char* kSystemsSelector = "sourceControlSystemsWithCompletionBlock:";
constexpr const char* kLookupSelector = "systemWithIdentifer:";

using Systems = QRBSourceControlManager::Systems;

struct Discovery {
  Discovery(std::vector<String> asked, QRBSourceControlManager::SystemsCompletion block)
      : identifiers(std::move(asked)), complete(std::move(block)) {}

  std::vector<String> identifiers;
  std::shared_ptr<ReplyStep> step = std::make_shared<ReplyStep>(kSystemsSelector);
  qrb::OneCall<std::shared_ptr<const Systems>> complete;
};

/// What those answer that answer.
std::shared_ptr<const Systems> askAll(const Discovery& discovery, const QRBSourceControlOperationPtr& operation,
                                      const QRBSourceControlManagerPtr& manager) {
  auto systems = std::make_shared<Systems>();
  for (const String& identifier : discovery.identifiers) {
    qrb::PlugInQuestion question{manager, operation, discovery.step, identifier, manager->discoveryTimeLimit()};
    auto answered = std::make_shared<QRBSourceControlSystemPtr>();
    qrb::askPlugIn(question, [&](const QRBSourceControlProxy& proxy, ReplyStep::Ticket ticket) {
      auto take = [step = discovery.step, ticket, answered](const QRBSourceControlSystemPtr& system) {
        step->settle(ticket, [&] { *answered = system; });
      };
      proxy.send(QRBSourceControlPlugInProtocol::sourceControlSystem, std::tuple<>(), std::move(take));
    });
    if (*answered == nullptr) continue;
    if (const String& claimed = (*answered)->plugInIdentifier(); claimed == identifier) {
      systems->push_back(*answered);
    } else {
      // Its requests would go to the plug-in of the other name.
      manager->reportServiceFailure(
          {identifier,
           QRBSourceControlError_PlugInCommunicationFailure(
               identifier.str() + ": its descriptor has the plugInIdentifier \"" + claimed.str() +
               "\", which has to be the name of the plug-in's file. Rename the file or mend the descriptor."),
           nullptr});
    }
  }
  return systems;
}

}  // namespace

QRBSourceControlOperationPtr QRBSourceControlManager::discover(std::vector<String> identifiers, DiscoveryKind kind,
                                                               SystemsCompletion completionBlock) {
  auto discovery = std::make_shared<Discovery>(std::move(identifiers), std::move(completionBlock));

  auto ask = [discovery, kind](const QRBSourceControlOperationPtr& operation,
                               const QRBSourceControlManagerPtr& manager) {
    std::shared_ptr<const Systems> systems;
    if (kind == DiscoveryKind::onlyWhenNoneIsKnown) systems = manager->cachedSourceControlSystems();
    if (systems == nullptr || systems->empty()) {
      systems = askAll(*discovery, operation, manager);
      // What a cancelled discovery has found so far is not what is installed.
      if (operation->isEnding()) systems = nullptr;
      if (systems != nullptr && kind != DiscoveryKind::some) manager->setCachedSourceControlSystems(systems);
    }
    // The operation has no process any more. The completion may look a system up, which takes another discovery where
    // none is installed.
    operation->setIdle(true);
    discovery->complete(systems);
    manager->operationDidFinish(operation);
  };

  // Only a cancellation comes here: the loss of a plug-in is the affair of the question that was put to it.
  auto terminate = [discovery](const QRBSourceControlOperationPtr& operation, const QRBSourceControlManagerPtr& manager,
                               const Error&) {
    if (discovery->step->abandon()) return;
    discovery->complete(nullptr);
    manager->operationDidFinish(operation);
  };

  auto operation = QRBSourceControlOperation::initWithSourceControlManager(shared_from_this(), nullptr, std::move(ask),
                                                                           std::move(terminate));
  _discoveryQueue.addOperation(operation);
  return operation;
}

QRBSourceControlOperationPtr QRBSourceControlManager::sourceControlSystemsWithCompletionBlock(
    SystemsCompletion completionBlock) {
  return discover(installedPlugInIdentifiers(), DiscoveryKind::all, std::move(completionBlock));
}

QRBSourceControlOperationPtr QRBSourceControlManager::sourceControlSystemsOfPlugIns(std::vector<String> identifiers,
                                                                                    SystemsCompletion completionBlock) {
  return discover(std::move(identifiers), DiscoveryKind::some, std::move(completionBlock));
}

QRBSourceControlSystemPtr QRBSourceControlManager::systemWithIdentifer(const String& identifier) {
  String current = identiferFromLegacyIdentifier(identifier);
  std::shared_ptr<const Systems> known = cachedSourceControlSystems();
  if (known == nullptr || known->empty()) {
    auto step = std::make_shared<ReplyStep>(kLookupSelector);
    ReplyStep::Ticket ticket = step->begin();
    discover(installedPlugInIdentifiers(), DiscoveryKind::onlyWhenNoneIsKnown,
             [step, ticket](const auto&) { step->settle(ticket, [] {}); });
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
