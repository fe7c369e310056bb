#pragma once

#include <functional>
#include <vector>

#include <qrb/Error.h>

#include "QRBSourceControlForward.h"

/// What a request ends with: its values, then the error. It is called exactly once, on the thread on which the reply
/// arrives; when the error is present, the values are absent. It may be empty.
template <class... Values>
using QRBSourceControlCompletionBlock = std::function<void(Values..., qrb::Error)>;

/// A text for the user and the fraction done, from 0 to 1. Called any number of times before the completion.
using QRBSourceControlProgressBlock = std::function<void(const qrb::String& text, double fraction)>;

/// The log items found since the last call, and the fraction done. Called any number of times before the completion.
using QRBSourceControlIncrementalLogBlock =
    std::function<void(const std::vector<QRBSourceControlLogItemPtr>& items, double fraction)>;

/// Name to remote repository; may be absent (null).
using QRBSourceControlRemoteRepositories = qrb::StringMap<QRBSourceControlRemoteRepositoryPtr>;
using QRBSourceControlRemoteRepositoriesPtr = std::shared_ptr<const QRBSourceControlRemoteRepositories>;
/// Name of a remote repository to its branches; may be absent (null).
using QRBSourceControlRemoteBranches = qrb::StringMap<std::vector<QRBSourceControlBranchPtr>>;
using QRBSourceControlRemoteBranchesPtr = std::shared_ptr<const QRBSourceControlRemoteBranches>;
