#pragma once

#include <atomic>
#include <functional>
#include <memory>

#include <qrb/Error.h>
#include <qrb/Export.h>
#include <qrb/Guarded.h>
#include <qrb/QueueOperation.h>
#include <qrb/SerialQueue.h>
#include <qrb/SharedString.h>

#include "QRBSourceControlCallbacks.h"
#include "QRBSourceControlCancellable.h"
#include "QRBSourceControlForward.h"

class QRBSourceControlManager;
class QRBSourceControlOperation;
using QRBSourceControlManagerPtr = std::shared_ptr<QRBSourceControlManager>;
using QRBSourceControlOperationPtr = std::shared_ptr<QRBSourceControlOperation>;

/// One request: runs its operation block when the manager's queue starts it, again after a retry, and ends by its reply
/// or by cancellation. Members may be called from any thread.
class QRB_EXPORT QRBSourceControlOperation final : public qrb::QueueOperation,
                                                   public QRBSourceControlCancellable,
                                                   public std::enable_shared_from_this<QRBSourceControlOperation> {
 public:
  /// Does the request: starts it and returns. The manager is the one given at creation.
  using OperationBlock =
      std::function<void(const QRBSourceControlOperationPtr& operation, const QRBSourceControlManagerPtr& manager)>;
  /// Ends the request abnormally, with a communication failure or a cancellation. May be called while the reply is
  /// being handled on another thread; it settles the request only if nothing else has.
  using TerminationBlock = std::function<void(const QRBSourceControlOperationPtr& operation,
                                              const QRBSourceControlManagerPtr& manager, const qrb::Error& error)>;

  /// The system is null for discovery and for requests to helper services; either callback may be empty.
  static QRBSourceControlOperationPtr initWithSourceControlManager(
      QRBSourceControlManagerPtr manager, QRBSourceControlSystemPtr system, OperationBlock operationBlock,
      QRBSourceControlIncrementalLogBlock incrementalLogBlock, QRBSourceControlProgressBlock progressBlock,
      TerminationBlock terminationBlock);
  /// Callbacks that are not given are empty, here and below.
  static QRBSourceControlOperationPtr initWithSourceControlManager(QRBSourceControlManagerPtr manager,
                                                                   QRBSourceControlSystemPtr system,
                                                                   OperationBlock operationBlock,
                                                                   TerminationBlock terminationBlock);
  static QRBSourceControlOperationPtr initWithSourceControlManager(
      QRBSourceControlManagerPtr manager, QRBSourceControlSystemPtr system, OperationBlock operationBlock,
      QRBSourceControlIncrementalLogBlock incrementalLogBlock, TerminationBlock terminationBlock);
  static QRBSourceControlOperationPtr initWithSourceControlManager(QRBSourceControlManagerPtr manager,
                                                                   QRBSourceControlSystemPtr system,
                                                                   OperationBlock operationBlock,
                                                                   QRBSourceControlProgressBlock progressBlock,
                                                                   TerminationBlock terminationBlock);

  /// The queue on which every operation finishes: one, shared by all.
  static qrb::SerialQueue& sourceControlOperationStateQueue();

  /// A UUID string of the operation's own, the same as its name; the key of the manager's registries and the progress
  /// identifier sent to plug-ins.
  const qrb::String& identifier() const noexcept { return _identifier; }

  /// For the queue.
  void start() override;
  bool isExecuting() const override { return _isExecuting; }
  bool isFinished() const override { return _isFinished; }
  bool isIdle() const override { return _isIdle; }
  /// Says whether the request has no process at work and waits for somebody: then others may run in its place.
  void setIdle(bool idle);
  /// Whether `cancel` has taken effect. (The queue's own flag is not used.)
  bool isCanceled() const { return _isCanceled; }
  /// Whether nothing may be started for it any more: it is over, or about to be.
  bool isEnding() const { return _cancelRequested || _isFinished; }

  /// Runs the operation block again on a new process, under the same identifier. Nothing unless the operation is
  /// executing.
  void retry();
  /// Marks the operation finished and lets go of the manager, the system and every callback. May run more than once.
  void finish();
  /// Hands an error to the termination block, if the operation still has one.
  void terminate(const qrb::Error& error);
  /// Ends a request that nothing will answer: hands the error to the termination block, and cancels where that does not
  /// end it, as with those that have no error to give. It needs no memory of its own.
  void fail(const qrb::Error& error);
  /// Kills the request's process if it has one, and hands the cancellation error to the termination block, once.
  void cancel() override;

  /// Read when an authentication failure arrives, so either may still be set after the request was made.
  bool suppressAuthenticationFailure() const override { return _suppressAuthenticationFailure; }
  void setSuppressAuthenticationFailure(bool suppress) override { _suppressAuthenticationFailure = suppress; }
  std::shared_ptr<void> context() const override;
  void setContext(const std::shared_ptr<void>& context) override;

  /// Each of the following is empty or null once the operation is over.
  OperationBlock operationBlock() const;
  TerminationBlock terminationBlock() const;
  QRBSourceControlProgressBlock progressBlock() const;
  QRBSourceControlIncrementalLogBlock incrementalLogBlock() const;
  QRBSourceControlManagerPtr sourceControlManager() const;
  QRBSourceControlSystemPtr system() const;

 private:
  struct Held {
    QRBSourceControlManagerPtr manager;
    QRBSourceControlSystemPtr system;
    OperationBlock operationBlock;
    QRBSourceControlProgressBlock progressBlock;
    QRBSourceControlIncrementalLogBlock incrementalLogBlock;
    /// Shared, so that no memory is needed to end a request.
    std::shared_ptr<const TerminationBlock> terminationBlock;
  };
  struct Termination {
    QRBSourceControlOperationPtr operation;
    QRBSourceControlManagerPtr manager;
    std::shared_ptr<const TerminationBlock> block;

    void operator()(const qrb::Error& error) const {
      if (block != nullptr) (*block)(operation, manager, error);
    }
  };

  explicit QRBSourceControlOperation(Held held);
  void startOperation();
  Termination boundTermination();
  void drop();

  const qrb::String _identifier;
  std::atomic<bool> _isExecuting = false;
  std::atomic<bool> _isFinished = false;
  std::atomic<bool> _isIdle = false;
  std::atomic<bool> _isCanceled = false;
  // Set before anything of a cancellation happens, so that a start or a new process on another thread sees it.
  std::atomic<bool> _cancelRequested = false;
  std::atomic<bool> _suppressAuthenticationFailure = false;
  qrb::Guarded<std::weak_ptr<void>> _context;
  qrb::Guarded<Held> _held;
};
