#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "Export.h"
#include "QueueOperation.h"

namespace qrb {

/// Starts operations in the order in which they were added, so many at once as its limit allows; an operation counts
/// from its start until its end is announced, not only while start() runs, except while it is idle. Waiting operations
/// cost memory only. Destroying the queue lets the operations in it run to their end. Any thread.
class QRB_EXPORT OperationQueue {
 public:
  /// The limit is chosen from what the system has: see systemConcurrencyLimit.
  static constexpr int defaultMaxConcurrentOperationCount = -1;

  explicit OperationQueue(std::string name);
  OperationQueue(const OperationQueue&) = delete;
  OperationQueue& operator=(const OperationQueue&) = delete;
  ~OperationQueue();

  const std::string& name() const;

  /// The queue keeps the operation until its end. Adding one that is in a queue already is not checked. Throws
  /// as WorkerPool::prepare does, and then the operation is not in the queue; later nothing can fail.
  void addOperation(std::shared_ptr<QueueOperation> operation);
  /// Those not finished, in the order they were added.
  std::vector<std::shared_ptr<QueueOperation>> operations() const;
  /// Calls cancel() of each operation, on this thread. Those that wait are still started in their turn, for start() is
  /// where an operation that has been cancelled finishes.
  void cancelAllOperations();
  /// Blocks until the queue is empty, operations added meanwhile included. Not from an operation of this queue.
  void waitUntilAllOperationsAreFinished();

  int maxConcurrentOperationCount() const;
  /// -1, or at least 1. Takes effect for operations not yet started.
  void setMaxConcurrentOperationCount(int count);

  /// The limit behind -1: 16 per core, but at least 32 and at most 256, and no more than the program's soft limit of
  /// open descriptors allows when 64 are kept for the program itself and an operation takes 8; at least 2 in any case.
  static std::size_t systemConcurrencyLimit(std::size_t cores, std::size_t softDescriptorLimit);

 private:
  struct State;
  std::shared_ptr<State> _state;
};

}  // namespace qrb
