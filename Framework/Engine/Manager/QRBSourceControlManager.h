#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <vector>

#include <qrb/Dictionary.h>
#include <qrb/Error.h>
#include <qrb/Export.h>
#include <qrb/Guarded.h>
#include <qrb/Observer.h>
#include <qrb/OperationQueue.h>
#include <qrb/SerialQueue.h>
#include <qrb/URL.h>

#include "QRBSourceControlCallbacks.h"
#include "QRBSourceControlForward.h"
#include "QRBSourceControlOperation.h"

class QRBSourceControlProxy;
namespace qrb {
class ServiceConnection;
}

/// The host's object that is asked when a server refuses the credentials of a request.
class QRB_EXPORT QRBSourceControlAuthenticationFailureHandler {
 public:
  virtual ~QRBSourceControlAuthenticationFailureHandler() = default;

  /// Called on the reply thread of the refused request. `completionBlock` is to be called exactly once, on any thread,
  /// now or later: true runs the request again on a new process, false gives the error to the caller. Until then the
  /// request can be cancelled. `repository` names the system that refused; `context` is the request's own, or null.
  virtual void handleAuthenticationFailure(const qrb::Error& error, const QRBSourceControlRepositoryPtr& forRepository,
                                           const std::shared_ptr<void>& context,
                                           std::function<void(bool retry)> completionBlock) = 0;
};

/// A repository of the host's that wants to hear which remote is the primary one whenever the remotes were listed.
class QRB_EXPORT QRBSourceControlRemoteRepositoriesUpdating {
 public:
  virtual ~QRBSourceControlRemoteRepositoriesUpdating() = default;
  /// Called on the reply thread, before the completion of the request that listed them. Empty when there is none.
  virtual void updateRemoteRepositories(const std::set<QRBSourceControlRemoteRepositoryPtr>& remotes) = 0;
};

/// What a plug-in or helper service failed to do where the error of no request tells so.
struct QRBSourceControlServiceFailure {
  /// The plug-in's identifier, or the service's name.
  qrb::String service;
  /// Says what happened, as a failed request's would.
  qrb::Error error;
  /// The request to a helper service that gets no answer until it is cancelled. Null where a discovery or a scan has
  /// gone on without the plug-in.
  QRBSourceControlOperationPtr unanswered;
};

/// The one object through which a host reaches the plug-ins: every request is an operation on its queue and runs in a
/// plug-in process of its own.
///
/// Requests may be made from any thread and return at once with the handle of the operation they queued. A completion
/// is called exactly once, on the reply thread of the request's connection (or, when it is cancelled or its process
/// cannot be started, on the thread where that happens), with the reply's values and the error last; when there is an
/// error the values are absent. Completions may be empty. A request whose system is a placeholder gets no answer until
/// it is cancelled, and neither does one to a helper service that is not installed or dies meanwhile: see
/// observeServiceFailures(). What a plug-in does not serve it answers with the error requestUnsupported.
///
/// Plug-ins get the host's environment and working directory as they are when the process is launched, which is on
/// threads of the library after the request was made. So while requests are under way a host must not change its
/// environment (setenv, unsetenv, putenv, clearenv): the C library lets nobody read it meanwhile. What a plug-in is to
/// find there is set before the first request, or when all have been answered.
class QRB_EXPORT QRBSourceControlManager final : public std::enable_shared_from_this<QRBSourceControlManager> {
 public:
  template <class... Values>
  using Completion = QRBSourceControlCompletionBlock<Values...>;
  using Files = std::vector<qrb::String>;
  using Branches = std::vector<QRBSourceControlBranchPtr>;
  using LogItems = std::vector<QRBSourceControlLogItemPtr>;
  using Systems = std::vector<QRBSourceControlSystemPtr>;
  using SystemsCompletion = std::function<void(const std::shared_ptr<const Systems>& systems)>;
  using WorkingCopies = std::vector<QRBSourceControlWorkingCopyPtr>;
  using SSHKeysStrategyPtr = QRBSourceControlSSHKeysAuthenticationStrategyPtr;

  /// The process-wide manager, made by the first call and never destroyed.
  static const QRBSourceControlManagerPtr& sharedInstance();
  /// Refused: an assertion; returns null.
  static QRBSourceControlManagerPtr init();

  QRBSourceControlManager(const QRBSourceControlManager&) = delete;
  QRBSourceControlManager& operator=(const QRBSourceControlManager&) = delete;

  /// Null when the host set none: authentication failures go to the callers then.
  std::shared_ptr<QRBSourceControlAuthenticationFailureHandler> failureHandler() const;
  /// Replaces the handler for the failures to come; null for none. The manager keeps it alive.
  void setFailureHandler(std::shared_ptr<QRBSourceControlAuthenticationFailureHandler> handler);

  /// The systems found by the last discovery; null before the first.
  std::shared_ptr<const Systems> cachedSourceControlSystems() const;
  /// Replaces the list until the next discovery; null makes `systemWithIdentifer` discover anew.
  void setCachedSourceControlSystems(std::shared_ptr<const Systems> systems);

  /// Hears of every plug-in that a discovery or a scan has gone on without, and of every request to a helper service
  /// that will not be answered. Called on the thread that found out, for as long as the token lives; what it is told is
  /// no reason to wait, and the request may be cancelled from the callback.
  [[nodiscard]] qrb::ObserverToken observeServiceFailures(
      std::function<void(const QRBSourceControlServiceFailure&)> callback);

  // Operations and their processes

  /// Queues an operation, which may start on another thread before this returns.
  void addOperation(const QRBSourceControlOperationPtr& operation);
  /// Cancels every operation on the queue; each completion receives the cancellation error.
  void cancelAllOperations();
  /// Records the operation, so that callbacks of its process find it.
  void operationDidStart(const QRBSourceControlOperationPtr& operation);
  /// Ends the operation's process, if it has one: with force it is killed at once, otherwise it is told to finish.
  void invalidateProcessForOperation(const QRBSourceControlOperationPtr& operation, bool withForce);
  /// Ends its process, forgets it and marks it finished. Null is ignored.
  void operationDidFinish(const QRBSourceControlOperationPtr& operation);
  /// The operation that a connection belongs to; null for a connection that belongs to none.
  QRBSourceControlOperationPtr operationForConnection(const qrb::ServiceConnection* connection) const;

  /// A proxy for a new process of the system's plug-in, registered under the operation; none for a system that is not
  /// usable.
  QRBSourceControlProxy remoteProxyObjectForSourceControlSystem(const QRBSourceControlSystemPtr& system,
                                                                const QRBSourceControlOperationPtr& operation);
  /// A proxy for a new process of the plug-in of that identifier, whether its system is known or not; none for an
  /// operation that is ending.
  QRBSourceControlProxy remoteProxyObjectForPlugInIdentifier(const qrb::String& identifier,
                                                             const QRBSourceControlOperationPtr& operation);
  /// With `lost`, which handles the loss of that one process: the operation does not end by it.
  QRBSourceControlProxy remoteProxyObjectForPlugInIdentifier(const qrb::String& identifier,
                                                             const QRBSourceControlOperationPtr& operation,
                                                             std::function<void(const qrb::Error&)> lost);
  /// Tells those who observe. Not for hosts.
  void reportServiceFailure(const QRBSourceControlServiceFailure& failure) const;

  // Systems

  /// Asks every installed plug-in what it is: those of Git and Subversion, and then every executable in the service
  /// directories whose name has the form of an identifier ("org.example.Snap"). The completion receives the systems
  /// found, in that order; null after a cancellation. A plug-in that cannot be launched, dies, takes longer than the
  /// time limit or says that its identifier is another than its file's name is missing from them and reported as a
  /// service failure. Discoveries run one after another, and beside all other requests.
  QRBSourceControlOperationPtr sourceControlSystemsWithCompletionBlock(SystemsCompletion completionBlock);
  /// The system of that identifier (a current or a legacy one). Discovers the systems first, blocking the caller, when
  /// none are known; answers a placeholder when no plug-in has that identifier. Any thread, callbacks included.
  QRBSourceControlSystemPtr systemWithIdentifer(const qrb::String& identifier);
  /// The identifiers of the plug-ins that a discovery asks, in its order. Looks at the service directories each time.
  static std::vector<qrb::String> installedPlugInIdentifiers();
  /// Asks only the plug-ins of these identifiers and forgets what it has learnt: the cached systems stay as they are.
  QRBSourceControlOperationPtr sourceControlSystemsOfPlugIns(std::vector<qrb::String> identifiers,
                                                             SystemsCompletion completionBlock);

  /// How long a discovery waits for one plug-in.
  static constexpr std::chrono::milliseconds defaultDiscoveryTimeLimit{5000};
  std::chrono::milliseconds discoveryTimeLimit() const { return _discoveryTimeLimit; }
  /// For the discoveries to come.
  void setDiscoveryTimeLimit(std::chrono::milliseconds limit) { _discoveryTimeLimit = limit; }

  // Requests to the helper services. Each service is one process, launched by the first request, which serves all of
  // them; when it has died, the next request launches another. Cancelling such a request answers its caller and does
  // not stop the service, which may still do what it was asked.

  /// Ends the services that run, for a host that is about to end and leaves nothing behind. What they were still asked
  /// is answered when it is cancelled, as when a service has died. Their ends can be waited for like those of all other
  /// processes. Any thread.
  void endHelperServices();
  /// The working copies of the systems that the scanner finds in the folders and, when asked, in those above them: in
  /// the order of the systems, and of the paths within one. Systems whose working copies no folder name marks look for
  /// themselves. Nothing is looked for without systems, and a plug-in that dies contributes nothing; null only after a
  /// cancellation. The plug-ins are asked one after another on the reply thread of the scanner, which all scans share.
  QRBSourceControlOperationPtr scanForWorkingCopiesInFolderPaths(
      const Files& folderPaths, bool traversingUp, const Systems& usingSourceControlSystems,
      std::function<void(const std::shared_ptr<const WorkingCopies>& workingCopies)> completionBlock);
  /// No error when the file is a private key that only the user can read, with its public key beside it.
  QRBSourceControlOperationPtr validateSSHKeysWithPrivateKeyURL(const qrb::URL& privateKeyURL,
                                                                Completion<> completionBlock);
  /// A new key pair in the folder, which is made when it is missing; a key that is there already is an error. The
  /// strategy holds the private key and the passphrase. An absent comment is the helper's to choose.
  QRBSourceControlOperationPtr generateSSHKeysWithPassphrase(const qrb::String& passphrase, const qrb::String& comment,
                                                             const qrb::URL& inFolder,
                                                             Completion<SSHKeysStrategyPtr> completionBlock);
  /// Leaves the comment to the helper.
  QRBSourceControlOperationPtr generateSSHKeysWithPassphrase(const qrb::String& passphrase, const qrb::URL& inFolder,
                                                             Completion<SSHKeysStrategyPtr> completionBlock);
  /// The key that ssh would offer first to the server of that remote.
  QRBSourceControlOperationPtr defaultSSHKeyAuthenticationStrategyForURL(
      const qrb::URL& url, Completion<SSHKeysStrategyPtr> completionBlock);
  /// A list of fingerprints for each host that the user's ssh knows.
  QRBSourceControlOperationPtr knownSSHHostsAndFingerprintsWithCompletionBlock(
      Completion<qrb::Dictionary> completionBlock);
  /// Lets the public key in the folder log in to the server as that user from now on.
  QRBSourceControlOperationPtr uploadPublicSSHKeyFromFolder(const qrb::URL& folder, const qrb::URL& toServer,
                                                            const qrb::String& forUsername,
                                                            Completion<> completionBlock);
  /// Lets it log in to the server of a remote repository as that repository's user. The upload itself logs in as the
  /// authentication strategy says: with a password where the server has no key of the user yet.
  QRBSourceControlOperationPtr uploadPublicSSHKeyFromFolder(
      const qrb::URL& folder, const QRBSourceControlRemoteRepositoryPtr& toServerOfRemoteRepository,
      Completion<> completionBlock);
  /// Proxies of the services, whose processes are launched if they are not running. The operation, which may be null,
  /// fails when the service cannot be launched or delivers too much for one request.
  QRBSourceControlProxy remoteProxyObjectForSSHKeyGeneration(const QRBSourceControlOperationPtr& operation);
  QRBSourceControlProxy remoteProxyObjectForWorkingCopyScanning(const QRBSourceControlOperationPtr& operation);

  // Callbacks of plug-ins; dropped when no running operation has that identifier.

  /// Hands items and the fraction done to the request's incremental block, on this thread.
  void incrementalLogStatus(const LogItems& items, const qrb::Dictionary& info, const qrb::String& progressIdentifier);
  /// Hands text and fraction to the request's progress block, on this thread.
  void progressStatus(std::int64_t status, const qrb::Dictionary& withDictionary,
                      const qrb::String& progressIdentifier);

  // Requests of plug-ins, each with the parameters of its message and a completion. They are declared and described
  // with the messages: on a working copy, on a repository, on a remote repository.
#define QRB_REQUEST(name, selector, line, words, subject, parameters, arguments, ...) \
  QRBSourceControlOperationPtr name(QRB_BEFORE_COMPLETION parameters __VA_ARGS__ completionBlock);
#include "QRBSourceControlPlugInMessages.h"

  // Those that are more to a host than their message: by a callback, by what is done with the reply, or by their name.

  /// Always completes without an error: the name, protocol and account of the keychain entry are passed on only when
  /// the plug-in reports one.
  QRBSourceControlOperationPtr keychainNameFromURL(const qrb::URL& url, const QRBSourceControlSystemPtr& forSystem,
                                                   Completion<qrb::String, std::uint64_t, qrb::String> completionBlock);
  /// History, newest first. `inclusionType` and `searchType` are of QRBSourceControlHistoryTypes.h; a maximum of 0 is
  /// no limit. Batches go to `incrementalLogBlock` as they are found, and the completion receives all items again.
  QRBSourceControlOperationPtr historyOfFile(const qrb::String& file,
                                             const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                                             const QRBSourceControlRevisionLocationPtr& fromRevisionLocation,
                                             const QRBSourceControlRevisionPtr& toRevision, std::uint64_t inclusionType,
                                             std::int64_t maximumLogItems, const qrb::String& searchString,
                                             std::uint64_t searchType,
                                             QRBSourceControlIncrementalLogBlock incrementalLogBlock,
                                             Completion<LogItems> completionBlock);
  /// As historyOfFile, of the whole working copy.
  QRBSourceControlOperationPtr historyOfWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy,
                                                    const QRBSourceControlRevisionPtr& fromRevision,
                                                    const QRBSourceControlRevisionPtr& toRevision,
                                                    std::uint64_t inclusionType, std::int64_t maximumLogItems,
                                                    const qrb::String& searchString, std::uint64_t searchType,
                                                    QRBSourceControlIncrementalLogBlock incrementalLogBlock,
                                                    Completion<LogItems> completionBlock);
  /// The progress callback is accepted and never called.
  QRBSourceControlOperationPtr forceUpdateWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy,
                                                      const QRBSourceControlRemoteRepositoryPtr& fromRepository,
                                                      QRBSourceControlProgressBlock progressBlock,
                                                      Completion<> completionBlock);
  /// The progress callback is accepted and never called.
  QRBSourceControlOperationPtr upgradeWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy,
                                                  QRBSourceControlProgressBlock progressBlock,
                                                  Completion<> completionBlock);
  /// The identifier; the caller applies it.
  QRBSourceControlOperationPtr updateIdentifierOfRepositoryForWorkingCopy(
      const QRBSourceControlWorkingCopyPtr& workingCopy, Completion<qrb::String> completionBlock);
  /// The primary remote and every remote by name. The repository hears of the primary one before the completion.
  QRBSourceControlOperationPtr listRemoteRepositoriesForRepository(
      const QRBSourceControlRepositoryPtr& repository,
      Completion<QRBSourceControlRemoteRepositoryPtr, QRBSourceControlRemoteRepositoriesPtr> completionBlock);
  /// Never asks the failure handler.
  QRBSourceControlOperationPtr createRepositoryAtFileURL(const qrb::URL& fileURL,
                                                         const QRBSourceControlSystemPtr& withSystem,
                                                         Completion<QRBSourceControlRepositoryPtr> completionBlock);
  /// The root URL and the path below it; the caller applies them.
  QRBSourceControlOperationPtr updateRepositoryURLRootForRepository(
      const QRBSourceControlRemoteRepositoryPtr& repository,
      Completion<qrb::URL, QRBSourceControlPathLocationPtr> completionBlock);
  /// Fetches what the remote has and the repository has not; no working copy changes.
  QRBSourceControlOperationPtr downloadUpdatesFromRemoteRepository(
      const QRBSourceControlRemoteRepositoryPtr& remoteRepository, const QRBSourceControlRepositoryPtr& toRepository,
      QRBSourceControlProgressBlock progressBlock, Completion<> completionBlock);
  /// Sends commits to the branch of the remote. Those that arrived before a cancellation stay there.
  QRBSourceControlOperationPtr uploadCommitsToRemoteRepository(
      const QRBSourceControlRemoteRepositoryPtr& remoteRepository,
      const QRBSourceControlRepositoryPtr& fromLocalRepository, const QRBSourceControlBranchPtr& remoteBranch,
      QRBSourceControlProgressBlock progressBlock, Completion<> completionBlock);
  /// An authentication failure is the answer and never goes to the failure handler.
  QRBSourceControlOperationPtr validateAuthenticationOfRepository(
      const QRBSourceControlRemoteRepositoryPtr& repository, const QRBSourceControlRevisionLocationPtr& location,
      const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations, Completion<> completionBlock);
  /// The working copy checked out into the folder. What was written before a failure or a cancellation is removed; who
  /// cancels does not wait for that.
  QRBSourceControlOperationPtr createWorkingCopyFromRepository(
      const QRBSourceControlRemoteRepositoryPtr& repository, const qrb::URL& atURL,
      const QRBSourceControlRevisionLocationPtr& location,
      const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
      QRBSourceControlProgressBlock progressBlock, Completion<QRBSourceControlWorkingCopyPtr> completionBlock);

 private:
  using ServiceConnectionPtr = std::shared_ptr<qrb::ServiceConnection>;

  QRBSourceControlManager();

  enum class DiscoveryKind { all, onlyWhenNoneIsKnown, some };
  QRBSourceControlOperationPtr discover(std::vector<qrb::String> identifiers, DiscoveryKind kind,
                                        SystemsCompletion completionBlock);
  ServiceConnectionPtr _plugInConntectionForPlugInIdentifier(const qrb::String& identifier,
                                                             const qrb::String& UUIDString);
  using LossHandler = std::function<void(const qrb::Error&)>;
  void resumePlugInConnection(const ServiceConnectionPtr& connection, const LossHandler& lost);
  QRBSourceControlOperationPtr releaseConnection(const qrb::ServiceConnection* connection);
  void communicationFailed(const std::weak_ptr<qrb::ServiceConnection>& connection, const LossHandler& lost);
  QRBSourceControlProxy remoteProxyObjectForService(qrb::Guarded<ServiceConnectionPtr>& connection,
                                                    std::string_view name,
                                                    const QRBSourceControlOperationPtr& operation);
  qrb::String resolvedProgressIdentifier(const qrb::String& given,
                                         const std::weak_ptr<qrb::ServiceConnection>& connection) const;
  QRBSourceControlOperationPtr operationWithIdentifier(const qrb::String& identifier) const;

  qrb::Guarded<ServiceConnectionPtr> _sshHelperConnection;
  qrb::Guarded<ServiceConnectionPtr> _workingCopyScannerConnection;
  qrb::OperationQueue _sourceControlOperationQueue;
  /// Apart from the requests' queue, since whoever waits for a discovery may hold a place in that one.
  qrb::OperationQueue _discoveryQueue;
  mutable qrb::SerialQueue _currentOperationsChangeQueue;
  std::unordered_map<qrb::String, QRBSourceControlOperationPtr> _currentOperations;
  mutable qrb::SerialQueue _plugInConnectionsChangeQueue;
  std::unordered_map<qrb::String, ServiceConnectionPtr> _plugInConnections;
  qrb::Guarded<std::shared_ptr<QRBSourceControlAuthenticationFailureHandler>> _failureHandler;
  qrb::Guarded<std::shared_ptr<const Systems>> _cachedSourceControlSystems;
  std::atomic<std::chrono::milliseconds> _discoveryTimeLimit{defaultDiscoveryTimeLimit};
  qrb::ObserverList<const QRBSourceControlServiceFailure&> _serviceFailures;
};
