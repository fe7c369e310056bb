#include <utility>

#include "MainThreadExecutor.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlLogItem.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlWorkingCopy.h"

void QRBSourceControlLogItem::loadCompleteLogItemWithCompletionBlock(
    QRBSourceControlLogItemPtr item, std::function<void(const qrb::Error& error)> completionBlock) {
  auto fail = [](const auto& block, const qrb::Error& error) {
    if (block) block(error);
  };
  qrb::String identifier = item->revision() == nullptr ? qrb::String() : item->revision()->identifier();
  auto notFound = [identifier] {
    return QRBSourceControlError_LocationNotFound(QRBSourceControlErrorCode::revisionNotFound, identifier, {});
  };
  if (item->workingCopy() == nullptr) return fail(completionBlock, notFound());
  item->workingCopy()->historyFromRevision(
      item->revision(), QRBSourceControlRevision::sharedInitialRevision(), QRBSourceControlHistoryIncludeAll, 1, {},
      QRBSourceControlHistorySearchDefault, {},
      [item, completionBlock, fail, notFound](const QRBSourceControlWorkingCopy::LogItems& found,
                                              const qrb::Error& error) {
        if (error) return fail(completionBlock, error);
        if (found.size() != 1 || found.front() == nullptr) return fail(completionBlock, notFound());
        qrb::runOnMainThread([item, completionBlock, loaded = found.front()] {
          item->completeWith(*loaded);
          if (completionBlock) completionBlock({});
        });
      });
}
