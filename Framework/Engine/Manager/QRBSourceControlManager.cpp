#include "QRBSourceControlManager.h"

#include <algorithm>
#include <cctype>

#include "Assertion.h"
#include "Localization.h"
#include "ProcessReaper.h"
#include "QRBSourceControlConstants.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlModelPrivate.h"
#include "QRBSourceControlPlugInProtocol.h"
#include "QRBSourceControlProxyPrivate.h"
#include "QRBSourceControlServiceProtocols.h"
#include "Scarcity.h"
#include "ServiceConnectionPrivate.h"
#include "ServiceDirectories.h"
#include "ServiceReservePrivate.h"

using qrb::ServiceConnection;
using qrb::String;

const QRBSourceControlManagerPtr& QRBSourceControlManager::sharedInstance() {
  // Never destroyed: plug-ins may answer while the host exits.
  static const auto* shared = new QRBSourceControlManagerPtr(new QRBSourceControlManager);
  return *shared;
}

QRBSourceControlManagerPtr QRBSourceControlManager::init() {
  qrb::assertionFailure("Framework/QRBSourceControlManager", 73,
                        "Don't call init, this is a singleton, get the shared instance");
  return nullptr;
}

QRBSourceControlManager::QRBSourceControlManager()
    : _sourceControlOperationQueue("Source Control Manager Operation Queue"),
      _discoveryQueue("Source Control Discovery Queue"),
      _currentOperationsChangeQueue("Source Control Operation Dictionary Change Queue"),
      _plugInConnectionsChangeQueue("Source Control PlugIn Connections Dictionary Change Queue") {
  _sourceControlOperationQueue.setMaxConcurrentOperationCount(qrb::OperationQueue::defaultMaxConcurrentOperationCount);
  _discoveryQueue.setMaxConcurrentOperationCount(1);
  qrb::ProcessReaper::shared().prepare();
  // Made while there is memory.
  qrb::scarcityError();
}

std::shared_ptr<QRBSourceControlAuthenticationFailureHandler> QRBSourceControlManager::failureHandler() const {
  return _failureHandler.with([](const auto& handler) { return handler; });
}

void QRBSourceControlManager::setFailureHandler(std::shared_ptr<QRBSourceControlAuthenticationFailureHandler> handler) {
  _failureHandler.with([&](auto& held) { held.swap(handler); });
}

std::shared_ptr<const QRBSourceControlManager::Systems> QRBSourceControlManager::cachedSourceControlSystems() const {
  return _cachedSourceControlSystems.with([](const auto& systems) { return systems; });
}

void QRBSourceControlManager::setCachedSourceControlSystems(std::shared_ptr<const Systems> systems) {
  _cachedSourceControlSystems.with([&](auto& held) { held.swap(systems); });
}

qrb::ObserverToken QRBSourceControlManager::observeServiceFailures(
    std::function<void(const QRBSourceControlServiceFailure&)> callback) {
  return _serviceFailures.observe(std::move(callback));
}

void QRBSourceControlManager::reportServiceFailure(const QRBSourceControlServiceFailure& failure) const {
  _serviceFailures.notify(failure);
}

// Operations and their processes

void QRBSourceControlManager::addOperation(const QRBSourceControlOperationPtr& operation) {
  _sourceControlOperationQueue.addOperation(operation);
}

void QRBSourceControlManager::cancelAllOperations() {
  _sourceControlOperationQueue.cancelAllOperations();
  _discoveryQueue.cancelAllOperations();
}

void QRBSourceControlManager::operationDidStart(const QRBSourceControlOperationPtr& operation) {
  _currentOperationsChangeQueue.sync([&] {
    // A cancellation on another thread may have ended it already; it would stay here for good.
    if (!operation->isEnding()) _currentOperations[operation->identifier()] = operation;
  });
}

void QRBSourceControlManager::invalidateProcessForOperation(const QRBSourceControlOperationPtr& operation,
                                                            bool withForce) {
  // The process is told or killed while the queue is held: whoever finds no connection here any more may rely on that.
  _plugInConnectionsChangeQueue.sync([&] {
    auto place = _plugInConnections.find(operation->identifier());
    if (place == _plugInConnections.end()) return;
    ServiceConnectionPtr connection = std::move(place->second);
    _plugInConnections.erase(place);
    if (withForce) return connection->invalidate(ServiceConnection::Ending::killed);
    bool told = qrb::unlessScarce([&] {
      QRBSourceControlProxy(connection->connection(), nullptr)
          .send(QRBSourceControlPlugInProtocol::operationsFinished, std::tuple<>());
    });
    connection->invalidate(told ? ServiceConnection::Ending::told : ServiceConnection::Ending::killed);
  });
}

void QRBSourceControlManager::operationDidFinish(const QRBSourceControlOperationPtr& operation) {
  if (operation == nullptr) return;
  invalidateProcessForOperation(operation, false);
  _currentOperationsChangeQueue.sync([&] { _currentOperations.erase(operation->identifier()); });
  operation->finish();
}

QRBSourceControlOperationPtr QRBSourceControlManager::operationWithIdentifier(const String& identifier) const {
  return _currentOperationsChangeQueue.sync([&]() -> QRBSourceControlOperationPtr {
    auto place = _currentOperations.find(identifier);
    return place == _currentOperations.end() ? nullptr : place->second;
  });
}

QRBSourceControlOperationPtr QRBSourceControlManager::operationForConnection(
    const ServiceConnection* connection) const {
  String identifier = _plugInConnectionsChangeQueue.sync([&]() -> String {
    for (const auto& [key, registered] : _plugInConnections) {
      if (registered.get() == connection) return key;
    }
    return {};
  });
  return identifier ? operationWithIdentifier(identifier) : nullptr;
}

// Finds and forgets the connection in one step. The operation may be on its way to its next process, whose loss the
// loss of this one must not be taken for.
QRBSourceControlOperationPtr QRBSourceControlManager::releaseConnection(const ServiceConnection* connection) {
  String identifier = _plugInConnectionsChangeQueue.sync([&]() -> String {
    auto place = std::find_if(_plugInConnections.begin(), _plugInConnections.end(),
                              [&](const auto& entry) { return entry.second.get() == connection; });
    if (place == _plugInConnections.end()) return {};
    String key = place->first;
    _plugInConnections.erase(place);
    return key;
  });
  return identifier ? operationWithIdentifier(identifier) : nullptr;
}

// Connections

namespace {

/// Letters, digits, hyphens and underscores in at least three parts, which no script's name with its extension is.
bool hasFormOfIdentifier(std::string_view name) {
  std::size_t parts = 0;
  while (!name.empty()) {
    std::size_t end = std::min(name.find('.'), name.size());
    bool isPart = end > 0 && std::ranges::all_of(name.substr(0, end), [](unsigned char letter) {
                    return std::isalnum(letter) != 0 || letter == '-' || letter == '_';
                  });
    if (!isPart || end + 1 == name.size()) return false;
    ++parts;
    name.remove_prefix(std::min(end + 1, name.size()));
  }
  return parts >= 3;
}

}  // namespace

std::vector<String> QRBSourceControlManager::installedPlugInIdentifiers() {
  std::vector<std::string> installed = qrb::ServiceDirectories::executableNames();
  std::vector<String> identifiers;
  for (std::string_view known : {QRBSourceControlGitPlugInIdentifier, QRBSourceControlSubversionPlugInIdentifier}) {
    // A service that is there and cannot be launched is worth a word in the log.
    if (!qrb::ServiceDirectories::executableNamed(std::string(known)).empty()) identifiers.emplace_back(known);
  }
  for (const std::string& name : installed) {
    bool isKnown = std::ranges::find(identifiers, String(name)) != identifiers.end();
    bool isHelper = name == QRBSourceControlSSHHelperProtocol::serviceName ||
                    name == QRBSourceControlWorkingCopyScannerProtocol::serviceName;
    if (!isKnown && !isHelper && hasFormOfIdentifier(name)) identifiers.emplace_back(name);
  }
  return identifiers;
}

// The instance is always a fresh one, whatever the UUID: two operations never share a process.
QRBSourceControlManager::ServiceConnectionPtr QRBSourceControlManager::_plugInConntectionForPlugInIdentifier(
    const String& identifier, const String&) {
  if (!identifier) return nullptr;
  return qrb::ServiceReserve::shared().take(identifier.str());
}

// A message that brings no identifier (fetch, push) still belongs to the one operation that its process serves.
String QRBSourceControlManager::resolvedProgressIdentifier(
    const String& given, const std::weak_ptr<ServiceConnection>& weakConnection) const {
  if (!given || !given.empty()) return given;
  ServiceConnectionPtr connection = weakConnection.lock();
  QRBSourceControlOperationPtr operation = connection ? operationForConnection(connection.get()) : nullptr;
  return operation ? operation->identifier() : String();
}

void QRBSourceControlManager::resumePlugInConnection(const ServiceConnectionPtr& connection, const LossHandler& lost) {
  std::weak_ptr<ServiceConnection> weak = connection;
  ServiceConnection::Handlers handlers;
  handlers.call = [this, weak](const qrb::Connection::IncomingCall& call) {
    namespace Callback = QRBSourceControlPlugInCallbackProtocol;
    if (call.identifier) throw qrb::ArchiveError("a request where only callbacks are served");
    if (call.method == Callback::incrementalLogStatus.selector) {
      using Values = std::tuple<LogItems, qrb::Dictionary, String>;
      auto [items, info, identifier] = qrb::readValues<Values>(call.arguments);
      incrementalLogStatus(items, info, resolvedProgressIdentifier(identifier, weak));
    } else if (call.method == Callback::progressStatus.selector) {
      using Values = std::tuple<std::int64_t, qrb::Dictionary, String>;
      auto [status, info, identifier] = qrb::readValues<Values>(call.arguments);
      progressStatus(status, info, resolvedProgressIdentifier(identifier, weak));
    } else {
      throw qrb::ArchiveError("an unknown callback");
    }
  };
  handlers.interruption = [this, weak, lost] { communicationFailed(weak, lost); };
  connection->resume(std::move(handlers));
}

void QRBSourceControlManager::communicationFailed(const std::weak_ptr<ServiceConnection>& weakConnection,
                                                  const LossHandler& lost) {
  ServiceConnectionPtr connection = weakConnection.lock();
  if (connection == nullptr) return;
  QRBSourceControlOperationPtr operation = releaseConnection(connection.get());
  qrb::Error failure = operation != nullptr ? connection->failure() : qrb::Error();
  // The process is dead or talks nonsense, so nothing is waited for.
  connection->invalidate(ServiceConnection::Ending::killed);
  if (operation == nullptr) return;
  lost ? lost(failure) : operation->terminate(failure);
}

QRBSourceControlProxy QRBSourceControlManager::remoteProxyObjectForPlugInIdentifier(
    const String& identifier, const QRBSourceControlOperationPtr& operation) {
  return remoteProxyObjectForPlugInIdentifier(identifier, operation, nullptr);
}

QRBSourceControlProxy QRBSourceControlManager::remoteProxyObjectForPlugInIdentifier(
    const String& identifier, const QRBSourceControlOperationPtr& operation, LossHandler lost) {
  if (operation->isEnding()) return {};
  ServiceConnectionPtr connection = _plugInConntectionForPlugInIdentifier(identifier, operation->identifier());
  if (connection == nullptr) return {};
  _plugInConnectionsChangeQueue.sync([&] { _plugInConnections[operation->identifier()] = connection; });
  resumePlugInConnection(connection, lost);
  // A cancellation looks once for the process that it kills: it came before there was one, or it finds this one.
  if (operation->isEnding()) {
    invalidateProcessForOperation(operation, true);
    return {};
  }
  std::weak_ptr<ServiceConnection> weak = connection;
  return QRBSourceControlProxy(
      connection->connection(), [this, weak, lost = std::move(lost)] { communicationFailed(weak, lost); },
      connection->processGroup());
}

QRBSourceControlProxy QRBSourceControlManager::remoteProxyObjectForSourceControlSystem(
    const QRBSourceControlSystemPtr& system, const QRBSourceControlOperationPtr& operation) {
  if (system == nullptr || !system->isUsable()) return {};
  return remoteProxyObjectForPlugInIdentifier(system->plugInIdentifier(), operation);
}

// Callbacks of plug-ins

namespace {

double progressFraction(const qrb::Dictionary& info) {
  return info[QRBSourceControlProgressValue].real();
}

String progressText(std::int64_t status, const qrb::Dictionary& info) {
  const qrb::Dictionary& text = info[QRBSourceControlProgressHumanReadableString];
  if (text.isString()) return text.string();
  switch (static_cast<QRBSourceControlProgressStatus>(status)) {
    case QRBSourceControlProgressStatus::authenticating:
      return qrb::localized("Authenticating…");
    case QRBSourceControlProgressStatus::transferring:
    case QRBSourceControlProgressStatus::transferringMore:
      return qrb::localized("Transfering files…");
    case QRBSourceControlProgressStatus::copying:
      return qrb::localized("Copying files…");
    case QRBSourceControlProgressStatus::upgrading:
      return qrb::localized("Upgrading files…");
  }
  return "";
}

}  // namespace

void QRBSourceControlManager::incrementalLogStatus(const LogItems& items, const qrb::Dictionary& info,
                                                   const String& progressIdentifier) {
  if (!progressIdentifier) return;
  QRBSourceControlOperationPtr operation = operationWithIdentifier(progressIdentifier);
  if (operation == nullptr) return;
  if (auto block = operation->incrementalLogBlock()) block(items, progressFraction(info));
}

void QRBSourceControlManager::progressStatus(std::int64_t status, const qrb::Dictionary& withDictionary,
                                             const String& progressIdentifier) {
  if (!progressIdentifier) return;
  QRBSourceControlOperationPtr operation = operationWithIdentifier(progressIdentifier);
  if (operation == nullptr) return;
  if (auto block = operation->progressBlock()) {
    block(progressText(status, withDictionary), progressFraction(withDictionary));
  }
}
