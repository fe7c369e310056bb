// What a workspace does with all its working copies, one after another.

#include <algorithm>
#include <utility>

#include "QRBSourceControlError.h"
#include "QRBSourceControlLogItem.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlWorkingCopy.h"
#include "QRBSourceControlWorkspace.h"
#include "QRBSourceControlWorkspaceBlueprint.h"
#include "Result.h"
#include "SequentialActionPrivate.h"

using qrb::Error;
using qrb::Result;
using qrb::SequentialAction;
using Workspace = QRBSourceControlWorkspace;
using WorkingCopyPtr = QRBSourceControlWorkingCopyPtr;
using Request = QRBSourceControlMultiCancellablePtr;

namespace {

QRBSourceControlRevisionPtr revisionIn(const Workspace::Revisions& revisions, const WorkingCopyPtr& workingCopy) {
  return std::visit([&](const auto& table) { return table.valueFor(workingCopy); }, revisions);
}

QRBSourceControlProgressBlock partOfWhole(const QRBSourceControlProgressBlock& whole, std::size_t index,
                                          std::size_t count) {
  if (!whole) return {};
  return [whole, index, count](const qrb::String& text, double fraction) {
    auto n = static_cast<double>(count);
    whole(text, fraction < 0 ? fraction : fraction / n + static_cast<double>(index) / n);
  };
}

QRBSourceControlIncrementalLogBlock percentOfWhole(const QRBSourceControlIncrementalLogBlock& whole, std::size_t index,
                                                   std::size_t count) {
  if (!whole) return {};
  return [whole, index, count](const Workspace::LogItems& items, double fraction) {
    // Whole points for each working copy: what has been shown of those before never depends on the one under way.
    auto before = static_cast<double>(100 / count * index);
    whole(items, before + 100 * fraction / static_cast<double>(count));
  };
}

/// Room for what is likely to come; the maximum that a caller gives may be beyond all memory.
std::size_t expectedLogItems(std::size_t workingCopies, std::int64_t maximumLogItems) {
  constexpr std::int64_t most = 10'000;
  return workingCopies * static_cast<std::size_t>(maximumLogItems > 0 ? std::min(maximumLogItems, most) : 100);
}

struct HistoryRequest {
  Workspace::Revisions from;
  Workspace::Revisions to;
  QRBSourceControlHistoryInclusionType inclusionType;
  std::int64_t maximumLogItems;
  qrb::String searchString;
  QRBSourceControlHistorySearchType searchType;
  QRBSourceControlIncrementalLogBlock incrementalLogBlock;
};

Result<Workspace::LogItems> historyOf(const Workspace& workspace, const HistoryRequest& request,
                                      SequentialAction& action) {
  Workspace::LogItems items;
  const Workspace::WorkingCopies& workingCopies = workspace.workingCopies();
  items.reserve(expectedLogItems(workingCopies.size(), request.maximumLogItems));
  for (std::size_t index = 0; index < workingCopies.size(); ++index) {
    if (action.isAbandoned()) continue;
    const WorkingCopyPtr& workingCopy = workingCopies[index];
    auto [found, error] = action.step<Workspace::LogItems>(
        "workingCopyHistoryLock", workingCopy->repository().get(), [&](auto completion) {
          return workingCopy->historyFromRevision(
              revisionIn(request.from, workingCopy), revisionIn(request.to, workingCopy), request.inclusionType,
              request.maximumLogItems, request.searchString, request.searchType,
              percentOfWhole(request.incrementalLogBlock, index, workingCopies.size()), std::move(completion));
        });
    if (error) return error;
    items.insert(items.end(), std::make_move_iterator(found.begin()), std::make_move_iterator(found.end()));
  }
  std::stable_sort(items.begin(), items.end(), [](const auto& a, const auto& b) { return b->date() < a->date(); });
  return items;
}

}  // namespace

Request Workspace::forceUpdateWorkingCopiesFromRepositories(RemotesPtr repositories,
                                                            QRBSourceControlProgressBlock progressBlock,
                                                            Completion<ErrorsPtr> completionBlock) {
  auto run = [self = shared_from_this(), repositories, progressBlock](SequentialAction& action) -> ErrorsPtr {
    if (!self->_isValid()) return nullptr;
    auto errors = std::make_shared<QRBSourceControlWorkingCopyErrors>();
    for (std::size_t index = 0; index < self->_workingCopies.size(); ++index) {
      const WorkingCopyPtr& workingCopy = self->_workingCopies[index];
      auto remote = repositories == nullptr ? nullptr : repositories->valueFor(workingCopy);
      if (remote == nullptr) {
        errors->set(workingCopy, QRBSourceControlError_RemoteRepositoryNotFound({}));
        continue;
      }
      if (action.isAbandoned()) return nullptr;
      auto [error] =
          action.step<>("workingCopyUpdateLock", workingCopy->repository().get(), [&](Completion<> completion) {
            return workingCopy->forceUpdateWorkingCopyFromRepository(
                remote, partOfWhole(progressBlock, index, self->_workingCopies.size()), std::move(completion));
          });
      if (error) errors->set(workingCopy, std::move(error));
    }
    return errors;
  };
  return SequentialAction::start(
      _operationQueue, "forceUpdateWorkingCopiesFromRepositories:progressBlock:completionBlock:",
      [run = std::move(run), completionBlock = std::move(completionBlock)](SequentialAction& action) {
        ErrorsPtr errors = run(action);
        if (completionBlock) completionBlock(errors, errors == nullptr ? qrb::actionAbandonedError() : Error());
      });
}

Request Workspace::forceUpdateWorkingCopiesFromBlueprint(const QRBSourceControlWorkspaceBlueprintPtr& blueprint,
                                                         QRBSourceControlProgressBlock progressBlock,
                                                         Completion<ErrorsPtr> completionBlock) {
  auto repositories = std::make_shared<Remotes>();
  if (blueprint != nullptr) {
    for (const auto& remote : blueprint->remoteRepositories()) {
      if (auto workingCopy = workingCopyForRemoteRepository(remote, blueprint)) repositories->set(workingCopy, remote);
    }
  }
  return forceUpdateWorkingCopiesFromRepositories(std::move(repositories), std::move(progressBlock),
                                                  std::move(completionBlock));
}

Request Workspace::historyFromRevisions(Revisions fromRevisions, Revisions toRevisions,
                                        QRBSourceControlHistoryInclusionType inclusionType,
                                        std::int64_t maximumLogItems, qrb::String searchString,
                                        QRBSourceControlHistorySearchType searchType,
                                        QRBSourceControlIncrementalLogBlock incrementalLogBlock,
                                        Completion<LogItems> completionBlock) {
  HistoryRequest request{std::move(fromRevisions),
                         std::move(toRevisions),
                         inclusionType,
                         maximumLogItems,
                         std::move(searchString),
                         searchType,
                         std::move(incrementalLogBlock)};
  return SequentialAction::start(
      _operationQueue,
      "historyFromRevisions:toRevisions:inclusionType:maximumLogItems:searchString:searchType:incrementalLogBlock:"
      "completionBlock:",
      [self = shared_from_this(), request = std::move(request),
       completionBlock = std::move(completionBlock)](SequentialAction& action) {
        auto items = historyOf(*self, request, action);
        Error error = items.error();
        if (completionBlock) completionBlock(std::move(items).valueOr({}), std::move(error));
      });
}

Request Workspace::historySinceRevisionedBlueprint(const QRBSourceControlWorkspaceBlueprintPtr& blueprint,
                                                   std::int64_t maximumLogItems, Completion<LogItems> completionBlock) {
  RevisionTable since;
  if (blueprint != nullptr) {
    auto revisions = blueprint->revisions();
    for (const auto& remote : blueprint->remoteRepositories()) {
      auto workingCopy = workingCopyForRemoteRepository(remote, blueprint);
      if (workingCopy != nullptr) since.set(workingCopy, revisions.valueFor(remote));
    }
  }
  return historyFromRevisions(baseRevisionsMapTable(), std::move(since), QRBSourceControlHistoryIncludeAll,
                              maximumLogItems, {}, QRBSourceControlHistorySearchDefault, {},
                              std::move(completionBlock));
}

Request Workspace::filesAndStatusWithRemoteStatus(bool remoteStatus,
                                                  Completion<StatusesPtr, StatusesPtr, ErrorsPtr> completionBlock) {
  struct Report {
    std::shared_ptr<Statuses> local = std::make_shared<Statuses>();
    std::shared_ptr<Statuses> remote;
    std::shared_ptr<QRBSourceControlWorkingCopyErrors> errors = std::make_shared<QRBSourceControlWorkingCopyErrors>();
  };
  auto run = [self = shared_from_this(), remoteStatus](SequentialAction& action, Report& report) {
    if (!self->_isValid()) return false;
    if (remoteStatus) report.remote = std::make_shared<Statuses>();
    for (const WorkingCopyPtr& workingCopy : self->_workingCopies) {
      if (action.isAbandoned()) return false;
      auto [local, remote, error] = action.step<QRBSourceControlPathStatusesPtr, QRBSourceControlPathStatusesPtr>(
          "workingCopyStatusLock", workingCopy->repository().get(), [&](auto completion) {
            return workingCopy->filesAndStatusWithRemoteStatus(remoteStatus, std::move(completion));
          });
      if (local != nullptr) report.local->set(workingCopy, std::move(local));
      if (remote != nullptr && remoteStatus) report.remote->set(workingCopy, std::move(remote));
      if (error) report.errors->set(workingCopy, std::move(error));
    }
    return true;
  };
  return SequentialAction::start(
      _operationQueue, "filesAndStatusWithRemoteStatus:completionBlock:",
      [run = std::move(run), completionBlock = std::move(completionBlock)](SequentialAction& action) {
        Report report;
        bool isWhole = run(action, report);
        if (!completionBlock) return;
        if (!isWhole) return completionBlock(nullptr, nullptr, nullptr, qrb::actionAbandonedError());
        completionBlock(report.local, report.remote, report.errors, {});
      });
}
