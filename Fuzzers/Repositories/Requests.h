#pragma once

#include <functional>
#include <span>
#include <string>

#include "Error.h"
#include "QRBSourceControlOperation.h"

namespace qrb::hostile {

using Answered = std::function<void(const qrb::Error& error)>;

/// A request that only looks at a repository.
struct LookingRequest {
  const char* name;
  /// Begins to look at the case in that folder. `answered` is called once, on any thread.
  QRBSourceControlOperationPtr (*begin)(const std::string& folder, Answered answered);
};

/// All requests about a repository of this machine that change nothing. The first three look at every file.
std::span<const LookingRequest> lookingRequests();

}  // namespace qrb::hostile
