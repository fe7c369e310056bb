#pragma once

#include <chrono>

namespace qrb {

/// A moment in UTC, to the microsecond.
using Date = std::chrono::sys_time<std::chrono::microseconds>;

}  // namespace qrb
