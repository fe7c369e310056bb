// The requests that helper services answer, and the connections to them.

#include <set>

#include "OneCallPrivate.h"
#include "QRBSourceControlPlugInProtocol.h"
#include "QRBSourceControlPlugInQuestionPrivate.h"
#include "QRBSourceControlRequestPrivate.h"
#include "QRBSourceControlSSHKeysAuthenticationStrategy.h"
#include "QRBSourceControlServiceProtocols.h"
#include "Scarcity.h"
#include "ServiceConnectionPrivate.h"

namespace PlugInProtocol = QRBSourceControlPlugInProtocol;
namespace ScannerProtocol = QRBSourceControlWorkingCopyScannerProtocol;
namespace SSHProtocol = QRBSourceControlSSHHelperProtocol;
namespace request = qrb::request;
using qrb::ReplyStep;
using qrb::ServiceConnection;
using qrb::String;
using qrb::URL;

// Connections

QRBSourceControlProxy QRBSourceControlManager::remoteProxyObjectForService(
    qrb::Guarded<ServiceConnectionPtr>& field, std::string_view name, const QRBSourceControlOperationPtr& operation) {
  // The loss ends no request by itself: it only makes room for the next process. What is left of this one is killed
  // with the connection, once each of its requests has been told.
  auto lost = [&field](const ServiceConnectionPtr& connection) {
    field.with([&](ServiceConnectionPtr& held) {
      if (held == connection) held = nullptr;
    });
  };
  ServiceConnectionPtr over;
  ServiceConnectionPtr connection = field.with([&](ServiceConnectionPtr& held) {
    if (held == nullptr || held->isOver()) {
      over = std::exchange(held, ServiceConnection::launch(std::string(name), ServiceConnection::Kind::kept));
      ServiceConnection::Handlers handlers;
      handlers.call = [](const qrb::Connection::IncomingCall&) { throw qrb::ArchiveError("services make no calls"); };
      handlers.interruption = [lost, weak = std::weak_ptr<ServiceConnection>(held)] {
        if (auto ended = weak.lock()) lost(ended);
      };
      held->resume(std::move(handlers));
    }
    return held;
  });
  // Each request keeps its connection: one whose process has ended may still have the reply to be read.
  return QRBSourceControlProxy(connection->connection(), [this, lost, connection, operation] {
    lost(connection);
    qrb::Error failure = connection->failure();
    if (connection->loss() == ServiceConnection::Loss::ofService) {
      operation->fail(failure);
    } else if (!operation->isEnding()) {
      qrb::unlessScarce([&] { reportServiceFailure({connection->name(), failure, operation}); });
    }
  });
}

QRBSourceControlProxy QRBSourceControlManager::remoteProxyObjectForSSHKeyGeneration(
    const QRBSourceControlOperationPtr& operation) {
  return remoteProxyObjectForService(_sshHelperConnection, SSHProtocol::serviceName, operation);
}

QRBSourceControlProxy QRBSourceControlManager::remoteProxyObjectForWorkingCopyScanning(
    const QRBSourceControlOperationPtr& operation) {
  return remoteProxyObjectForService(_workingCopyScannerConnection, ScannerProtocol::serviceName, operation);
}

void QRBSourceControlManager::endHelperServices() {
  for (auto* field : {&_sshHelperConnection, &_workingCopyScannerConnection}) {
    ServiceConnectionPtr ended = field->with([](ServiceConnectionPtr& held) { return std::exchange(held, nullptr); });
    if (ended != nullptr) ended->invalidate(ServiceConnection::Ending::killed);
  }
}

// Working copies

namespace {

struct Scan {
  using Complete = qrb::OneCall<std::shared_ptr<const QRBSourceControlManager::WorkingCopies>>;

  explicit Scan(Complete::Function completion) : complete(std::move(completion)) {}

  QRBSourceControlManager::Files folderPaths;
  bool traversingUp = false;
  QRBSourceControlManager::Systems systems;
  Complete complete;
  std::shared_ptr<ReplyStep> step = std::make_shared<ReplyStep>(
      "scanForWorkingCopiesInFolderPaths:traversingUp:usingSourceControlSystems:completionBlock:");
  std::shared_ptr<QRBSourceControlManager::WorkingCopies> found =
      std::make_shared<QRBSourceControlManager::WorkingCopies>();

  // The names of the metadata folders of the systems that have one.
  std::set<String> identifiers() const {
    std::set<String> names;
    for (const QRBSourceControlSystemPtr& system : systems) {
      if (system && system->workingCopyFolderIdentifier()) names.insert(system->workingCopyFolderIdentifier());
    }
    return names;
  }
};

void askSystem(const std::shared_ptr<Scan>& scan, const QRBSourceControlSystemPtr& system,
               const std::vector<URL>& candidates, const QRBSourceControlOperationPtr& operation,
               const QRBSourceControlManagerPtr& manager) {
  if (system == nullptr || !system->isUsable()) return;
  String plugIn = system->plugInIdentifier();
  qrb::askPlugIn(
      {manager, operation, scan->step, plugIn}, [&](const QRBSourceControlProxy& proxy, ReplyStep::Ticket ticket) {
        auto take = [step = scan->step, found = scan->found,
                     ticket](const QRBSourceControlManager::WorkingCopies& workingCopies) {
          step->settle(ticket, [&] { found->insert(found->end(), workingCopies.begin(), workingCopies.end()); });
        };
        if (system->workingCopyFolderIdentifier()) {
          proxy.send(PlugInProtocol::scanForWorkingCopiesInPotentialWorkingCopies, {candidates}, std::move(take));
        } else {
          proxy.send(PlugInProtocol::scanForWorkingCopiesInFolderPaths, {scan->folderPaths, scan->traversingUp},
                     std::move(take));
        }
      });
}

}  // namespace

QRBSourceControlOperationPtr QRBSourceControlManager::scanForWorkingCopiesInFolderPaths(
    const Files& folderPaths, bool traversingUp, const Systems& usingSourceControlSystems,
    std::function<void(const std::shared_ptr<const WorkingCopies>&)> completionBlock) {
  auto scan = std::make_shared<Scan>(std::move(completionBlock));
  scan->folderPaths = folderPaths;
  scan->traversingUp = traversingUp;
  scan->systems = usingSourceControlSystems;

  auto begin = [scan](const QRBSourceControlOperationPtr& operation, const QRBSourceControlManagerPtr& manager) {
    // The scanner serves all scans one after another, and then asks their plug-ins, on one thread.
    operation->setIdle(true);
    manager->remoteProxyObjectForWorkingCopyScanning(operation).send(
        ScannerProtocol::scanFolderPaths, {scan->folderPaths, scan->traversingUp, scan->identifiers()},
        [scan, operation, manager](const std::vector<URL>& candidates) {
          if (operation->isEnding()) return;
          operation->setIdle(false);
          for (const QRBSourceControlSystemPtr& system : scan->systems) {
            askSystem(scan, system, candidates, operation, manager);
          }
          scan->complete(operation->isEnding() ? nullptr : scan->found);
          manager->operationDidFinish(operation);
        });
  };

  auto terminate = [scan](const QRBSourceControlOperationPtr& operation, const QRBSourceControlManagerPtr& manager,
                          const qrb::Error&) {
    if (scan->step->abandon()) return;
    scan->complete(nullptr);
    manager->operationDidFinish(operation);
  };

  auto operation = QRBSourceControlOperation::initWithSourceControlManager(shared_from_this(), nullptr,
                                                                           std::move(begin), std::move(terminate));
  addOperation(operation);
  return operation;
}

// SSH

namespace {

// An authentication failure is the answer here and never goes to the failure handler.
request::Subject ofSSHHelper() {
  return request::ofService(&QRBSourceControlManager::remoteProxyObjectForSSHKeyGeneration);
}

}  // namespace

QRBSourceControlOperationPtr QRBSourceControlManager::validateSSHKeysWithPrivateKeyURL(const URL& privateKeyURL,
                                                                                       Completion<> completionBlock) {
  return request::start(shared_from_this(), SSHProtocol::validateSSHKeys, ofSSHHelper(), {}, std::move(completionBlock),
                        {privateKeyURL});
}

QRBSourceControlOperationPtr QRBSourceControlManager::generateSSHKeysWithPassphrase(
    const String& passphrase, const URL& inFolder, Completion<SSHKeysStrategyPtr> completionBlock) {
  return generateSSHKeysWithPassphrase(passphrase, String(), inFolder, std::move(completionBlock));
}

QRBSourceControlOperationPtr QRBSourceControlManager::generateSSHKeysWithPassphrase(
    const String& passphrase, const String& comment, const URL& inFolder,
    Completion<SSHKeysStrategyPtr> completionBlock) {
  return request::start(shared_from_this(), SSHProtocol::generateSSHKeysWithComment, ofSSHHelper(), {},
                        std::move(completionBlock), {passphrase, comment, inFolder});
}

QRBSourceControlOperationPtr QRBSourceControlManager::defaultSSHKeyAuthenticationStrategyForURL(
    const URL& url, Completion<SSHKeysStrategyPtr> completionBlock) {
  return request::start(shared_from_this(), SSHProtocol::defaultSSHKeyAuthenticationStrategyForURL, ofSSHHelper(), {},
                        std::move(completionBlock), {url});
}

QRBSourceControlOperationPtr QRBSourceControlManager::knownSSHHostsAndFingerprintsWithCompletionBlock(
    Completion<qrb::Dictionary> completionBlock) {
  return request::start(shared_from_this(), SSHProtocol::knownHosts, ofSSHHelper(), {}, std::move(completionBlock), {});
}

QRBSourceControlOperationPtr QRBSourceControlManager::uploadPublicSSHKeyFromFolder(const URL& folder,
                                                                                   const URL& toServer,
                                                                                   const String& forUsername,
                                                                                   Completion<> completionBlock) {
  return request::start(shared_from_this(), SSHProtocol::uploadPublicSSHKey, ofSSHHelper(), {},
                        std::move(completionBlock), {folder, toServer, forUsername});
}

QRBSourceControlOperationPtr QRBSourceControlManager::uploadPublicSSHKeyFromFolder(
    const URL& folder, const QRBSourceControlRemoteRepositoryPtr& toServerOfRemoteRepository,
    Completion<> completionBlock) {
  return request::start(shared_from_this(), SSHProtocol::uploadPublicSSHKeyWithStrategy, ofSSHHelper(), {},
                        std::move(completionBlock), {folder, toServerOfRemoteRepository});
}
