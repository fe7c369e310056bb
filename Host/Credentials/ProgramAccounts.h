#pragma once

#include <memory>

#include "AccountManager.h"

namespace host {

/// The program's one account manager, which keeps its list in the user's file and secrets in the session's service, and
/// tells the user of failures on standard error. Made by the first call. Any thread.
const std::shared_ptr<AccountManager>& accountManager();

}  // namespace host
