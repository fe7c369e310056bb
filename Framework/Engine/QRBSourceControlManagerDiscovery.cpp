#include <atomic>

#include "ConditionLock.h"
#include "Localization.h"
#include "QRBSourceControlManager.h"
#include "QRBSourceControlModel.h"
#include "QRBSourceControlPlugInProtocol.h"
#include "QRBSourceControlProxy.h"

using qrb::ConditionLock;
using qrb::Error;

namespace {

// The conditions of a lock that makes a reply the next step of a sequence.
constexpr long kIdle = 0;
constexpr long kAwaitingReply = -1;
constexpr long kReplied = -2;

std::shared_ptr<ConditionLock> makeStepLock(const char* selector, long condition) {
  return std::make_shared<ConditionLock>(qrb::format("%@ Condition Lock (%@)", {selector, "conditionLock"}), condition);
}

// Both the reply and the loss of the process release the waiting step; only the first of them finds it waiting.
bool release(ConditionLock& lock) {
  if (!lock.tryLockWhenCondition(kAwaitingReply)) return false;
  lock.unlockWithCondition(kReplied);
  return true;
}

void await(ConditionLock& lock) {
  lock.lockWhenCondition(kReplied);
  lock.unlockWithCondition(kIdle);
}

constexpr const char* kSystemsSelector = "sourceControlSystemsWithCompletionBlock:";
constexpr const char* kLookupSelector = "systemWithIdentifer:";

struct Discovery {
  explicit Discovery(QRBSourceControlManager::SystemsCompletion block) : completion(std::move(block)) {}

  std::shared_ptr<ConditionLock> lock = makeStepLock(kSystemsSelector, kIdle);
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
      QRBSourceControlProxy proxy = manager->remoteProxyObjectForPlugInIdentifier(identifier, operation);
      if (!proxy) continue;
      discovery->lock->lockWhenCondition(kIdle);
      discovery->lock->unlockWithCondition(kAwaitingReply);
      proxy.send(QRBSourceControlPlugInProtocol::sourceControlSystem, std::tuple<>(),
                 [discovery](const QRBSourceControlSystemPtr& system) {
                   if (system) discovery->systems->push_back(system);
                   release(*discovery->lock);
                 });
      await(*discovery->lock);
      manager->invalidateProcessForOperation(operation, false);
    }
    // What a cancelled discovery has found so far is not what is installed.
    if (operation->isEnding()) {
      discovery->complete(nullptr);
    } else {
      manager->setCachedSourceControlSystems(discovery->systems);
      discovery->complete(discovery->systems);
    }
    manager->operationDidFinish(operation);
  };

  auto terminate = [discovery](const QRBSourceControlOperationPtr& operation, const QRBSourceControlManagerPtr& manager,
                               const Error&) {
    if (release(*discovery->lock)) return;
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
    auto lock = makeStepLock(kLookupSelector, kAwaitingReply);
    sourceControlSystemsWithCompletionBlock([lock](const auto&) { release(*lock); });
    await(*lock);
    known = cachedSourceControlSystems();
  }
  if (known != nullptr) {
    for (const QRBSourceControlSystemPtr& system : *known) {
      if (system->plugInIdentifier() == current) return system;
    }
  }
  return QRBSourceControlSystemPlaceholder::initWithPlugInIdentifier(current);
}
