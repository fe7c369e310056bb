#pragma once

#include <cstdint>
#include <memory>

#include <qrb/StringMap.h>

// Values: immutable once built, shared freely between threads.
class QRBSourceControlAuthenticationStrategy;
class QRBSourceControlBasicAuthenticationStrategy;
class QRBSourceControlBranch;
class QRBSourceControlBranchAndTagLocations;
class QRBSourceControlLockedRevisionLocation;
class QRBSourceControlPathLocation;
class QRBSourceControlRevision;
class QRBSourceControlRevisionLocation;
class QRBSourceControlSSHKeysAuthenticationStrategy;
class QRBSourceControlSystem;
class QRBSourceControlTag;

using QRBSourceControlAuthenticationStrategyPtr = std::shared_ptr<const QRBSourceControlAuthenticationStrategy>;
using QRBSourceControlBasicAuthenticationStrategyPtr =
    std::shared_ptr<const QRBSourceControlBasicAuthenticationStrategy>;
using QRBSourceControlBranchPtr = std::shared_ptr<const QRBSourceControlBranch>;
using QRBSourceControlBranchAndTagLocationsPtr = std::shared_ptr<const QRBSourceControlBranchAndTagLocations>;
using QRBSourceControlLockedRevisionLocationPtr = std::shared_ptr<const QRBSourceControlLockedRevisionLocation>;
using QRBSourceControlPathLocationPtr = std::shared_ptr<const QRBSourceControlPathLocation>;
using QRBSourceControlRevisionPtr = std::shared_ptr<const QRBSourceControlRevision>;
using QRBSourceControlRevisionLocationPtr = std::shared_ptr<const QRBSourceControlRevisionLocation>;
using QRBSourceControlSSHKeysAuthenticationStrategyPtr =
    std::shared_ptr<const QRBSourceControlSSHKeysAuthenticationStrategy>;
using QRBSourceControlSystemPtr = std::shared_ptr<const QRBSourceControlSystem>;
using QRBSourceControlTagPtr = std::shared_ptr<const QRBSourceControlTag>;

// Objects with identity.
class QRBSourceControlAccount;
class QRBSourceControlAuthor;
class QRBSourceControlBlameItem;
class QRBSourceControlLogItem;
class QRBSourceControlRemoteRepository;
class QRBSourceControlRepository;
class QRBSourceControlSingleRepositoryAccount;
class QRBSourceControlWorkingCopy;

using QRBSourceControlAccountPtr = std::shared_ptr<QRBSourceControlAccount>;
using QRBSourceControlAuthorPtr = std::shared_ptr<QRBSourceControlAuthor>;
using QRBSourceControlBlameItemPtr = std::shared_ptr<QRBSourceControlBlameItem>;
using QRBSourceControlLogItemPtr = std::shared_ptr<QRBSourceControlLogItem>;
using QRBSourceControlRemoteRepositoryPtr = std::shared_ptr<QRBSourceControlRemoteRepository>;
using QRBSourceControlRepositoryPtr = std::shared_ptr<QRBSourceControlRepository>;
using QRBSourceControlSingleRepositoryAccountPtr = std::shared_ptr<QRBSourceControlSingleRepositoryAccount>;
using QRBSourceControlWorkingCopyPtr = std::shared_ptr<QRBSourceControlWorkingCopy>;

/// Path to status, the form of a status report and of a history entry's paths. Paths are relative to the working copy's
/// root and are bytes: they need not be UTF-8. The bits are in QRBSourceControlStatusValues.h.
using QRBSourceControlPathStatuses = qrb::StringMap<std::uint64_t>;
/// May be absent (null).
using QRBSourceControlPathStatusesPtr = std::shared_ptr<const QRBSourceControlPathStatuses>;
/// Old path to new path.
using QRBSourceControlFileRenames = qrb::StringMap<qrb::String>;
using QRBSourceControlFileRenamesPtr = std::shared_ptr<const QRBSourceControlFileRenames>;

// The request side, which model objects hand their requests to.
class QRBSourceControlCancellable;
using QRBSourceControlCancellablePtr = std::shared_ptr<QRBSourceControlCancellable>;
