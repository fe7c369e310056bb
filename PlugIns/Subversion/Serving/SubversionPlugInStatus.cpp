#include "QRBSourceControlStatusValues.h"
#include "StatusCollector.h"
#include "SubversionPlugIn.h"
#include "SubversionStatusBits.h"

namespace {

/// The root itself is ".".
std::string_view pathBelow(std::string_view folder, std::string_view path) {
  return path.size() > folder.size() + 1 ? path.substr(folder.size() + 1) : std::string_view(".");
}

qrb::Dictionary dictionaryOf(const SubversionLock& lock, bool isHere) {
  return {{"owner", lock.owner},
          {"comment", lock.comment},
          {"created", std::chrono::floor<std::chrono::seconds>(lock.created).time_since_epoch().count()},
          {"isHere", isHere}};
}

}  // namespace

void SubversionPlugIn::filesAndStatusOfWorkingCopy(
    const QRBSourceControlWorkingCopyPtr& workingCopy, bool withRemoteStatus,
    Completion<QRBSourceControlPathStatusesPtr, QRBSourceControlPathStatusesPtr> completionBlock) {
  SubversionSession session(hostConnection());
  qrb::Error error =
      session.open(workingCopy, withRemoteStatus ? SubversionPurpose::look : SubversionPurpose::lookHere);
  if (error) return completionBlock(nullptr, nullptr, error);
  // As the library names it, which paths begin with.
  const std::string& root = session.info().place;
  qrb::StatusCollector local;
  qrb::StatusCollector remote;
  std::vector<std::string> conflicted;
  SubversionFailure failure =
      session.client().status(root, withRemoteStatus, true, [&](const SubversionStatus& status) {
        std::string_view path = pathBelow(root, status.path);
        if (std::uint64_t bits = subversionLocalStatus(status)) local.add(path, bits);
        if ((subversionLocalStatus(status) & QRBSourceControlStatusConflicted) != 0) {
          conflicted.emplace_back(status.path);
        }
        if (std::uint64_t bits = withRemoteStatus ? subversionRemoteStatus(status) : 0) remote.add(path, bits);
      });
  for (const std::string& path : conflicted) {
    SubversionConflict conflict;
    if (failure) break;
    failure = session.client().conflict(path, conflict);
    local.add(pathBelow(root, path), subversionConflictStatus(conflict));
  }
  if (failure) return completionBlock(nullptr, nullptr, session.errorFor(failure));
  completionBlock(local.take(), withRemoteStatus ? remote.take() : nullptr, {});
}

void SubversionPlugIn::listLocksOfWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy, bool withRemoteLocks,
                                              Completion<qrb::Dictionary> completionBlock) {
  SubversionSession session(hostConnection());
  qrb::Error error = session.open(workingCopy, withRemoteLocks ? SubversionPurpose::look : SubversionPurpose::lookHere);
  if (error) return completionBlock({}, error);
  const std::string& root = session.info().place;
  qrb::Dictionary locks = qrb::Dictionary::object();
  SubversionFailure failure =
      session.client().status(root, withRemoteLocks, false, [&](const SubversionStatus& status) {
        const std::optional<SubversionLock>& lock = status.lockElsewhere ? status.lockElsewhere : status.lock;
        if (lock) locks[std::string(pathBelow(root, status.path))] = dictionaryOf(*lock, !status.lockElsewhere);
      });
  if (failure) return completionBlock({}, session.errorFor(failure));
  completionBlock(locks, {});
}
